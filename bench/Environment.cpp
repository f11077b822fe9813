#include "Environment.h"

#include <absl/base/config.h>
#include <linux/magic.h>
#include <lmdb.h>
#include <rocksdb/version.h>
#include <sqlite3.h>
#include <sys/utsname.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <fstream>

namespace {

#ifdef __clang__
constexpr const char* compiler = "";  // the version begins with the name
#else
constexpr const char* compiler = "GCC ";
#endif

std::string processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    const std::size_t colon = line.find(": ");
    if (line.rfind("model name", 0) == 0 && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown";
}

std::string fileSystem(const std::filesystem::path& folder) {
  struct statfs system {};
  if (statfs(folder.c_str(), &system) != 0) return "unknown";
  switch (static_cast<unsigned long>(system.f_type)) {
    case EXT4_SUPER_MAGIC:
      return "ext4";
    case XFS_SUPER_MAGIC:
      return "XFS";
    case BTRFS_SUPER_MAGIC:
      return "Btrfs";
    case OVERLAYFS_SUPER_MAGIC:
      return "overlay";
    case TMPFS_MAGIC:
      return "tmpfs";
    default:
      return "of type " + std::to_string(system.f_type);
  }
}

}  // namespace

std::vector<std::string> describeEnvironment(const std::filesystem::path& folder) {
  utsname system{};
  uname(&system);
  int major = 0;
  int minor = 0;
  int patch = 0;
  mdb_version(&major, &minor, &patch);
  const std::string lmdb = std::to_string(major) + '.' + std::to_string(minor) + '.' + std::to_string(patch);
  return {"Processor: " + processor() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) +
              " cores, of which one is used",
          std::string("Kernel: ") + system.sysname + ' ' + system.release + ", " + system.machine,
          "File system: " + fileSystem(folder), std::string("Compiler: ") + compiler + __VERSION__,
          "Peers: LMDB " + lmdb + ", RocksDB " + rocksdb::GetRocksVersionAsString() + ", SQLite " +
              sqlite3_libversion() + ", Abseil " + std::to_string(ABSL_LTS_RELEASE_VERSION)};
}

std::vector<std::string> findWarnings(const std::filesystem::path& folder) {
  std::vector<std::string> warnings;
#if !defined(NDEBUG) || !defined(__OPTIMIZE__)
  warnings.emplace_back("built with assertions or without optimisation; build with the bench preset (make bench)");
#endif
  if (fileSystem(folder) == "tmpfs") {
    warnings.emplace_back("the stores are in memory, where commits cost nothing; set TMPDIR to a folder on a disk");
  }
  return warnings;
}
