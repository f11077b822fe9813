#include "store/psSession.h"

#include "store/base/FiledName.h"
#include "store/base/StoreError.h"
#include "store/base/psError.h"
#include "store/catalog/Catalog.h"
#include "store/session/SessionCore.h"
#include "store/session/Upgrade.h"

using ps::detail::Catalog;
using ps::detail::CatalogEntry;
using ps::detail::SessionCore;
using Lookup = ps::detail::Engine::Lookup;

namespace {

// The result of a session's operation; a failure is raised where the application asked for exceptions.
int result(bool done) {
  if (!done) psThrowException(pehSessionDataGetFunction());
  return done ? 1 : 0;
}

bool refuse(const char* message) {
  ps::detail::signalStoreError({psErrorKind::usage, message});
  return false;
}

// Whether the session is open, and on this thread.
bool isHere(const SessionCore* core) {
  if (core == nullptr || core->hasEnded()) return refuse("the session is not open; call psSession::open first");
  if (core != SessionCore::current())
    return refuse("the session belongs to the thread that opened it; open another on this thread");
  return true;
}

bool isInTransaction(SessionCore* core, const char* what) {
  if (!isHere(core)) return false;
  return core->mode() != pscNoOpen ||
         core->fail(psErrorKind::usage, std::string(what) + " outside a transaction; call psSession::begin first");
}

}  // namespace

psSession::psSession() = default;

psSession::~psSession() {
  if (core_ != nullptr && core_.get() != SessionCore::current()) core_->abandon();
  close();
}

int psSession::open(const std::string& path, const psSessionOptions& options) {
  if (core_ != nullptr && !core_->hasEnded()) return result(refuse("the session is already open; close it first"));
  auto core = std::make_shared<SessionCore>();
  if (!core->open(path, options)) return result(false);
  core_ = std::move(core);
  return 1;
}

int psSession::close() {
  if (core_ != nullptr && !core_->hasEnded()) {
    if (!isHere(core_.get())) return 0;
    core_->end();
  }
  core_.reset();
  return 1;
}

int psSession::begin(psMode mode) { return result(isHere(core_.get()) && core_->begin(mode)); }
int psSession::commit() { return result(isHere(core_.get()) && core_->commit()); }
int psSession::abort() { return result(isHere(core_.get()) && core_->abort()); }
bool psSession::inTransaction() const { return core_ != nullptr && core_->mode() != pscNoOpen; }
bool psSession::inUpdate() const { return core_ != nullptr && core_->mode() == pscUpdate; }

pstHandle<psFDObj> psSession::federation() const {
  return core_ != nullptr ? pstHandle<psFDObj>(Catalog::federationId()) : pstHandle<psFDObj>();
}

pstHandle<psDBObj> psSession::database(const char* name) {
  if (!isInTransaction(core_.get(), "database")) return pstHandle<psDBObj>();
  if (name == nullptr || *name == '\0') {
    core_->fail(psErrorKind::usage, "a database needs a name");
    return pstHandle<psDBObj>();
  }
  const CatalogEntry* const entry = core_->directory().databaseNamed(name);
  return entry != nullptr ? pstHandle<psDBObj>(entry->id()) : pstHandle<psDBObj>();
}

namespace {

pstHandle<psContObj> foundOrMade(SessionCore* core, const psId& database, const char* name, unsigned int typeN) {
  if (!isInTransaction(core, "container")) return pstHandle<psContObj>();
  CatalogEntry* entry = nullptr;
  const bool hasName = name != nullptr && *name != '\0';
  const Lookup found = hasName ? core->directory().findContainer(database, name, entry) : Lookup::absent;
  if (found == Lookup::absent && core->mode() == pscUpdate)
    entry = core->directory().createContainer(database, name, typeN, 0);
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
  SessionCore* const core =
      isInTransaction(core_.get(), "container") ? SessionCore::updating("creating a container") : nullptr;
  if (core == nullptr) return pstHandle<psContObj>();
  if (number == 0) {
    core->fail(psErrorKind::usage, "container numbers are 1 to 65,535");
    return pstHandle<psContObj>();
  }
  const CatalogEntry* const entry =
      core->directory().createContainer(database.oid(), name, psContObj::pstTypeN, number);
  return entry != nullptr ? pstHandle<psContObj>(entry->id()) : pstHandle<psContObj>();
}

void psSession::defaultPlacement(const pstHandle<psObj>& near) {
  if (isHere(core_.get())) core_->defaultPlacement = near.oid();
}

int psSession::name(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const char* name) {
  SessionCore* const core = isHere(core_.get()) ? SessionCore::updating("naming an object") : nullptr;
  return result(core != nullptr && core->directory().file(object.oid(), scope.oid(), ps::detail::filedName(name)));
}

int psSession::key(const pstHandle<psObj>& object, const pstHandle<psObj>& scope, const psKey& key) {
  SessionCore* const core = isHere(core_.get()) ? SessionCore::updating("giving an object a key") : nullptr;
  return result(core != nullptr && core->directory().file(object.oid(), scope.oid(), key.bytes()));
}

int psSession::upgrade(const UpgradeProgress& progress) {
  return result(isHere(core_.get()) && ps::detail::upgrade(*core_, progress));
}

std::string psSession::lastError() const { return pehSessionDataGetFunction()->text(); }

psErrorKind psSession::lastErrorKind() const { return pehSessionDataGetFunction()->kind(); }

void psSession::throwErrors(bool on) { pehSessionDataGetFunction()->throws = on; }

void psSession::cacheLimit(std::size_t bytes) {
  if (isHere(core_.get())) core_->cache().limit(bytes);
}

psSessionCounters psSession::counters() const {
  if (core_ == nullptr) return psSessionCounters();
  psSessionCounters counters = core_->counters;
  counters.opens = core_->opens;
  return counters;
}

void psSession::openGuard(OpenGuard guard) {
  if (isHere(core_.get())) core_->guard(std::move(guard));
}

unsigned int pomGetPageSize() {
  const SessionCore* const session = SessionCore::current();
  return session != nullptr ? session->pageSize : psSessionOptions().pageSize;
}
