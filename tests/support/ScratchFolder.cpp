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

}  // namespace ps::test
