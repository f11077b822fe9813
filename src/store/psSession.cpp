#include "store/psSession.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "store/Filings.h"
#include "store/base/FiledName.h"
#include "store/base/MemoryGuard.h"
#include "store/base/StoreError.h"
#include "store/base/psError.h"
#include "store/catalog/Catalog.h"
#include "store/session/Backup.h"
#include "store/session/Called.h"
#include "store/session/SessionCore.h"
#include "store/session/Upgrade.h"
#include "store/verify/StoreVerifier.h"

using ps::detail::Called;
using ps::detail::Catalog;
using ps::detail::CatalogEntry;
using ps::detail::Directory;
using ps::detail::filedName;
using ps::detail::guardMemory;
using ps::detail::guardMemoryQuietly;
using ps::detail::isHere;
using ps::detail::NameIndex;
using ps::detail::SessionCore;
using Lookup = ps::detail::Engine::Lookup;

namespace {

// The result of a session's operation; a failure is raised where the application asked for exceptions.
int result(bool done) {
  if (!done) psThrowException(pehSessionDataGetFunction());
  return done ? 1 : 0;
}

// Closes a session that is found unsound, also when something is thrown by a comparator.
struct ClosedUnlessSound {
  explicit ClosedUnlessSound(psSession& opened) : session(opened) {}
  ClosedUnlessSound(const ClosedUnlessSound&) = delete;
  ClosedUnlessSound& operator=(const ClosedUnlessSound&) = delete;
  ~ClosedUnlessSound() {
    if (!isSound) session.close();
  }

  psSession& session;
  bool isSound = false;
};

}  // namespace

psSession::psSession() = default;

psSession::~psSession() {
  if (core_ != nullptr && !core_->isOfThisThread()) core_->abandon();
  close();
}

int psSession::open(const std::string& path, const psSessionOptions& options) {
  if (core_ != nullptr && !core_->hasEnded())
    return result(ps::detail::refuseCall("the session is already open; close it first"));
  auto core = guardMemoryQuietly(std::shared_ptr<SessionCore>(), [] { return std::make_shared<SessionCore>(); });
  if (core == nullptr || !core->open(path, options)) return result(false);
  core_ = std::move(core);
  if (options.verify != psVerify::all) return 1;
  ClosedUnlessSound opened(*this);
  psVerifyReport report;
  opened.isSound = ps::detail::verifyStore(*core_, report, nullptr);
  return result(opened.isSound);
}

int psSession::close() {
  if (core_ != nullptr && !core_->hasEnded()) {
    if (!isHere(core_.get())) return 0;
    core_->end();
  }
  core_.reset();
  return 1;
}

int psSession::makeCurrent() {
  const bool here = isHere(core_.get());
  if (here) core_->makeCurrent();
  return result(here);
}

int psSession::begin(psMode mode) {
  const Called session(core_.get());
  return result(session && session->begin(mode));
}

int psSession::commit() {
  const Called session(core_.get());
  return result(session && session->commit());
}

int psSession::abort() {
  const Called session(core_.get());
  return result(session && session->abort());
}

bool psSession::inTransaction() const { return core_ != nullptr && core_->mode() != pscNoOpen; }
bool psSession::inUpdate() const { return core_ != nullptr && core_->mode() == pscUpdate; }

pstHandle<psFDObj> psSession::federation() const {
  return core_ != nullptr ? pstHandle<psFDObj>(Catalog::federationId()) : pstHandle<psFDObj>();
}

pstHandle<psDBObj> psSession::database(const char* name) {
  const Called called(core_.get());
  SessionCore* const session = called.reading("database");
  if (session == nullptr) return pstHandle<psDBObj>();
  if (name == nullptr || *name == '\0') {
    session->fail(psErrorKind::usage, "a database needs a name");
    return pstHandle<psDBObj>();
  }
  const CatalogEntry* const entry = session->directory().databaseNamed(name);
  return entry != nullptr ? pstHandle<psDBObj>(entry->id()) : pstHandle<psDBObj>();
}

