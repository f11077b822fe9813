#include "store/engine/ServerCopy.h"

#include <utility>
#include <vector>

#include "store/engine/StoreAddress.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

// What a transaction writes is held in memory.
constexpr std::size_t bytesPerCommit = std::size_t{16} << 20;
constexpr std::size_t keysPerCommit = 10000;

bool isEmpty(Engine& engine, bool& isRead) {
  bool empty = true;
  isRead = engine.scan("", [&empty](std::string_view, std::string_view) { return empty = false; });
  return isRead && empty;
}

}  // namespace

ServerCopy::~ServerCopy() {
  if (engine_ == nullptr) return;
  engine_->abort();
  while (removeSome()) {
  }
}

bool ServerCopy::fail() {
  error_ = engine_->error();
  return false;
}

bool ServerCopy::refuse() {
  error_ = {psErrorKind::usage, "Cannot write the store '" + shownStore(address_) +
                                    "': there is something in it. Choose another name behind the \"#\"."};
  return false;
}

bool ServerCopy::begin(const std::string& address) {
  address_ = address;
  std::unique_ptr<Engine> engine = openEngine(address, psSessionOptions(), error_);
  if (engine == nullptr) return false;
  bool isRead = engine->begin(true);
  const bool empty = isRead && isEmpty(*engine, isRead);
  if (!isRead) {
    error_ = engine->error();
  } else if (!empty) {
    refuse();
  } else {
    engine_ = std::move(engine);
  }
  return empty;
}

bool ServerCopy::put(std::string_view key, std::string_view value, bool& isNew) {
  if (key == std::string_view(StoreKey::federation())) {
    isNew = federation_.empty();
    if (isNew) federation_ = value;
    return true;
  }
  std::string_view present;
  const Engine::Lookup found = key > lastKey_ ? Engine::Lookup::absent : engine_->get(key, present);
  if (found == Engine::Lookup::failed) return fail();
  isNew = found == Engine::Lookup::absent;
  if (!isNew) return true;
  if (key > lastKey_) lastKey_ = key;
  if (!engine_->put(key, value)) return fail();
  return engine_->uncommittedBytes() < bytesPerCommit || (commit() && beginTransaction());
}

bool ServerCopy::beginTransaction() { return engine_->begin(true) || fail(); }

bool ServerCopy::commit() { return engine_->commit() == Engine::Commit::committed || fail(); }

// That no other store was made there meanwhile is read in the last transaction, and so compared by its commit.
bool ServerCopy::finish() {
  std::string_view present;
  if (federation_.empty()) {
    error_ = {psErrorKind::damaged, "the record of the federation is missing, so there is no store"};
    return false;
  }
  const Engine::Lookup found = engine_->get(StoreKey::federation(), present);
  if (found != Engine::Lookup::absent) return found == Engine::Lookup::found ? refuse() : fail();
  if (!engine_->put(StoreKey::federation(), federation_)) return fail();
  if (!commit()) return false;
  engine_.reset();
  return true;
}

// Whether there may be more to remove. What others have made a store of stays.
bool ServerCopy::removeSome() {
  std::string_view present;
  if (!engine_->begin(true)) return false;
  std::vector<std::string> keys;
  const bool isOurs = engine_->get(StoreKey::federation(), present) == Engine::Lookup::absent;
  const bool isRead = isOurs && engine_->scan("", [&keys](std::string_view key, std::string_view) {
    keys.emplace_back(key);
    return keys.size() < keysPerCommit;
  });
  bool isDone = isRead && !keys.empty();
  for (const std::string& key : keys) isDone = isDone && engine_->erase(key);
  if (isDone) return engine_->commit() == Engine::Commit::committed;
  engine_->abort();
  return false;
}

}  // namespace ps::detail
