#pragma once

#include <cstddef>
#include <string>

#include "BenchStore.h"
#include "store/psSession.h"
#include "store/base/psSessionOptions.h"

// One of our collections, in a copy of a store with the objects that it refers to.
template <class Collection>
class StoredCollection {
 public:
  // Nobody may have the store of the objects open. The options are those of all sessions but the one that checks.
  explicit StoredCollection(const ScratchFile& objects, const psSessionOptions& options = psSessionOptions())
      : options_(options), bytesBefore_(sizeOf(objects)) {
    copyStore(objects, file_);
    if (session_.open(file_.path().string(), options_) != 1) stop(session_.lastError());
  }

  // Constructs the collection with the arguments, and calls fill(collection), in one transaction from its beginning to
  // the end of a durable commit.
  template <class Fill, class... Arguments>
  void create(Fill fill, Arguments... arguments) {
    if (session_.begin(pscUpdate) != 1) stop(session_.lastError());
    const pstHandle<psDBObj> database = session_.database("bench");
    const pstHandle<Collection> collection(new (session_.container(database, "parts")) Collection(arguments...));
    if (collection.isNull()) stop(session_.lastError());
    fill(*collection);
    if (session_.name(collection, database, name) != 1 || session_.commit() != 1) stop(session_.lastError());
  }

  // Has findFault(collection) look at the collection in another process, and stops when it returns a complaint. The
  // collection can be read after that, but not changed.
  template <class FindFault>
  void check(FindFault findFault) {
    if (session_.close() != 1) stop(session_.lastError());
    checkInOtherProcess(file_, [&](psSession& session) {
      const pstHandle<Collection> collection = find(session, pscRead);
      return collection.isNull() ? std::string("there is no collection in the store") : findFault(*collection);
    });
  }

  // Calls use(collection) in a read transaction of a session of its own. The collection must have been checked.
  template <class Use>
  void read(Use use) const {
    psSession session;
    if (session.open(file_.path().string(), options_) != 1 || session.begin(pscRead) != 1) stop(session.lastError());
    const pstHandle<Collection> collection = find(session, pscRead);
    if (collection.isNull()) stop(session.lastError());
    use(*collection);
  }

  // How much longer the collection has made the file.
  double bytes() const { return static_cast<double>(sizeOf(file_)) - static_cast<double>(bytesBefore_); }

 private:
  static constexpr const char* name = "collection";

  static pstHandle<Collection> find(psSession& session, psMode mode) {
    pstHandle<Collection> collection;
    collection.lookupObj(session.database("bench"), name, mode);
    return collection;
  }

  psSessionOptions options_;
  ScratchFile file_;
  psSession session_;
  std::size_t bytesBefore_;
};
