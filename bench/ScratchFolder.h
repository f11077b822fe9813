#pragma once

#include <filesystem>

// A new folder in TMPDIR, or in /var/tmp, which is on a disk more often than /tmp is. The destructor removes it with
// all that is in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};
