// A fuzzer of the walk over a store's file. The input is a file. Whatever it holds, the walk and the salvage end. Where
// the walk finds no fault, LMDB reads the same entries, updates them, and leaves a file that is sound again.
//
//   fuzz_structure seeds FOLDER             writes small stores to begin with into an existing folder
//   fuzz_structure FOLDER -max_len=65536    goes on until something is wrong; see libFuzzer's other options

#include <lmdb.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "store/engine/FileStructure.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace ps::test {
namespace {

using ps::detail::FileStructure;
using ps::detail::LmdbMeta;
using ps::detail::LmdbPage;
using ps::detail::LmdbTree;
using ps::detail::StructureReport;
using Content = std::map<std::string, std::string>;

void check(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

void succeed(int code, const char* what) { check(code == 0, std::string(what) + ": " + mdb_strerror(code)); }

MDB_val toValue(std::string_view bytes) { return {bytes.size(), const_cast<char*>(bytes.data())}; }
std::string_view toView(const MDB_val& value) { return {static_cast<const char*>(value.mv_data), value.mv_size}; }

// A file in memory.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes) : descriptor_(::memfd_create("store", MFD_CLOEXEC)) {
    check(::write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "cannot write");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { ::close(descriptor_); }

  int descriptor() const { return descriptor_; }
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// A transaction of LMDB on a file that it trusts.
class Lmdb {
 public:
  Lmdb(const MemoryFile& file, unsigned int flags) {
    succeed(mdb_env_create(&environment_), "create");
    succeed(mdb_env_set_mapsize(environment_, std::size_t{1} << 32), "map size");
    succeed(mdb_env_open(environment_, file.path().c_str(), flags | MDB_NOSUBDIR | MDB_NOLOCK | MDB_NOSYNC, 0600),
            "open");
    begin(flags);
  }
  Lmdb(const Lmdb&) = delete;
  Lmdb& operator=(const Lmdb&) = delete;
  ~Lmdb() {
    succeed(mdb_txn_commit(transaction_), "commit");
    mdb_env_close(environment_);
  }

  void commit() {
    succeed(mdb_txn_commit(transaction_), "commit");
    begin(0);
  }
  void put(std::string_view key, std::string_view value) {
    MDB_val k = toValue(key);
    MDB_val v = toValue(value);
    succeed(mdb_put(transaction_, database_, &k, &v, 0), "put");
  }
  void erase(std::string_view key) {
    MDB_val k = toValue(key);
    succeed(mdb_del(transaction_, database_, &k, nullptr), "erase");
  }
  void compare(const Content& expected) {
    MDB_cursor* cursor = nullptr;
    succeed(mdb_cursor_open(transaction_, database_, &cursor), "cursor");
    MDB_val k{};
    MDB_val v{};
    for (const auto& entry : expected) {
      succeed(mdb_cursor_get(cursor, &k, &v, MDB_NEXT), "next");
      check(toView(k) == entry.first && toView(v) == entry.second, "LMDB reads another entry");
      MDB_val wanted = toValue(entry.first);
      succeed(mdb_get(transaction_, database_, &wanted, &v), "get");
      check(toView(v) == entry.second, "LMDB finds another value");
    }
    check(mdb_cursor_get(cursor, &k, &v, MDB_NEXT) == MDB_NOTFOUND, "LMDB reads more entries");
    mdb_cursor_close(cursor);
  }

 private:
  void begin(unsigned int flags) {
    succeed(mdb_txn_begin(environment_, nullptr, flags & MDB_RDONLY, &transaction_), "begin");
    succeed(mdb_dbi_open(transaction_, nullptr, 0, &database_), "database");
  }

  MDB_env* environment_ = nullptr;
  MDB_txn* transaction_ = nullptr;
  MDB_dbi database_ = 0;
};

// Some random transactions, and what they leave.
void update(Lmdb& lmdb, Content& content, std::mt19937& random, std::size_t pageSize) {
  const auto below = [&random](std::size_t end) { return random() % end; };
  for (std::size_t commits = 1 + below(6); commits > 0; --commits) {
    for (std::size_t steps = below(40); steps > 0; --steps) {
      const std::string name = std::to_string(below(400)) + std::string(below(3) * 20, 'k');
      const auto present = content.lower_bound(name);
      if (below(2) == 0 && present != content.end()) {
        lmdb.erase(present->first);
        content.erase(present);
      } else {
        const std::string value(below(6) == 0 ? below(3 * pageSize) : below(60), static_cast<char>('a' + below(26)));
        lmdb.put(name, value);
        content[name] = value;
      }
    }
    lmdb.commit();
  }
}

StructureReport walk(const MemoryFile& file, Content& content) {
  FileStructure structure(file.descriptor());
  structure.onEntry([&content](std::string_view key, std::string_view value) { content.emplace(key, value); });
  StructureReport report;
  structure.walk(report);
  std::size_t remains = 0;
  structure.onEntry([&remains](std::string_view key, std::string_view value) { remains += key.size() + value.size(); });
  structure.visitRemains();
  return report;
}

void tryFile(std::string_view bytes) {
  const MemoryFile file(bytes);
  Content content;
  const StructureReport found = walk(file, content);
  StructureReport report;
  const bool isSound = FileStructure(file.descriptor()).walk(report);
  check(isSound == (found.faultCount == 0), "a visitor makes a difference");
  StructureReport end;
  const bool isWhole = !FileStructure::isShort(file.descriptor()) || FileStructure(file.descriptor()).walkEnd(end);
  if (!isSound) return;
  check(isWhole, "a sound file is cut short");
  check(report.entries == content.size(), "entries are counted wrong");
  Lmdb(file, MDB_RDONLY).compare(content);
  std::mt19937 random(static_cast<unsigned int>(bytes.size()));
  {
    Lmdb lmdb(file, 0);
    update(lmdb, content, random, report.pageSize);
    lmdb.compare(content);
  }
  Content updated;
  check(walk(file, updated).faultCount == 0 && updated == content, "an update leaves a file that is not sound");
}

// The changes of a file that keep most of its form.
class Mutation {
 public:
  Mutation(std::string bytes, unsigned int seed) : bytes_(std::move(bytes)), random_(seed) {
    std::memcpy(&pageSize_, bytes_.data() + offsetof(LmdbMeta, free.pageSize), sizeof pageSize_);
    if (pageSize_ < 512 || pageSize_ > 32768 || pageSize_ * 2 > bytes_.size()) pageSize_ = 512;
  }

  const std::string& run(std::size_t mostBytes) {
    for (std::size_t steps = 1 + below(4); steps > 0; --steps) {
      switch (below(8)) {
        case 0:
          copyPage(mostBytes);
          break;
        case 1:
          swapFields(std::size_t{2} << below(3));
          break;
        case 2:
          copyField(std::size_t{2} << below(3));
          break;
        default:
          changeField(std::size_t{1} << below(4));
      }
    }
    if (below(2) == 0) recount();
    return bytes_;
  }

 private:
  std::size_t below(std::size_t end) { return end == 0 ? 0 : random_() % end; }
  std::size_t pages() const { return bytes_.size() / pageSize_; }

  // A place in a head, in the head of a page, or in an entry: a part of its head, its key, or what follows the key,
  // which is a value, the number of the page where the value begins, or a list of free pages.
  std::size_t place(std::size_t width) {
    const std::size_t page = below(4) == 0 ? below(2) : below(pages());
    std::size_t at = below(page < 2 ? sizeof(LmdbMeta) : LmdbPage::headSize + 16);
    if (page >= 2 && below(4) != 0) {
      const std::size_t node = numberAt(page, LmdbPage::headSize + 2 * below(8));
      const std::size_t body = node + 8 + (below(8) == 0 ? 0 : numberAt(page, node + 6));
      at = below(2) == 0 ? node + 2 * below(4) : body + 8 * below(2) * below(6);
    }
    return std::min(page * pageSize_ + at % pageSize_, bytes_.size() - width);
  }
  std::uint16_t numberAt(std::size_t page, std::size_t at) const {
    std::uint16_t number = 0;
    std::memcpy(&number, &bytes_[page * pageSize_ + std::min<std::size_t>(at, pageSize_ - 2)], sizeof number);
    return number;
  }
  void copyField(std::size_t width) { std::memmove(&bytes_[place(width)], &bytes_[place(width)], width); }
  void swapFields(std::size_t width) {
    const std::size_t a = place(width);
    const std::size_t b = place(width);
    if (std::max(a, b) - std::min(a, b) >= width) std::swap_ranges(&bytes_[a], &bytes_[a] + width, &bytes_[b]);
  }
  void changeField(std::size_t width) {
    const std::size_t at = place(width);
    std::uint64_t value = 0;
    std::memcpy(&value, &bytes_[at], width);
    const std::uint64_t changes[] = {value ^ std::uint64_t{1} << below(8 * width), value + 1 + below(8),
                                     value - 1 - below(8), below(pages() + 2), std::uint64_t(0) - below(2)};
    value = changes[below(std::size(changes))];
    std::memcpy(&bytes_[at], &value, width);
  }
  // To another place, where it gets the number of that page, or to the end.
  void copyPage(std::size_t mostBytes) {
    const std::string page = bytes_.substr(below(pages()) * pageSize_, pageSize_);
    const std::size_t to = bytes_.size() + pageSize_ <= mostBytes && below(4) == 0 ? pages() : below(pages());
    bytes_.resize(std::max(bytes_.size(), (to + 1) * pageSize_));
    bytes_.replace(to * pageSize_, pageSize_, page);
    const std::uint64_t number = to;
    if (below(4) != 0) std::memcpy(&bytes_[to * pageSize_], &number, sizeof number);
  }

  // Has the heads count what there is, so that more than one wrong number is needed to be found.
  void recount() {
    for (std::size_t head = 0; head < 2; ++head) {
      LmdbMeta meta{head};
      std::memcpy(&meta, &bytes_[head * pageSize_], sizeof meta);
      for (LmdbTree* tree : {&meta.free, &meta.main}) {
        tree->branchPages = tree->leafPages = tree->overflowPages = tree->entries = 0;
        visited_ = 0;
        if (tree->depth > 0 && tree->depth < 8) count(*tree, tree->root, tree->depth);
      }
      std::memcpy(&bytes_[head * pageSize_], &meta, sizeof meta);
    }
  }
  void count(LmdbTree& tree, std::uint64_t number, int level) {
    if (number >= pages() || ++visited_ > pages()) return;
    const LmdbPage page(std::string_view(bytes_).substr(number * pageSize_, pageSize_));
    std::vector<std::uint32_t> places;
    if (page.faultOf(number, level == 1, places) != nullptr) return;
    ++(level == 1 ? tree.leafPages : tree.branchPages);
    if (level == 1) tree.entries += page.entries();
    for (std::size_t i = 0; i < page.entries(); ++i) {
      const LmdbPage::Entry entry = page.entry(i);
      if (level > 1)
        count(tree, entry.child, level - 1);
      else if (entry.overflow < pages())
        tree.overflowPages += LmdbPage(std::string_view(bytes_).substr(entry.overflow * pageSize_)).overflowPages();
    }
  }

  std::string bytes_;
  std::mt19937 random_;
  std::uint32_t pageSize_ = 0;
  std::size_t visited_ = 0;
};

void writeSeeds(const std::string& folder) {
  for (unsigned int seed = 0; seed < 60; ++seed) {
    std::mt19937 random(seed);
    const std::uint32_t pageSize = seed % 10 == 0 ? 4096 : 512 << seed % 2;
    std::string heads;
    for (const std::uint64_t number : {0, 1}) {
      LmdbMeta head{number};
      head.free.pageSize = pageSize;
      heads.append(reinterpret_cast<const char*>(&head), sizeof head).resize((number + 1) * pageSize);
    }
    const MemoryFile file(heads);
    Content content;
    for (unsigned int rounds = seed % 9; rounds > 0; --rounds) {
      Lmdb lmdb(file, 0);
      update(lmdb, content, random, pageSize);
    }
    std::ifstream image(file.path(), std::ios::binary);
    std::ofstream(folder + "/seed" + std::to_string(seed), std::ios::binary) << image.rdbuf();
  }
}

}  // namespace
}  // namespace ps::test

// NOLINTNEXTLINE(readability-non-const-parameter): libFuzzer declares it so.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  if (*count != 3 || std::string((*arguments)[1]) != "seeds") return 0;
  ps::test::writeSeeds((*arguments)[2]);
  std::exit(0);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ps::test::tryFile({reinterpret_cast<const char*>(data), size});
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t mostBytes,
                                               unsigned int seed) {
  if (size < 1024 || seed % 16 == 0) return LLVMFuzzerMutate(data, size, mostBytes);
  const std::string bytes = ps::test::Mutation({reinterpret_cast<char*>(data), size}, seed).run(mostBytes);
  std::copy(bytes.begin(), bytes.end(), data);
  return bytes.size();
}
