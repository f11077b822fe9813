#include "store/engine/StoreFile.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "store/engine/LmdbErrors.h"

namespace ps::detail {

namespace {

// Only file systems that are shared between machines by their nature; a FUSE mount may be local.
bool isNetworkFileSystem(const std::string& path) {
  constexpr std::uint32_t smb2 = 0xFE534D42, cifs = 0xFF534D42, kernelAfs = 0x6B414653, ceph = 0x00C36400,
                          gfs2 = 0x01161970, ocfs2 = 0x7461636F, lustre = 0x0BD00BD0, gpfs = 0x47504653;
  struct statfs status {};
  if (::statfs(path.c_str(), &status) != 0) return false;
  switch (static_cast<std::uint32_t>(status.f_type)) {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case AFS_SUPER_MAGIC:
    case CODA_SUPER_MAGIC:
    case NCP_SUPER_MAGIC:
    case smb2:
    case cifs:
    case kernelAfs:
    case ceph:
    case gfs2:
    case ocfs2:
    case lustre:
    case gpfs:
      return true;
    default:
      return false;
  }
}

bool locateMissing(const std::string& path, StoreFile& file, StoreError& error) {
  const std::filesystem::path wanted(path);
  std::error_code code;
  if (!wanted.has_filename()) {
    error = {psErrorKind::usage, path.empty() ? "the path is empty. Name a file"
                                              : "there is no such directory. Name a file in an existing one"};
    return false;
  }
  if (std::filesystem::is_symlink(wanted, code)) {
    error = {psErrorKind::absent,
             "it is a symbolic link to a file that does not exist. Name that file, or remove the link"};
    return false;
  }
  const std::filesystem::path directory =
      std::filesystem::canonical(wanted.has_parent_path() ? wanted.parent_path() : std::filesystem::path("."), code);
  if (code) {
    error = {code == std::errc::not_enough_memory ? psErrorKind::memory : psErrorKind::absent,
             "the directory '" + wanted.parent_path().string() + "' cannot be reached (" + code.message() +
                 "). Create it, or correct the path"};
    return false;
  }
  file.path = (directory / wanted.filename()).string();
  return true;
}

}  // namespace

bool StoreFile::locate(const std::string& path, const psSessionOptions& options, StoreFile& file, StoreError& error) {
  struct stat status {};
  file.exists = ::stat(path.c_str(), &status) == 0;
  if (path.find('\0') != std::string::npos) {
    error = {psErrorKind::usage, "the path has a zero byte in it. Remove it"};
  } else if (!file.exists && errno != ENOENT) {
    error = {kindOf(errno), std::string(std::strerror(errno)) + ". Check the path and its permissions"};
  } else if (!file.exists && options.readOnly) {
    error = {psErrorKind::absent,
             "there is no such file, and one opened for reading only is not created. Check the path"};
  } else if (!file.exists) {
    locateMissing(path, file, error);
  } else if (S_ISDIR(status.st_mode)) {
    error = {psErrorKind::usage, "it is a directory, but a store is a file. Name a file in it"};
  } else if (!S_ISREG(status.st_mode)) {
    error = {psErrorKind::usage, "it is not a regular file. Choose another path"};
  } else if (status.st_size == 0 && options.readOnly) {
    error = {psErrorKind::absent,
             "the file is empty, and one opened for reading only is not made into a store. Check the path"};
  } else if (status.st_nlink > 1) {
    error = {
        psErrorKind::usage,
        "the file has several names (hard links), and those who use different names would not see each other's locks. "
        "Remove the other names, or make copies of them"};
  } else {
    std::error_code code;
    file.path = std::filesystem::canonical(path, code).string();
    file.device = status.st_dev;
    file.inode = status.st_ino;
    if (code) error = {kindOf(code.value()), code.message() + ". Check the path and its permissions"};
  }
  if (!error.empty()) return false;
  const std::string place = file.exists ? file.path : std::filesystem::path(file.path).parent_path().string();
  if (!options.allowNetworkFileSystem && isNetworkFileSystem(place)) {
    error = {
        psErrorKind::denied,
        "it lies on a network file system, where locks do not work reliably. Put it on a local one, or set the option "
        "allowNetworkFileSystem if no two machines ever use it at the same time"};
  }
  return error.empty();
}

void StoreFile::identify() {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return;
  device = status.st_dev;
  inode = status.st_ino;
}

}  // namespace ps::detail
