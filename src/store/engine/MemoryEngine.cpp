#include "store/engine/MemoryEngine.h"

#include <utility>

namespace ps::detail {

bool MemoryEngine::begin(bool update) {
  if (state_ != State::idle)
    return refuse(psErrorKind::usage, "a transaction is already open. Commit or abort it first");
  if (update && readOnly_)
    return refuse(psErrorKind::denied, "it was opened for reading only. Open it without the option readOnly");
  state_ = update ? State::updating : State::reading;
  return true;
}

Engine::Lookup MemoryEngine::get(std::string_view key, std::string_view& value) {
  if (!isReadable()) return Lookup::failed;
  if (!isKey(key)) {
    refuse(psErrorKind::usage, "a key has from 1 to " + std::to_string(maxKeySize()) + " bytes");
    return Lookup::failed;
  }
  const auto found = content_.find(key);
  if (found == content_.end()) return Lookup::absent;
  value = found->second;
  return Lookup::found;
}

bool MemoryEngine::put(std::string_view key, std::string_view value) {
  if (!isWritable(key)) return false;
  if (value.size() > maxValueSize()) {
    return voidTransaction(psErrorKind::full, "a value of " + std::to_string(value.size()) +
                                                  " bytes exceeds the limit of " + std::to_string(maxValueSize()));
  }
  // All that takes memory comes first. The value may be a view of what is about to be replaced.
  Content made;
  made.emplace(key, value);
  remember(key);
  uncommittedBytes_ += made.begin()->second.size();
  content_.insert(made.extract(made.begin()));
  return true;
}

bool MemoryEngine::erase(std::string_view key) {
  if (!isWritable(key)) return false;
  if (content_.find(key) != content_.end()) remember(key);
  return true;
}

// Takes a pair out of the content, and keeps it if it is from before the transaction.
void MemoryEngine::remember(std::string_view key) {
  const auto [undone, isFirst] = undo_.try_emplace(std::string(key));
  const auto found = content_.find(key);
  if (found == content_.end()) return;
  Content::node_type before = content_.extract(found);
  if (isFirst) {
    undone->second = std::move(before);
  } else {
    uncommittedBytes_ -= before.mapped().size();
  }
}

bool MemoryEngine::scan(std::string_view prefix, const Visitor& visitor) {
  if (!isReadable()) return false;
  for (auto at = content_.lower_bound(prefix); at != content_.end(); ++at) {
    const std::string_view key = at->first;
    if (key.substr(0, prefix.size()) != prefix || !visitor(key, at->second)) break;
  }
  return true;
}

Engine::Commit MemoryEngine::commit() {
  if (state_ == State::idle || state_ == State::voided) {
    if (state_ == State::idle) {
      refuse(psErrorKind::usage, "no transaction is open. Begin one first");
    } else {
      refuse(voidKind_, std::string("the transaction was void because ") + voidText());
    }
    abort();
    return Commit::conflict;
  }
  if (!undo_.empty()) ++version_;
  end();
  return Commit::committed;
}

void MemoryEngine::abort() {
  for (auto& [key, before] : undo_) {
    const auto changed = content_.find(key);
    if (changed != content_.end()) content_.erase(changed);
    if (!before.empty()) content_.insert(std::move(before));
  }
  end();
}

void MemoryEngine::invalidate(psErrorKind kind) noexcept {
  const bool isKnown = state_ == State::voided && kind != psErrorKind::memory;
  if (isKnown || (state_ != State::updating && state_ != State::voided)) return;
  state_ = State::voided;
  voidKind_ = kind;
}

const char* MemoryEngine::voidText() const {
  return voidKind_ == psErrorKind::memory ? "there was no memory left" : "an earlier change failed";
}

// One transaction at a time has nobody to pin anything for.
bool MemoryEngine::readers(std::vector<psReader>& found) {
  found.clear();
  return true;
}

bool MemoryEngine::facts(EngineFacts& found) {
  found = {};
  found.path = "memory:";
  return true;
}

void MemoryEngine::end() noexcept {
  undo_.clear();
  uncommittedBytes_ = 0;
  state_ = State::idle;
}

bool MemoryEngine::refuse(psErrorKind kind, const std::string& reason) {
  fail(kind, "Cannot use the store in memory: " + reason + ".");
  return false;
}

bool MemoryEngine::isReadable() {
  if (state_ == State::reading || state_ == State::updating) return true;
  if (state_ == State::idle) return refuse(psErrorKind::usage, "no transaction is open. Begin one first");
  return refuse(voidKind_, std::string("the transaction is void because ") + voidText() + ". Abort it");
}

bool MemoryEngine::isWritable(std::string_view key) {
  if (!isReadable()) return false;
  if (state_ != State::updating)
    return refuse(psErrorKind::usage, "the open transaction is for reading only. Begin one for update");
  return isKey(key) ||
         voidTransaction(psErrorKind::usage, "a key has from 1 to " + std::to_string(maxKeySize()) + " bytes");
}

bool MemoryEngine::voidTransaction(psErrorKind kind, const std::string& reason) {
  state_ = State::voided;
  voidKind_ = psErrorKind::usage;
  return refuse(kind, reason);
}

}  // namespace ps::detail