namespace {

pstHandle<psContObj> foundOrMade(SessionCore* core, const psId& database, const char* name, unsigned int typeN) {
  const Called called(core);
  SessionCore* const session = called.reading("container");
  if (session == nullptr) return pstHandle<psContObj>();
  CatalogEntry* entry = nullptr;
  const bool hasName = name != nullptr && *name != '\0';
  const Lookup found = hasName ? session->directory().findContainer(database, name, entry) : Lookup::absent;
  if (found == Lookup::absent && session->mode() == pscUpdate)
    entry = session->directory().createContainer(database, name, typeN, 0);
  return entry != nullptr ? pstHandle<psContObj>(entry->id()) : pstHandle<psContObj>();
}

}  // namespace

pstHandle<psContObj> psSession::container(const pstHandle<psDBObj>& database, const char* name) {
  return foundOrMade(core_.get(), database.oid(), name, psContObj::pstTypeN);
}

pstHandle<psContObj> psSession::gcContainer(const pstHandle<psDBObj>& database, const char* name) {
  return foundOrMade(core_.get(), database.oid(), name, psGCContObj::pstTypeN);
}

pstHandle<psContObj> psSession::container(const pstHandle<psDBObj>& database, const char* name, unsigned short number) {
  const Called called(core_.get());
  SessionCore* const session =
      called.reading("container") != nullptr ? called.updating("creating a container") : nullptr;
  if (session == nullptr) return pstHandle<psContObj>();
  if (number == 0) {
    session->fail(psErrorKind::usage, "container numbers are 1 to 65,535");
    return pstHandle<psContObj>();
  }
  const CatalogEntry* const entry =
      session->directory().createContainer(database.oid(), name, psContObj::pstTypeN, number);
  return entry != nullptr ? pstHandle<psContObj>(entry->id()) : pstHandle<psContObj>();
}

void psSession::defaultPlacement(const pstHandle<psObj>& near) {
  if (isHere(core_.get())) core_->defaultPlacement = near.oid();
}

namespace {

// Calls change with the directory of a session in an update transaction.
template <class Change>
int changeNames(SessionCore* core, const char* what, const Change& change) {
  const Called called(core);
  SessionCore* const session = called.updating(what);
  return result(session != nullptr && guardMemoryQuietly(false, [&] { return change(session->directory()); }));
}

}  // namespace

int psSession::name(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const char* name) {
  return changeNames(core_.get(), "naming an object",
                     [&](Directory& directory) { return directory.file(object.oid(), scope.oid(), filedName(name)); });
}

int psSession::key(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const psKey& key) {
  return changeNames(core_.get(), "giving an object a key",
                     [&](Directory& directory) { return directory.file(object.oid(), scope.oid(), key.bytes()); });
}

int psSession::unname(const pstHandle<psObj>& scope, const char* name) {
  return changeNames(core_.get(), "taking back a name",
                     [&](Directory& directory) { return directory.unfile(scope.oid(), filedName(name)); });
}

int psSession::unkey(const pstHandle<psObj>& scope, const psKey& key) {
  return changeNames(core_.get(), "taking back a key",
                     [&](Directory& directory) { return directory.unfile(scope.oid(), key.bytes()); });
}

int psSession::rename(const pstHandle<psObj>& scope, const char* name, const pstHandle<psObj>& newScope,
                      const char* newName) {
  return changeNames(core_.get(), "changing a name", [&](Directory& directory) {
    return directory.refile(scope.oid(), filedName(name), newScope.oid(), filedName(newName));
  });
}

int psSession::rekey(const pstHandle<psObj>& scope, const psKey& key, const pstHandle<psObj>& newScope,
                     const psKey& newKey) {
  return changeNames(core_.get(), "changing a key", [&](Directory& directory) {
    return directory.refile(scope.oid(), key.bytes(), newScope.oid(), newKey.bytes());
  });
}

