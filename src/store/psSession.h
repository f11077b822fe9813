#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "store/base/psBackup.h"
#include "store/base/psErrorKind.h"
#include "store/base/psExport.h"
#include "store/base/psReader.h"
#include "store/base/psSessionCounters.h"
#include "store/base/psSessionOptions.h"
#include "store/base/psUpgradeProgress.h"
#include "store/base/psVerifyReport.h"
#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/psFDObj.h"
#include "store/psFiling.h"
#include "store/psKey.h"
#include "store/pstHandle.h"

namespace ps::detail {
class SessionCore;
}
class psInspector;

// An application's connection to a store, and its transactions. A session belongs to the thread that opened it. Use
// handles and objects only on that thread. Sessions of other threads and processes may be open on the same store. Any
// number of them may read, each from the snapshot that its transaction began with, while one updates.
//
// A thread may have several sessions, to copy from one store to another, or to compare two. One of them is current: the
// one that was opened last, or that makeCurrent or a ps::CurrentSession has made so. When it is closed, the one that
// was current before it is so again. Calls of a psSession work on that session, current or not. Everything else works
// on the current one: `new`, handles, references, arrays, scans, collections. Identifiers mean something in their own
// store only. Under another session one may name some other object, and nothing notices that but the checked build.
//
// The error context belongs to the thread: lastError is the last error of all its sessions, and throwErrors holds for
// all of them.
//
// A session ends with its thread, and its transaction is aborted; the psSession may then be closed and destroyed
// anywhere. While the thread lives, close on another thread is refused. When the psSession is destroyed on another
// thread, the session's own thread closes the store and aborts the transaction when it next uses the session or opens
// another. The loss is signalled there.
//
// Every operation that returns int returns 1 for success and 0 for failure. lastError() then says what failed, where,
// and what to do about it. With throwErrors(true) the failure is also thrown as a psException.
//
// Lack of memory is such a failure, of kind psErrorKind::memory. It makes an update void: then only abort is of use,
// which needs no memory.
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
  // Closes the session. On another thread than the session's own, leaves that to the session's thread.
  ~psSession();

  // Opens the store in the file at path, and creates the file when there is none. A path that begins with "memory:"
  // keeps everything in this process until the session closes.
  [[nodiscard]] int open(const std::string& path, const psSessionOptions& options = psSessionOptions());

  // Makes this session the thread's current one.
  int makeCurrent();

  // Aborts an open transaction and closes the store. The memory of open handles stays readable. On another thread than
  // the session's own, returns 0 and the session stays open.
  int close();

  // Starts a transaction. pscRead sees the store as it is now until the transaction ends. pscUpdate waits for other
  // updates to end. It is refused when another session of this thread updates the same store, since it would wait for
  // ever. Threads that update 2 stores at a time must begin with the same one. On a server it does not wait: the commit
  // tells whether others have changed meanwhile what the update has read.
  [[nodiscard]] int begin(psMode mode);

  // Ends the transaction. When an update returns 1, all changes are in the store, whole and durable. When it returns 0,
  // none is; only with the kind psErrorKind::outcomeUnknown may all be. Opens for update end with the transaction.
  // Handles may be kept and used in the next one.
  [[nodiscard]] int commit();

  // Ends the transaction and undoes its changes. Objects that it created are gone.
  int abort();

  bool inTransaction() const;
  bool inUpdate() const;

  pstHandle<psFDObj> federation() const;

  // The database or container of that name. When there is none, an update transaction creates it, and a read
  // transaction returns null. For a container that exists, container and gcContainer are the same.
  pstHandle<psDBObj> database(const char* name);
  pstHandle<psContObj> container(const pstHandle<psDBObj>& database, const char* name);
  pstHandle<psContObj> gcContainer(const pstHandle<psDBObj>& database, const char* name);

  // Creates a container with the given number, which must be free; null otherwise. A null name makes an unnamed one.
  pstHandle<psContObj> container(const pstHandle<psDBObj>& database, const char* name, unsigned short number);

  // Where `new` without a placement puts objects. This is not kept in the store.
  void defaultPlacement(const pstHandle<psObj>& near);

  // Files the object in scope (a database, a container or an object) under a name of 1 to 400 bytes, or under a key.
  // The name must be free in that scope. It is deleted with the object or the scope.
  [[nodiscard]] int name(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const char* name);
  [[nodiscard]] int key(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const psKey& key);

  // Takes back a name or key; the object stays. Opens nothing. 0 also when nothing is filed under it.
  [[nodiscard]] int unname(const pstHandle<psObj>& scope, const char* name);
  [[nodiscard]] int unkey(const pstHandle<psObj>& scope, const psKey& key);

  // Files what is filed under one name or key under another instead, in the same scope or another one. The new one must
  // be free, unless it is the old one. Either both are changed or nothing is.
  [[nodiscard]] int rename(const pstHandle<psObj>& scope, const char* name, const pstHandle<psObj>& newScope,
                           const char* newName);
  [[nodiscard]] int rekey(const pstHandle<psObj>& scope, const psKey& key, const pstHandle<psObj>& newScope,
                          const psKey& newKey);

  // Calls visit for what is filed in scope, until it returns false: first names in the order of their bytes, then keys
  // that are numbers in ascending order, then keys that are strings. With a prefix, only for names that begin with it.
  // Everything is read before the first call, so visit may change names. It is called with this session current.
  // Returns 0, without a call, when some of it cannot be read. Names that containers and databases got when they were
  // created are not listed. Cost: 3 look-ups in the store for each; the objects are not opened.
  using FilingVisitor = std::function<bool(const psFiling&)>;
  int names(const pstHandle<psObj>& scope, const FilingVisitor& visit, const char* prefix = nullptr);

  // Writes every object in the layout that its class has in this program, container by container, a commit each.
  // Without it, an object gets its present layout when something in its page is changed. After it, the functions that
  // convert objects of older versions are not needed any more. Objects of classes that this program does not know, and
  // comparators of older versions, stay as they are. Programs with older versions of the classes that it converts are
  // refused from its first commit on, which comes before the first container.
  //
  // Called outside a transaction; other sessions may work meanwhile. progress is called after each container, and stops
  // the upgrade by returning false. 1 when all is converted. When it returns 0, what was committed stays; call it again
  // to go on.
  using UpgradeProgress = std::function<bool(const psUpgradeProgress&)>;
  [[nodiscard]] int upgrade(const UpgradeProgress& progress = nullptr);

  // Verifies all content of the store: every record of the engine, whether or not anything reads it, and every
  // collection. report says what was found; docs/store.md lists what is verified. 1 when it ran to its end and found no
  // fault. 0 with the kind psErrorKind::damaged when there are faults, and with another kind when it could not run to
  // its end.
  //
  // Outside a transaction it reads in one of its own, so that others may write meanwhile. Inside a read transaction it
  // verifies what that sees. Inside an update it is refused. It calls the comparators of collections, with this session
  // current. The open guard is not asked, and nothing is thrown before the end.
  //
  // Cost: it reads all records once, then each collection and, where there is a comparator, its elements. Beside the
  // cache it takes memory: 24 bytes for each container, 8 for each collection, 12 for each array of one container at a
  // time, 2 to 4 bits for each part of a collection or 60 bytes where that is alone in its page, at most 24 MiB for the
  // keys of a hash table, and the largest array. progress is told now and then how far it is, and ends the verification
  // by returning false; it must not use the session.
  using VerifyProgress = std::function<bool(const psVerifyProgress&)>;
  [[nodiscard]] int verify(psVerifyReport& report, const VerifyProgress& progress = nullptr);

  // Copies the store as this transaction sees it, or as it is now outside one, into a new store at path. Others may
  // read and update meanwhile; what they commit is not in the copy, and the file does not reuse space until it is done.
  // The copy is compact. Each record is compared with its checksum, and the copy has its name only when it is whole and
  // on the disk. Refuses to overwrite. progress is called after every 1,024 records, and stops the backup by returning
  // false. 1 when the copy is there; otherwise there is none. A path may be an address: so a store moves to a server,
  // and from there into a file, with all its identifiers.
  using BackupProgress = std::function<bool(const psBackupProgress&)>;
  [[nodiscard]] int backup(const std::string& path, const BackupProgress& progress = nullptr);

  // Gives the free pages of the file at path back to the file system: a compact copy takes its place, whole and on the
  // disk, or the file stays as it is. Refused while anybody has the store open, and when it is damaged; whoever opens
  // it meanwhile waits. It takes room for the copy beside the file. progress is called with the pages that are read.
  [[nodiscard]] static int compact(const std::string& path, const BackupProgress& progress = nullptr);

  // Copies what can be read of a damaged store, which need not be open and is not changed, into a new file at path.
  // Records that do not match their checksums are left out, and objects that lay in them do not exist in the copy;
  // report says what they are. Below a page of the file that cannot be read, what remains of older commits is taken;
  // it may be out of date. Updates of the damaged store wait meanwhile. 1 when the copy is there; then verify it. 0
  // when nothing can be read, or the copy cannot be written.
  [[nodiscard]] static int salvage(const std::string& from, const std::string& path, psSalvageReport& report,
                                   const BackupProgress& progress = nullptr);

  // The read transactions that are open on the store in all processes, the oldest first. A long one keeps the file from
  // using space again. 0 when they cannot be read.
  [[nodiscard]] int readers(std::vector<psReader>& found) const;

  // Has an update of this session that is committed look for a reader that has lasted longer than the given seconds, or
  // pins more than the given bytes, at most once a second. callback is called with the oldest one after the commit, on
  // this thread. A null callback ends that.
  using ReaderCallback = std::function<void(const psReader&)>;
  void watchReaders(double seconds, std::uint64_t pinnedBytes, ReaderCallback callback);

  // Text of the last signalled error; "" when there was none since the last successful begin.
  std::string lastError() const;
  // The kind of that failure, for a program to decide by; none when there was none.
  psErrorKind lastErrorKind() const;

  // Whether failures are thrown: those of session calls, accesses beyond an array, and refused opens, look-ups and
  // scans, wherever they happen. That something does not exist is not a failure. Destructors never throw. A failed new
  // returns null, and the handle that is made of it throws.
  void throwErrors(bool on);

  // Change these options of the open session. Neither is an error where what is held exceeds the new limit already.
  void cacheLimit(std::size_t bytes);
  void updateLimit(std::size_t bytes);

  psSessionCounters counters() const;
  // Whether updates of several sessions run side by side, as on a server: then a commit may fail with
  // psErrorKind::conflict, and what it was about to do may be done again in another transaction.
  bool hasSeveralWriters() const;
  // How often the session has waited for an answer of the store's server since it was opened; 0 for a file.
  std::uint64_t roundTrips() const;

  // The guard is called before every open, explicit or through ->, with the identifier and the mode. It returns false
  // to refuse the open. A null function removes the guard. Meant for tests of what happens when the store refuses.
  using OpenGuard = std::function<bool(const psId&, psMode)>;
  void openGuard(OpenGuard guard);

 private:
  friend class psInspector;

  std::shared_ptr<ps::detail::SessionCore> core_;
};

// Size in bytes of a page of the calling thread's store; without a session, the default.
PS_API unsigned int pomGetPageSize();
