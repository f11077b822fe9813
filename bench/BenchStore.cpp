#include "BenchStore.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace {

class Folder {
 public:
  Folder() {
    const char* const wish = std::getenv("TMPDIR");
    const std::filesystem::path parent = wish != nullptr ? wish : "/var/tmp";
    std::string name = (parent / program_invocation_short_name).string() + "-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      stop("cannot create the folder " + name + " (" + std::strerror(errno) +
           "); set TMPDIR to a folder that can be written to");
    }
    path = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::filesystem::path path;
};

void requireLmdb(int code, const char* action, const ScratchFile& file) {
  if (code != 0) stop(std::string("LMDB cannot ") + action + ' ' + file.path().string() + ": " + mdb_strerror(code));
}

class Element : public psObj {
  PS_PERSISTENT_CLASS(Element, psObj, 20202)
 public:
  Element() = default;
};
PS_REGISTER_CLASS(Element)

}  // namespace

void stop(const std::string& what) {
  std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, what.c_str());
  std::exit(1);
}

ScratchFile::ScratchFile() {
  static const Folder folder;
  static int count = 0;
  path_ = folder.path / (std::to_string(++count) + ".store");
}

ScratchFile::~ScratchFile() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
  std::filesystem::remove(path_.string() + "-lock", ignored);
}

std::size_t sizeOf(const ScratchFile& file) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file.path(), error);
  if (error) stop("cannot find the size of " + file.path().string() + ": " + error.message());
  return size;
}

std::size_t heapBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

std::vector<psId> createObjects(const ScratchFile& file, int count) {
  psSession session;
  if (session.open(file.path().string()) != 1 || session.begin(pscUpdate) != 1) stop(session.lastError());
  const pstHandle<psContObj> in = session.container(session.database("bench"), "elements");
  std::vector<psId> objects(static_cast<std::size_t>(count));
  for (psId& object : objects) object = pstHandle<Element>(new (in) Element).oid();
  if (session.commit() != 1) stop(session.lastError());
  return objects;
}

void copyStore(const ScratchFile& from, const ScratchFile& to) {
  std::error_code error;
  std::filesystem::copy_file(from.path(), to.path(), std::filesystem::copy_options::overwrite_existing, error);
  if (error) stop("cannot copy a store to " + to.path().string() + ": " + error.message());
}

void checkInOtherProcess(const ScratchFile& store, const std::function<std::string(psSession&)>& check) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    psSession session;
    const bool isOpen = session.open(store.path().string()) == 1 && session.begin(pscRead) == 1;
    const std::string complaint = isOpen ? check(session) : "cannot read the store: " + session.lastError();
    session.close();
    if (!complaint.empty()) std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, complaint.c_str());
    _exit(complaint.empty() ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child)
    stop(std::string("cannot run another process: ") + std::strerror(errno));
  if (WIFSIGNALED(status))
    stop("the process that reads the store back died of signal " + std::to_string(WTERMSIG(status)));
  if (WEXITSTATUS(status) != 0) stop("another process does not find in the store what was written to it");
}

LmdbPeer::LmdbPeer(unsigned int databaseFlags) {
  requireLmdb(mdb_env_create(&environment_), "prepare", file_);
  requireLmdb(mdb_env_set_mapsize(environment_, std::size_t{1} << 30), "reserve a map for", file_);
  requireLmdb(mdb_env_open(environment_, file_.path().c_str(), MDB_NOSUBDIR, 0644), "open", file_);
  MDB_txn* const transaction = begin(0);
  requireLmdb(mdb_dbi_open(transaction, nullptr, databaseFlags, &database_), "open the database in", file_);
  commit(transaction);
}

MDB_txn* LmdbPeer::begin(unsigned int flags) const {
  MDB_txn* transaction = nullptr;
  requireLmdb(mdb_txn_begin(environment_, nullptr, flags, &transaction), "begin a transaction on", file_);
  return transaction;
}

void LmdbPeer::commit(MDB_txn* transaction) const { requireLmdb(mdb_txn_commit(transaction), "commit to", file_); }

void IntegerKeys::put(MDB_txn* transaction, std::uint64_t key, const psId* value, unsigned int flags) const {
  MDB_val keyBytes{sizeof key, &key};
  MDB_val data{sizeof *value, const_cast<psId*>(value)};
  if (mdb_put(transaction, database(), &keyBytes, &data, flags) != 0) stop("LMDB does not take a pair");
}

bool IntegerKeys::find(MDB_txn* transaction, std::uint64_t key, MDB_val& data) const {
  MDB_val keyBytes{sizeof key, &key};
  const int code = mdb_get(transaction, database(), &keyBytes, &data);
  if (code != 0 && code != MDB_NOTFOUND) stop(std::string("LMDB cannot look for a key: ") + mdb_strerror(code));
  return code == 0;
}

std::uint64_t IntegerKeys::get(MDB_txn* transaction, std::uint64_t key) const {
  MDB_val data{};
  if (!find(transaction, key, data)) stop("LMDB does not find a key");
  return bitsOf(data);
}

std::uint64_t IntegerKeys::sumOfBits(MDB_txn* transaction) const {
  std::uint64_t sum = 0;
  visitAll(transaction, [&](const MDB_val&, const MDB_val& data) { sum += bitsOf(data); });
  return sum;
}
