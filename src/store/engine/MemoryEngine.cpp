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
  std::string stored(value);  // first, since it may be a view of what is about to be replaced
  const auto found = content_.find(key);
  if (found == content_.end()) {
    undo_.try_emplace(std::string(key));
    content_.emplace(key, std::move(stored));
  } else {
    undo_.try_emplace(found->first, std::move(found->second));
    found->second = std::move(stored);
  }
  return true;
}

bool MemoryEngine::erase(std::string_view key) {
  if (!isWritable(key)) return false;
  const auto found = content_.find(key);
  if (found == content_.end()) return true;
  undo_.try_emplace(found->first, std::move(found->second));
  content_.erase(found);
  return true;
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
    refuse(psErrorKind::usage, state_ == State::idle ? "no transaction is open. Begin one first"
                                                     : "the transaction was void because an earlier change failed");
    abort();
    return Commit::conflict;
  }
  if (!undo_.empty()) ++version_;
  end();
  return Commit::committed;
}

void MemoryEngine::abort() {
  for (auto& [key, before] : undo_) {
    if (before.has_value()) {
      content_.insert_or_assign(key, std::move(*before));
    } else {
      content_.erase(key);
    }
  }
  end();
}

void MemoryEngine::invalidate() noexcept {
  if (state_ == State::updating) state_ = State::voided;
}

// One transaction at a time has nobody to pin anything for.
bool MemoryEngine::readers(std::vector<psReader>& found) {
  found.clear();
  return true;
}

void MemoryEngine::end() noexcept {
  undo_.clear();
  state_ = State::idle;
}

bool MemoryEngine::refuse(psErrorKind kind, const std::string& reason) {
  fail(kind, "Cannot use the store in memory: " + reason + ".");
  return false;
}

bool MemoryEngine::isReadable() {
  if (state_ == State::reading || state_ == State::updating) return true;
  return refuse(psErrorKind::usage, state_ == State::idle
                                        ? "no transaction is open. Begin one first"
                                        : "the transaction is void because an earlier change failed. Abort it");
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
  return refuse(kind, reason);
}

}  // namespace ps::detail
