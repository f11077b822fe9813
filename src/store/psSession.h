#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "store/base/psErrorKind.h"
#include "store/base/psExport.h"
#include "store/base/psSessionCounters.h"
#include "store/base/psSessionOptions.h"
#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/psFDObj.h"
#include "store/psKey.h"
#include "store/pstHandle.h"

namespace ps::detail {
class SessionCore;
}

// An application's connection to a store, and its transactions. A session belongs to the thread that opened it, and
// there is one at a time in a thread; handles and objects are used on that thread only. Sessions of other threads and
// processes may be open on the same store: any number read, each in the snapshot that its transaction began with,
// beside one that updates.
//
// A session ends with its thread, its transaction being aborted; the psSession may then be closed and destroyed
// anywhere. While the thread lives, close elsewhere is refused; when the psSession is destroyed elsewhere, the thread
// closes the store and aborts the transaction as soon as it next uses the session or opens another, and the loss is
// signalled there.
//
// Every operation that returns int gives 1 for success and 0 for failure; lastError() then says what failed, where, and
// what to do about it. With throwErrors(true) the failure is thrown as a psException as well.
//
//   psSession session;
//   if (session.open("words.ps") != 1 || session.begin(pscUpdate) != 1) return complain(session.lastError());
//   pstHandle<psDBObj> words = session.database("words");
//   ...
//   if (session.commit() != 1) return complain(session.lastError());
class PS_API psSession {
 public:
  psSession();
  psSession(const psSession&) = delete;
  psSession& operator=(const psSession&) = delete;
  // Closes the session; on another thread than its own, leaves that to its own.
  ~psSession();

  // Opens the store in the file at path, which is created when there is none; a path that begins with "memory:" keeps
  // everything in this process until the session closes.
  int open(const std::string& path, const psSessionOptions& options = psSessionOptions());

  // Aborts an open transaction and closes the store. Handles that are still open keep their memory readable. 0 on
  // another thread than the session's own, which keeps it.
  int close();

  // Starts a transaction: pscRead sees the store as it is now until it ends; pscUpdate waits for other updates to end.
  int begin(psMode mode);

  // Ends the transaction. In an update, all changes are in the store, whole and durable, when this returns 1; when it
  // returns 0 none is. Update opens end with the transaction; handles may be kept and used in the next one.
  int commit();

  // Ends the transaction and undoes its changes. Objects that it created are gone.
  int abort();

  bool inTransaction() const;
  bool inUpdate() const;

  pstHandle<psFDObj> federation() const;

  // The database or container of that name: created when absent in an update transaction, null in a read transaction. A
  // container that exists is returned whichever of container and gcContainer is asked.
  pstHandle<psDBObj> database(const char* name);
  pstHandle<psContObj> container(const pstHandle<psDBObj>& database, const char* name);
  pstHandle<psContObj> gcContainer(const pstHandle<psDBObj>& database, const char* name);

  // Creates a container under a given number, which must be free; null otherwise. A null name makes an unnamed one.
  pstHandle<psContObj> container(const pstHandle<psDBObj>& database, const char* name, unsigned short number);

  // Where `new` without a placement puts objects; not kept in the store.
  void defaultPlacement(const pstHandle<psObj>& near);

  // Files the object in scope (a database, a container or an object) under a name of 1 to 400 bytes or a key. The name
  // must be free in that scope. It goes with the object, or with the scope.
  int name(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const char* name);
  int key(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const psKey& key);

  // Text of the last signalled error; "" when there was none since the last successful begin.
  std::string lastError() const;
  // What sort of failure it was, for a program to decide by; none when there was none.
  psErrorKind lastErrorKind() const;

  // Whether failures are thrown: of session calls and of accesses beyond an array, and opens, look-ups and scans that
  // are refused, wherever they happen. What does not exist is no failure, and destructors never throw. A failed new
  // gives null, and the handle that is made of it throws.
  void throwErrors(bool on);

  void cacheLimit(std::size_t bytes);

  psSessionCounters counters() const;

  // Asked before every open, explicit or through ->, with the identifier and the mode; false refuses it. A null
  // function asks nobody. Meant for tests of what happens when the store refuses.
  using OpenGuard = std::function<bool(const psId&, psMode)>;
  void openGuard(OpenGuard guard);

 private:
  std::shared_ptr<ps::detail::SessionCore> core_;
};

// Bytes of a page of the calling thread's store; without a session, the default.
PS_API unsigned int pomGetPageSize();
