#include "ScratchFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

ScratchFolder::ScratchFolder() {
  const char* const wish = std::getenv("TMPDIR");
  const std::filesystem::path parent = wish != nullptr ? wish : "/var/tmp";
  std::string name = (parent / "compare_bench-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot create the folder " + name + " (" + std::strerror(errno) +
                             "); set TMPDIR to a folder that can be written to");
  }
  path_ = name;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}
