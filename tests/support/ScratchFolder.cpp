#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace ps::test {

ScratchFolder::ScratchFolder() : path_((std::filesystem::temp_directory_path() / "pscollections-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "no temporary folder at " << path_;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

bool ScratchFolder::isOnServer() { return std::getenv("PSCOLLECTIONS_TEST_STORE") != nullptr; }

std::string ScratchFolder::store(const std::string& name) const {
  const char* const server = std::getenv("PSCOLLECTIONS_TEST_STORE");
  return server == nullptr ? *this / name : server + std::string("#") + path_.substr(path_.rfind('-') + 1) + "-" + name;
}

}  // namespace ps::test
