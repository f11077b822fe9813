#include "support/TempStore.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace ps::test {

TempStore::TempStore(Place place, const psSessionOptions& options) : options_(options) {
  options_.sync = false;  // nobody cuts the power
  if (place == Place::file) {
    folder_ = (std::filesystem::temp_directory_path() / "pscollections-XXXXXX").string();
    if (mkdtemp(folder_.data()) == nullptr)
      throw std::filesystem::filesystem_error(folder_, std::error_code(errno, std::generic_category()));
    path_ = folder_ + "/store.ps";
  }
  EXPECT_EQ(session_.open(path_, options_), 1) << session_.lastError();
}

TempStore::~TempStore() {
  session_.close();
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
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
  session_.close();
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    std::string complaint;
    psSession session;
    if (session.open(path_, options_) != 1 || session.begin(pscRead) != 1) {
      complaint = session.lastError();
    } else {
      complaint = check(session);
    }
    session.close();
    if (!complaint.empty()) std::fprintf(stderr, "%s\n", complaint.c_str());
    _exit(complaint.empty() ? 0 : 1);
  }
  int status = -1;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  EXPECT_EQ(session_.open(path_, options_), 1) << session_.lastError();
  if (!ended) return "no child";
  if (WIFSIGNALED(status)) return "the child died of signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? "" : "the child complained";
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