namespace {

bool listNames(Directory& directory, const psId& scope, const char* prefix, std::vector<psFiling>& filings) {
  std::vector<NameIndex::Filed> filed;
  if (!directory.listFiled(scope, filedName(prefix), filed)) return false;
  for (const NameIndex::Filed& found : filed) {
    if (!ps::detail::isFiledInternally(found.name)) filings.push_back(ps::detail::filingOf(found.name, found.object));
  }
  std::sort(filings.begin(), filings.end(), &ps::detail::precedes);
  return true;
}

}  // namespace

int psSession::names(const pstHandle<psObj>& scope, const FilingVisitor& visit, const char* prefix) {
  const Called called(core_.get());
  SessionCore* const session = called.reading("listing names");
  std::vector<psFiling> filings;
  const bool isRead = session != nullptr && guardMemoryQuietly(false, [&] {
                        return listNames(session->directory(), scope.oid(), prefix, filings);
                      });
  if (!isRead) return result(false);
  static_cast<void>(std::all_of(filings.begin(), filings.end(), visit));
  return 1;
}

int psSession::upgrade(const UpgradeProgress& progress) {
  const Called session(core_.get());
  return result(session && ps::detail::upgrade(*core_, progress));
}

int psSession::backup(const std::string& path, const BackupProgress& progress) {
  const Called session(core_.get());
  return result(session && guardMemoryQuietly(false, [&] { return ps::detail::backup(*core_, path, progress); }));
}

int psSession::compact(const std::string& path, const BackupProgress& progress) {
  return result(guardMemoryQuietly(false, [&] { return ps::detail::compact(path, progress); }));
}

int psSession::salvage(const std::string& from, const std::string& path, psSalvageReport& report,
                       const BackupProgress& progress) {
  return result(guardMemoryQuietly(false, [&] { return ps::detail::salvage(from, path, report, progress); }));
}

int psSession::verify(psVerifyReport& report, const VerifyProgress& progress) {
  const Called session(core_.get());
  return result(session && ps::detail::verifyStore(*core_, report, progress));
}

int psSession::readers(std::vector<psReader>& found) const {
  const Called session(core_.get());
  return result(session && guardMemoryQuietly(false, [&] {
                  return session->engine().readers(found) || session->fail(session->engine().error());
                }));
}

void psSession::watchReaders(double seconds, std::uint64_t pinnedBytes, ReaderCallback callback) {
  const Called session(core_.get());
  if (session) session->longReaders().watch(seconds, pinnedBytes, std::move(callback));
}

std::string psSession::lastError() const {
  try {
    return pehSessionDataGetFunction()->text();
  } catch (const std::bad_alloc&) {
    return ps::detail::shortMemoryText;
  }
}

psErrorKind psSession::lastErrorKind() const { return pehSessionDataGetFunction()->kind(); }

void psSession::throwErrors(bool on) { pehSessionDataGetFunction()->throws = on; }

void psSession::cacheLimit(std::size_t bytes) {
  const Called session(core_.get());
  if (session) session->cache().limit(bytes);
}

void psSession::updateLimit(std::size_t bytes) {
  const Called session(core_.get());
  if (session) session->cache().updateLimit(bytes);
}

psSessionCounters psSession::counters() const {
  if (core_ == nullptr) return psSessionCounters();
  psSessionCounters counters = core_->counters;
  counters.opens = core_->opens;
  if (core_->isReading()) counters.uncommittedBytes = core_->cache().uncommittedBytes();
  return counters;
}

bool psSession::hasSeveralWriters() const {
  return core_ != nullptr && !core_->hasEnded() && core_->engine().hasSeveralWriters();
}

std::uint64_t psSession::roundTrips() const {
  return core_ != nullptr && !core_->hasEnded() ? core_->engine().roundTrips() : 0;
}

void psSession::openGuard(OpenGuard guard) {
  if (isHere(core_.get())) core_->guard(std::move(guard));
}

unsigned int pomGetPageSize() {
  const SessionCore* const session = SessionCore::current();
  return session != nullptr ? session->pageSize : psSessionOptions().pageSize;
}
