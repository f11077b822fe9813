#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/engine/LmdbPage.h"
#include "store/engine/StructureReport.h"

namespace ps::detail {

// A walk over the pages of a store's file by reading. LMDB trusts the pages that it maps: a wrong number in one of them
// can crash or hang the process, or make entries vanish. After a walk without a fault it finds each entry in its place.
// The content of values is not looked at. Nothing here trusts the file.
//
// The walk sees the last commit. Nobody may commit meanwhile; see UpdateLock.
//
// Cost: each page of a tree is read once, and of a value that has pages of its own the first 16 bytes, unless entries
// are visited. 2 bits of memory for each page of the file, which its size bounds.
class FileStructure {
 public:
  // False ends the walk.
  using Progress = std::function<bool(std::uint64_t pages, std::uint64_t ofPages)>;
  // The views are valid until the visitor returns.
  using Visitor = std::function<void(std::string_view key, std::string_view value)>;

  // Whether the file ends before its last page. A sound file may lack free pages at its end. May be asked at any time.
  static bool isShort(int descriptor);

  // The descriptor of the file; the caller keeps it open.
  explicit FileStructure(int descriptor) : descriptor_(descriptor) {}

  void onProgress(Progress progress) { progress_ = std::move(progress); }
  // Has the entries visited that can be read, in their order. The value of an entry whose pages have a fault may be
  // right or that of another: a visitor that goes on in spite of faults verifies it.
  void onEntry(Visitor visitor) { visitor_ = std::move(visitor); }

  // Whether all pages are free that lie beyond the end of a short file, without a walk over the others.
  bool walkEnd(StructureReport& report);

  // Whether there is no fault. Without a visitor, a file whose first 2 pages are not those of a store is not walked
  // over; LMDB would refuse it. When the progress has ended the walk, the report is of a part of the file.
  bool walk(StructureReport& report);

  // After a walk with faults: visits entries for what the walk could not reach, from leaves that nothing leads to, then
  // from those that should be free, and from the commit before the last one. Where both heads are lost, from all
  // leaves. Any of it may be out of date, and a key may come several times: what the walk has visited is right, then
  // what comes first.
  void visitRemains();

 private:
  static constexpr unsigned int mostLevels = 32;  // LMDB's limit

  struct Tree {
    const LmdbTree& expected;
    bool isFree;
    LmdbTree found{0, 0};
  };
  // The keys that may lie below a page: from low on, up to but without high.
  struct Bounds {
    std::string_view low;
    std::string_view high;
    bool hasHigh = false;
  };
  struct LostRange {
    std::string low;
    std::string high;
    bool hasHigh;
  };

  bool begin(StructureReport& report);
  void beginPages();
  bool readMetas();
  bool isStore() const;
  const char* faultOf(const LmdbMeta& meta, std::uint64_t number) const;
  void walkTree(const LmdbTree& expected, bool isFree);
  void visit(Tree& tree, std::uint64_t number, unsigned int level, const Bounds& bounds);
  bool readNode(const Tree& tree, std::uint64_t number, unsigned int level, const Bounds& bounds);
  void giveBack(std::uint64_t number, const char* fault);
  bool mayContest(std::uint64_t pages);
  void tellProgress(std::uint64_t pages);
  bool readPage(std::uint64_t number, std::string& bytes);
  void announceChildren(const LmdbPage& page);
  void visitBranch(Tree& tree, unsigned int level, const Bounds& bounds);
  void visitLeaf(Tree& tree, const LmdbPage& page, std::uint64_t number);
  bool visitEntry(Tree& tree, const LmdbPage::Entry& entry, std::uint64_t number);
  static const char* faultOfKeySizes(const Tree& tree, const LmdbPage& page, bool isLeaf);
  static const char* faultOfOrder(const Tree& tree, const LmdbPage& page, const Bounds& bounds, bool isLeaf);
  bool findValue(const LmdbPage::Entry& entry, std::uint64_t& pages);
  bool readValue(const LmdbPage::Entry& entry, std::string_view& value);
  void noteFree(std::string_view key, std::string_view value, std::uint64_t number);
  void compare(const Tree& tree, std::uint64_t number);
  void count();
  void findCut();
  void supposeHead();
  void visitLostLeaves();
  void visitLostLeaf(std::uint64_t number);

  const char* faultOfPages(std::uint64_t first, std::uint64_t pages) const;
  const char* use(std::uint64_t first, std::uint64_t pages);
  bool read(std::uint64_t offset, std::size_t size, char* bytes) const;
  void lose(const Tree& tree, const Bounds& bounds);
  bool isLost(std::string_view key) const;

  const int descriptor_;
  Progress progress_;
  Visitor visitor_;

  std::uint32_t pageSize_ = 0;
  std::uint64_t fileSize_ = 0;
  LmdbMeta metas_[2] = {{0}, {1}};
  const LmdbMeta* meta_ = nullptr;  // whose commit is walked over
  std::vector<bool> used_;
  std::vector<bool> free_;
  std::uint64_t usedPages_ = 0;
  std::uint64_t nextProgress_ = 0;
  bool isStopped_ = false;
  bool isOnDisk_ = false;  // a page was, since children were last announced

  bool isFreeKnown_ = false;
  std::uint64_t contestedPages_ = 0;     // that were read for two, or more
  std::vector<std::uint64_t> disputed_;  // used, but free
  std::vector<LostRange> lost_;
  bool visitsRemains_ = false;
  bool visitsAllRemains_ = false;  // not only for lost keys

  std::string pages_[mostLevels];  // the page of each level at which the walk is
  std::string value_;
  std::vector<std::uint32_t> places_;
  std::vector<std::uint64_t> children_;
  StructureReport* report_ = nullptr;
};

}  // namespace ps::detail
