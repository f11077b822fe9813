#pragma once

#include <sys/types.h>

#include <string>

#include "store/base/StoreError.h"
#include "store/base/psSessionOptions.h"

namespace ps::detail {

// The file that a path leads to.
struct StoreFile {
  // Finds the real file. The lock file lies beside it and goes by its name, so all must reach it by one name. False,
  // with the reason in error, when there can be no store at the path.
  static bool locate(const std::string& path, const psSessionOptions& options, StoreFile& file, StoreError& error);

  std::string lockPath() const { return path + "-lock"; }
  // Notes which file has the path now. It may have been replaced since it was found there.
  void identify();

  std::string path;  // without symbolic links
  bool exists = false;
  dev_t device = 0;
  ino_t inode = 0;
};

}  // namespace ps::detail
