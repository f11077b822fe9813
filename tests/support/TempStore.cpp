#include "support/TempStore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "support/Process.h"

namespace ps::test {

psSessionOptions unsynced(std::size_t cacheLimit) {
  psSessionOptions options;
  options.cacheLimit = cacheLimit;
  options.sync = false;
  return options;
}

TempStore::TempStore(Place place, const psSessionOptions& options)
    : path_(place == Place::file ? folder_.store("store.ps") : folder_.transientStore("store.ps")), options_(options) {
  options_.sync = false;  // nobody cuts the power
  EXPECT_EQ(session_.open(path_, options_), 1) << session_.lastError();
}

pstHandle<psContObj> TempStore::container(const char* name) {
  return session_.container(session_.database("test"), name);
}

void TempStore::reopen() {
  whileClosed([](const std::string&) {});
}

void TempStore::whileClosed(const std::function<void(const std::string& path)>& change) {
  ASSERT_EQ(session_.close(), 1) << session_.lastError();
  change(path_);
  ASSERT_EQ(session_.open(path_, options_), 1) << session_.lastError();
}

std::string TempStore::inChild(const std::function<std::string(psSession&)>& check) {
  std::string complaint;
  whileClosed([&](const std::string& path) {
    complaint = inProcess([&] {
      psSession session;
      const bool isReading = session.open(path, options_) == 1 && session.begin(pscRead) == 1;
      return isReading ? check(session) : session.lastError();
    });
  });
  return complaint;
}

void TempStore::inOtherSession(const std::function<void(psSession&)>& change) {
  std::thread([&] {
    psSession session;
    ASSERT_EQ(session.open(path_, options_), 1) << session.lastError();
    ASSERT_EQ(session.begin(pscUpdate), 1) << session.lastError();
    change(session);
    ASSERT_EQ(session.commit(), 1) << session.lastError();
  }).join();
}

Refuse::Refuse(psSession& session, std::uint64_t k, Manner manner) : session_(session), k_(k) {
  session_.openGuard([this, manner](const psId& id, psMode) {
    if (++asked_ == k_) {
      victim_ = id;
      return false;
    }
    if (manner == Manner::once || !bit()) return true;
    return manner == Manner::forGood && id != victim_;
  });
}

std::uint64_t seedOr(std::uint64_t usual) {
  const char* const wish = std::getenv("PSCOLLECTIONS_SEED");
  return wish != nullptr ? std::strtoull(wish, nullptr, 0) : usual;
}

}  // namespace ps::test
