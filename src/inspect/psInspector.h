#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "inspect/psElementInfo.h"
#include "inspect/psHashInfo.h"
#include "inspect/psStoreInfo.h"
#include "inspect/psStoredClass.h"
#include "inspect/psStoredObject.h"
#include "inspect/psSurvey.h"
#include "inspect/psTreeInfo.h"
#include "store/base/psExport.h"
#include "store/psFiling.h"
#include "store/psSession.h"

// Shows what a store is made of: its file, classes, containers, objects, and the structure of its collections. It
// changes nothing, and needs none of the classes of the program that wrote the store: objects are read by the
// descriptions that the store has of them.
//
//   psInspector inspector(session);
//   psTreeInfo tree;
//   if (inspector.tree(id, tree, [](const psNodeInfo& node) { ... return true; }) != 1) complain(session.lastError());
//
// The session must be open and in a transaction. What an inspector tells is what the transaction sees,
// without the changes of an update that are not yet written. So inspect in read transactions.
//
// It trusts nothing that it reads. What is damaged is told as such, and never as a number that looks like data. What
// returns int returns 1, or 0 with the reason in lastError() of the session. Visitors end a walk by returning false;
// that is a success.
class PS_API psInspector {
 public:
  explicit psInspector(psSession& session);
  ~psInspector();

  // The store as a whole. Cost: one page of the engine, and the list of free pages.
  int info(psStoreInfo& found);

  // Everything that is in the store. Cost: it reads all records once. progress is told now and then how many records of
  // how many it has read.
  using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;
  int survey(psSurvey& found, const Progress& progress = nullptr);

  // The classes that the store knows, by their numbers. The library's are among them.
  int classes(std::vector<psStoredClass>& found);

  // Registers the classes of the store that this process lacks, as far as the store describes them, so that collections
  // of such objects can be opened, and orders that PS_ORDER has made can be verified and searched. Only for a session
  // that is readOnly. What is registered stays so in this process. Returns how many classes are new; -1 on failure.
  int adoptClasses();

  // An object. 0 also when there is none; lastErrorKind() of the session is then psErrorKind::absent.
  int object(const psId& id, psStoredObject& found);
  // All objects of a container, in the order of their identifiers. Pages that cannot be read are left out, and are a
  // failure at the end unless unreadable takes them.
  using ObjectVisitor = std::function<bool(const psStoredObject&)>;
  int objects(const psId& container, const ObjectVisitor& visit, std::vector<psId>* unreadable = nullptr);
  // The same with the storage of arrays, which may be that of objects without a description.
  int contents(const psId& container, const ObjectVisitor& visit, std::vector<psId>* unreadable = nullptr);

  // Under which names and keys an object is filed, and in which scopes.
  struct Filing {
    psId scope;
    psFiling filing;
  };
  // 1, or 0 when that cannot be read.
  int namesOf(const psId& object, std::vector<Filing>& found);
  // The names that lead to an object, container or database, as in "shop/orders/by date". Databases and containers
  // without a name are numbers, as in "shop/#7", objects are identifiers, as in "shop/orders/1-2-3-4", and keys are as
  // in "shop/orders/@42".
  std::string pathOf(const psId& id);
  // What a path, or an identifier as in "1-2-3-4", leads to; null when there is nothing. It is not opened.
  psId find(const std::string& path);

  // All names and keys of objects that are sound, by scope. filed is a character and the text: " of a name, # of a key
  // that is a number, $ of another key, and % of what the library files itself.
  using NameVisitor = std::function<bool(const psId& scope, const std::string& filed, const psId& object)>;
  int names(const NameVisitor& visit);

  // What kind of collection an object is. none also when it cannot be read, or is of a class that the process lacks.
  psCollectionKind kindOf(const psId& id);

  // The structure of a tree, of which id is the collection's own object. Nodes come parents first, from left to right.
  // Cost: it opens each node and its array.
  using NodeVisitor = std::function<bool(const psNodeInfo&)>;
  int tree(const psId& id, psTreeInfo& found, const NodeVisitor& visit = nullptr);

  // The structure of a hash table. Buckets come in the order of the directory. Cost: it opens each bucket and chain.
  using BucketVisitor = std::function<bool(const psBucketInfo&)>;
  int table(const psId& id, psHashInfo& found, const BucketVisitor& visit = nullptr);

  // The elements of a collection of any kind that can be read: of a list in their order, of a sorted one in its order,
  // of a hash table bucket by bucket. None is opened.
  using ElementVisitor = std::function<bool(const psElementInfo&)>;
  int elements(const psId& id, const ElementVisitor& visit);

 private:
  struct State;
  template <class Work>
  int run(const char* what, const Work& work);
  int scan(const psId& container, bool withStorage, const ObjectVisitor& visit, std::vector<psId>* unreadable);
  int walkTree(const psId& id, psTreeInfo& found, const NodeVisitor& visit, const ElementVisitor& visitElement);
  int walkTable(const psId& id, psHashInfo& found, const BucketVisitor& visit, const ElementVisitor& visitElement);

  psSession& session_;
  std::shared_ptr<State> state_;  // what was read in the present transaction
};
