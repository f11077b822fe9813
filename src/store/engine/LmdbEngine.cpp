#include "store/engine/LmdbEngine.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "store/engine/LmdbCursor.h"
#include "store/engine/LmdbErrors.h"

namespace ps::detail {

namespace {

constexpr const char* beginAction = "begin a transaction on";
constexpr const char* readAction = "read";
constexpr const char* changeAction = "change";
constexpr const char* commitAction = "commit to";

std::string_view toView(const MDB_val& value) { return {static_cast<const char*>(value.mv_data), value.mv_size}; }

// LMDB allocates memory for all that a transaction changes, and frees it when the transaction ends. With its defaults
// glibc returns such memory to the system at once, and getting it anew for each transaction can take longer than all
// else that a load does. Once a block of up to 32 MiB was freed, glibc keeps twice its size. What a program has set
// itself (mallopt, MALLOC_TRIM_THRESHOLD_) still holds.
void keepFreedMemory(std::size_t cacheLimit) {
  constexpr std::size_t largest = std::size_t{31} << 20;
  void* volatile block = std::malloc(std::min(cacheLimit / 4, largest));
  std::free(block);
}

}  // namespace

LmdbEngine::LmdbEngine(LmdbEnvironment::Handle environment, const psSessionOptions& options)
    : environment_(std::move(environment)),
      readOnly_(options.readOnly),
      sync_(options.sync),
      busyTimeout_(options.busyTimeout),
      maxKeySize_(environment_->maxKeySize()) {
  if (!readOnly_) keepFreedMemory(options.cacheLimit);
}

LmdbEngine::~LmdbEngine() {
  if (environment_->inherited()) return;
  abort();
  if (reader_ != nullptr) mdb_txn_abort(reader_);
}

bool LmdbEngine::begin(bool update) {
  if (!isUsable(beginAction)) return false;
  if (state_ != State::idle)
    return refuse(beginAction,
                  {psErrorKind::usage, "this session already has an open transaction. Commit or abort it first"});
  if (update && readOnly_) {
    return refuse(beginAction, {psErrorKind::denied,
                                "it was opened for reading only. Open it without the option readOnly to change it"});
  }
  MDB_txn*& begun = update ? transaction_ : reader_;
  const int code = update ? environment_->beginUpdate(sync_, busyTimeout_, begun) : environment_->beginRead(begun);
  if (code != 0) return refuse(beginAction, environment_->describe(code));
  transaction_ = begun;
  state_ = update ? State::updating : State::reading;
  changed_ = false;
  if (update) changes_ = LmdbChanges(transaction_, environment_->database());
  // LMDB numbers an update transaction by the commit that it is to become.
  version_ = mdb_txn_id(transaction_) - (update ? 1 : 0);
  return true;
}

Engine::Lookup LmdbEngine::get(std::string_view key, std::string_view& value) {
  if (!isReadable(readAction)) return Lookup::failed;
  if (!isKey(key)) {
    refuse(readAction, describeKeyLimit(key));
    return Lookup::failed;
  }
  MDB_val wanted = toValue(key);
  MDB_val found{};
  const int code = mdb_get(transaction_, environment_->database(), &wanted, &found);
  if (code == MDB_NOTFOUND) return Lookup::absent;
  if (code != 0) {
    refuse(readAction, environment_->describe(code));
    return Lookup::failed;
  }
  value = toView(found);
  return Lookup::found;
}

// The map is read without reading ahead: a value that lies in several of the system's pages would be read by an access
// to the disk for each.
void LmdbEngine::announceReading(std::string_view value) const {
  const auto systemPage = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  if (value.size() <= systemPage) return;
  const auto begin = reinterpret_cast<std::uintptr_t>(value.data());
  const std::uintptr_t pageBegin = begin / systemPage * systemPage;
  madvise(reinterpret_cast<void*>(pageBegin), begin + value.size() - pageBegin, MADV_WILLNEED);
}

bool LmdbEngine::put(std::string_view key, std::string_view value) {
  if (!isWritable(changeAction)) return false;
  if (!isKey(key)) return voidTransaction(changeAction, describeKeyLimit(key));
  if (value.size() > maxValueSize()) {
    return voidTransaction(changeAction,
                           {psErrorKind::full, "a value of " + std::to_string(value.size()) +
                                                   " bytes exceeds the limit of " + std::to_string(maxValueSize())});
  }
  const int code = changes_.put(key, value);
  if (code == MDB_MAP_FULL) environment_->reapReaders();  // so that the next transaction finds more room
  if (code != 0) return voidTransaction(changeAction, environment_->describe(code));
  changed_ = true;
  return true;
}

bool LmdbEngine::erase(std::string_view key) {
  if (!isWritable(changeAction)) return false;
  if (!isKey(key)) return voidTransaction(changeAction, describeKeyLimit(key));
  const int code = changes_.erase(key);
  if (code == MDB_NOTFOUND) return true;
  if (code == MDB_MAP_FULL) environment_->reapReaders();
  if (code != 0) return voidTransaction(changeAction, environment_->describe(code));
  changed_ = true;
  return true;
}

bool LmdbEngine::scan(std::string_view prefix, const Visitor& visitor) {
  if (!isReadable(readAction)) return false;
  if (prefix.size() > maxKeySize_) return true;
  int code = 0;
  const LmdbCursor cursor = openCursor(transaction_, environment_->database(), code);
  MDB_val key = toValue(prefix);
  MDB_val value{};
  if (code == 0) code = mdb_cursor_get(cursor.get(), &key, &value, prefix.empty() ? MDB_FIRST : MDB_SET_RANGE);
  for (; code == 0; code = mdb_cursor_get(cursor.get(), &key, &value, MDB_NEXT)) {
    const std::string_view found = toView(key);
    if (found.substr(0, prefix.size()) != prefix || !visitor(found, toView(value))) return true;
  }
  return code == MDB_NOTFOUND || refuse(readAction, environment_->describe(code));
}

std::uint64_t LmdbEngine::records() const {
  MDB_stat status{};
  const bool isReadable = state_ == State::reading || state_ == State::updating;
  return isReadable && mdb_stat(transaction_, environment_->database(), &status) == 0 ? status.ms_entries : 0;
}

Engine::Commit LmdbEngine::commit() {
  const bool usable = isUsable(commitAction);
  if (usable && state_ == State::updating) return commitUpdate();
  if (usable && state_ == State::idle) {
    refuse(commitAction, {psErrorKind::usage, "no transaction is open. Begin one first"});
  }
  if (usable && state_ == State::voided) {
    refuse(commitAction, {voidReason_.kind, "the transaction was void because " + voidText()});
  }
  const bool reading = state_ == State::reading;
  abort();
  return usable && reading ? Commit::committed : Commit::conflict;
}

Engine::Commit LmdbEngine::commitUpdate() {
  int code = 0;
  const Commit outcome = environment_->commit(transaction_, reader_, code);
  transaction_ = nullptr;
  changes_ = LmdbChanges();
  state_ = State::idle;
  if (outcome == Commit::committed) {
    version_ += changed_ ? 1 : 0;
    return outcome;
  }
  try {
    explainCommit(outcome, code);
  } catch (const std::bad_alloc&) {
    // What the kind says must not be lost.
    fail(outcome == Commit::conflict ? kindOf(code) : psErrorKind::outcomeUnknown, shortMemoryText);
  }
  return outcome;
}

void LmdbEngine::explainCommit(Commit outcome, int code) {
  if (outcome == Commit::conflict) {
    refuse(commitAction, environment_->describe(code));
  } else {
    refuse(
        commitAction,
        {psErrorKind::outcomeUnknown,
         std::string("it is not known whether the transaction is in it, because the last write failed (") +
             mdb_strerror(code) + "). Close every session that this process has on the store, open it again and look"});
  }
}

void LmdbEngine::abort() {
  if (!environment_->inherited()) {
    if (state_ == State::reading) environment_->endRead(transaction_);
    if (state_ == State::updating || state_ == State::voided) environment_->abort(transaction_);
  }
  transaction_ = nullptr;
  changes_ = LmdbChanges();
  state_ = State::idle;
}

void LmdbEngine::invalidate(psErrorKind kind) noexcept {
  const bool isKnown = state_ == State::voided && kind != psErrorKind::memory;
  if (isKnown || (state_ != State::updating && state_ != State::voided)) return;
  state_ = State::voided;
  voidReason_.kind = kind;
  voidReason_.text.clear();
}

std::string LmdbEngine::voidText() const {
  if (!voidReason_.text.empty()) return voidReason_.text;
  return voidReason_.kind == psErrorKind::memory ? "there was no memory left"
                                                 : "an earlier change of several steps failed";
}

bool LmdbEngine::readers(std::vector<psReader>& found) {
  if (!isUsable(readAction)) return false;
  const int code = environment_->readers(found);
  return code == 0 || refuse(readAction, environment_->describe(code));
}

bool LmdbEngine::facts(EngineFacts& found) {
  if (!isReadable(readAction)) return false;
  const int code = environment_->facts(transaction_, found);
  return code == 0 || refuse(readAction, environment_->describe(code));
}

std::size_t LmdbEngine::maxValueSize() const { return 0xffffffff; }

bool LmdbEngine::refuse(const char* action, const StoreError& reason) {
  fail(reason.kind,
       std::string("Cannot ") + action + " the store '" + environment_->path() + "': " + reason.text + ".");
  return false;
}

bool LmdbEngine::isUsable(const char* action) {
  if (!environment_->inherited()) return true;
  return refuse(action, {psErrorKind::usage,
                         "it was opened by the parent of this process, before the fork. Open it again in the child"});
}

bool LmdbEngine::isReadable(const char* action) {
  if (!isUsable(action)) return false;
  if (state_ == State::reading || state_ == State::updating) return true;
  if (state_ == State::idle) return refuse(action, {psErrorKind::usage, "no transaction is open. Begin one first"});
  return refuse(action, {voidReason_.kind, "the transaction is void because " + voidText()});
}

bool LmdbEngine::isWritable(const char* action) {
  if (!isReadable(action)) return false;
  if (state_ == State::updating) return true;
  return refuse(action, {psErrorKind::usage, "the open transaction is for reading only. Begin one for update"});
}

StoreError LmdbEngine::describeKeyLimit(std::string_view key) const {
  return {psErrorKind::usage, "a key of " + std::to_string(key.size()) + " bytes is outside the limits of 1 and " +
                                  std::to_string(maxKeySize_)};
}

bool LmdbEngine::voidTransaction(const char* action, const StoreError& reason) {
  state_ = State::voided;
  voidReason_.kind = reason.kind;
  voidReason_.text.clear();
  voidReason_.text = reason.text;
  return refuse(action, reason);
}

}  // namespace ps::detail
