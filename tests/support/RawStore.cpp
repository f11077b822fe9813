#include "support/RawStore.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "store/engine/StoreAddress.h"
#include "support/TempStore.h"

namespace ps::test {

RawStore::RawStore(const std::string& path) {
  ps::detail::StoreError error;
  engine_ = ps::detail::openEngine(path, unsynced(), error);
  if (engine_ == nullptr || !engine_->begin(true))
    ADD_FAILURE() << (engine_ == nullptr ? error : engine_->error()).text;
}

RawStore::~RawStore() { EXPECT_EQ(engine_->commit(), ps::detail::Engine::Commit::committed) << engine_->error().text; }

void RawStore::put(std::string_view key, std::string_view value) {
  EXPECT_TRUE(engine_->put(key, value)) << engine_->error().text;
}

void RawStore::erase(std::string_view key) { EXPECT_TRUE(engine_->erase(key)) << engine_->error().text; }

Records RawStore::content() {
  Records content;
  EXPECT_TRUE(engine_->scan("", [&](std::string_view key, std::string_view value) {
    return content.emplace(key, value).second;
  })) << engine_->error().text;
  return content;
}

void RawStore::replace(const Records& records) {
  const Records before = content();
  for (const auto& record : before) {
    if (records.count(record.first) == 0) erase(record.first);
  }
  for (const auto& [key, value] : records) {
    const auto old = before.find(key);
    if (old == before.end() || old->second != value) put(key, value);
  }
}

void copyStore(const std::string& from, const std::string& to) {
  if (ps::detail::isStoreAddress(from)) {
    RawStore(to).replace(RawStore(from).content());
    return;
  }
  const ScratchFolder folder;
  const std::string file = ps::detail::isStoreAddress(to) ? folder / "copy" : to;
  std::filesystem::copy_file(from, file, std::filesystem::copy_options::overwrite_existing);
  if (file != to) RawStore(to).replace(RawStore(file).content());
}

}  // namespace ps::test
