#include "Environment.h"

#include <absl/base/config.h>
#include <lmdb.h>
#include <rocksdb/version.h>
#include <sqlite3.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

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

// The type of the file system that is mounted on the longest prefix of the folder's path.
std::string fileSystem(const std::filesystem::path& folder) {
  const std::string path = std::filesystem::canonical(folder).string();
  std::ifstream mounts("/proc/self/mounts");
  std::string type = "unknown";
  std::size_t longest = 0;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream words(line);
    std::string device;
    std::string place;
    std::string found;
    words >> device >> place >> found;
    const bool holds = path.compare(0, place.size(), place) == 0 &&
                       (place == "/" || path.size() == place.size() || path[place.size()] == '/');
    if (holds && place.size() >= longest) {
      longest = place.size();
      type = found;
    }
  }
  return type;
}

}  // namespace

std::vector<std::string> describeMachine(const std::filesystem::path& folder) {
  utsname system{};
  uname(&system);
  return {"Processor: " + processor() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) +
              " cores, of which one is used",
          std::string("Kernel: ") + system.sysname + ' ' + system.release + ", " + system.machine,
          "File system: " + fileSystem(folder)};
}

std::vector<std::string> describeSoftware() {
  int major = 0;
  int minor = 0;
  int patch = 0;
  mdb_version(&major, &minor, &patch);
  const std::string lmdb = std::to_string(major) + '.' + std::to_string(minor) + '.' + std::to_string(patch);
  return {std::string("Compiler: ") + compiler + __VERSION__,
          "Peers: LMDB " + lmdb + ", RocksDB " + rocksdb::GetRocksVersionAsString() + ", SQLite " +
              sqlite3_libversion() + ", Abseil " + std::to_string(ABSL_LTS_RELEASE_VERSION)};
}

std::vector<std::string> findWarnings(const std::filesystem::path& folder) {
  std::vector<std::string> warnings;
#ifndef NDEBUG
  warnings.emplace_back("built with assertions");
#endif
#ifndef __OPTIMIZE__
  warnings.emplace_back("built without optimisation");
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  warnings.emplace_back("built with sanitizers");
#endif
  if (!warnings.empty()) warnings.back() += "; build with the bench preset (make bench)";
  if (fileSystem(folder) == "tmpfs") {
    warnings.emplace_back("the stores are in memory, where commits cost nothing; set TMPDIR to a folder on a disk");
  }
  return warnings;
}
