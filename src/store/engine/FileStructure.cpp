#include "store/engine/FileStructure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iterator>

namespace ps::detail {

namespace {

constexpr std::size_t longestKey = 511;
constexpr std::uint64_t firstPage = 2;
constexpr std::uint64_t mostBytes = std::uint64_t{1} << 47;
constexpr std::uint64_t pagesBetweenProgress = 4096;
// Longer than any page takes from memory, shorter than a disk answers.
constexpr std::chrono::microseconds leastDiskAccess{50};

constexpr const char* beyondTheEnd = "lies beyond the end of the file, which was cut short";

std::uint64_t numberIn(std::string_view bytes, std::size_t index = 0) {
  std::uint64_t number = 0;
  std::memcpy(&number, bytes.data() + index * sizeof number, sizeof number);
  return number;
}

std::uint64_t sizeOf(int descriptor) {
  struct stat status {};
  ::fstat(descriptor, &status);
  return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace

bool FileStructure::walk(StructureReport& report) {
  if (!begin(report)) return false;
  // They take turns. Only a lost power supply can have kept one of them from the disk, when commits do not wait for it.
  const std::uint64_t commits[2] = {metas_[0].commit, metas_[1].commit};
  if (report.faultCount == 0 && std::max(commits[0], commits[1]) - std::min(commits[0], commits[1]) > 1)
    report.add(0, "and page 1 are not of 2 commits in a row");
  const std::uint64_t faults = report.faultCount;
  walkTree(meta_->free, true);
  isFreeKnown_ = report.faultCount == faults;
  walkTree(meta_->main, false);
  if (!isStopped_) count();
  if (!isStopped_ && report.faultCount == 0) findCut();
  return !isStopped_ && report.faultCount == 0;
}

bool FileStructure::walkEnd(StructureReport& report) {
  if (!begin(report)) return false;
  walkTree(meta_->free, true);
  findCut();
  return report.faultCount == 0;
}

// Pages beyond the end are free: the transaction that took them has freed them, and never wrote them.
void FileStructure::findCut() {
  for (std::uint64_t page = std::max(firstPage, fileSize_ / pageSize_); page < free_.size(); ++page) {
    if (!free_[page]) report_->add(page, beyondTheEnd);
  }
}

bool FileStructure::begin(StructureReport& report) {
  report = {};
  report_ = &report;
  const bool hasMeta = readMetas();
  report.isStore = isStore();
  if (!hasMeta || (report.faultCount > 0 && visitor_ == nullptr)) return false;
  report.pageSize = pageSize_;
  report.commit = meta_->commit;
  report.pages = meta_->lastPage + 1;
  beginPages();
  if (free_.size() < report.pages) report.add(free_.size(), beyondTheEnd);
  return true;
}

// The pages beyond the end of a sound file are free, and their numbers take 8 bytes each in the file. So a head cannot
// make us take more memory than the file's size allows for.
void FileStructure::beginPages() {
  const std::uint64_t most = fileSize_ / pageSize_ + fileSize_ / sizeof(std::uint64_t);
  const std::uint64_t pages = std::min(meta_->lastPage + 1, most);
  used_.assign(pages, false);
  free_.assign(pages, false);
  usedPages_ = 0;
  nextProgress_ = 0;
}

// Those who write the file write the pages of a commit before its head. So the head is read before the size.
bool FileStructure::isShort(int descriptor) {
  FileStructure structure(descriptor);
  StructureReport ignored;
  structure.report_ = &ignored;
  if (!structure.readMetas() || ignored.faultCount > 0) return false;
  return sizeOf(descriptor) / structure.pageSize_ <= structure.meta_->lastPage;
}

// Finds the last commit. Where the head of one is damaged, only the other can be walked over. Without the first one,
// the page size is not known, but nearly always the system's.
bool FileStructure::readMetas() {
  meta_ = nullptr;
  fileSize_ = sizeOf(descriptor_);
  pageSize_ = static_cast<std::uint32_t>(::sysconf(_SC_PAGESIZE));
  for (const std::uint64_t number : {0, 1}) {
    LmdbMeta& meta = metas_[number];
    const bool isRead = read(number * pageSize_, sizeof meta, reinterpret_cast<char*>(&meta));
    if (const char* const fault = isRead ? faultOf(meta, number) : "cannot be read"; fault != nullptr) {
      report_->add(number, fault);
      continue;
    }
    pageSize_ = meta.free.pageSize;
    if (meta_ == nullptr || meta_->commit < meta.commit) meta_ = &meta;
  }
  return meta_ != nullptr;
}

// A file that holds no more than its heads may be one whose creation was interrupted.
bool FileStructure::isStore() const {
  return std::any_of(std::begin(metas_), std::end(metas_), [this](const LmdbMeta& meta) {
    return meta.magic == LmdbMeta::rightMagic && (meta.commit > 0 || fileSize_ > std::size(metas_) * pageSize_);
  });
}

const char* FileStructure::faultOf(const LmdbMeta& meta, std::uint64_t number) const {
  constexpr std::uint16_t kindOfKeys = 0x7F;
  constexpr std::uint16_t integerKeys = 0x08;
  const std::uint32_t size = meta.free.pageSize;
  if (meta.magic != LmdbMeta::rightMagic || meta.flags != LmdbMeta::pageFlag || meta.number != number)
    return "is not the head of a store";
  if (meta.version != 1) return "was written by an incompatible version of LMDB";
  if (size < 512 || size > 32768 || (size & (size - 1)) != 0 || (number != 0 && size != pageSize_))
    return "has a wrong page size";
  if (meta.commit != 0 && meta.commit % 2 != number) return "has the number of a commit that belongs to the other one";
  if (meta.lastPage < 1 || meta.lastPage >= mostBytes / size) return "has a wrong number of pages";
  // A transaction reserves what its pages take before it writes them.
  if (meta.mapSize / size < meta.lastPage && meta.commit != 0) return "has less room than pages";
  return (meta.free.flags & kindOfKeys) == integerKeys && meta.main.flags == 0 ? nullptr
                                                                               : "describes keys of another kind";
}

void FileStructure::walkTree(const LmdbTree& expected, bool isFree) {
  Tree tree{expected, isFree};
  const auto metaPage = static_cast<std::uint64_t>(meta_ - metas_);
  if (expected.depth > mostLevels || (expected.depth == 0) != (expected.root == LmdbPage::none)) {
    report_->add(metaPage, "has a tree of a wrong depth");
    lose(tree, {});
  } else if (expected.depth > 0) {
    visit(tree, expected.root, 0, {});
  }
  if (!isStopped_) compare(tree, metaPage);
}

// Visits the page of a tree and all below it. level is 0 at the root.
void FileStructure::visit(Tree& tree, std::uint64_t number, unsigned int level, const Bounds& bounds) {
  if (isStopped_) return;
  if (!readNode(tree, number, level, bounds)) return lose(tree, bounds);
  tellProgress(usedPages_);
  if (level + 1 < tree.expected.depth)
    visitBranch(tree, level, bounds);
  else
    visitLeaf(tree, LmdbPage(pages_[level]), number);
}

bool FileStructure::readNode(const Tree& tree, std::uint64_t number, unsigned int level, const Bounds& bounds) {
  const bool isLeaf = level + 1 == tree.expected.depth;
  if (const char* const fault = use(number, 1); fault != nullptr) {
    report_->add(number, fault);
    return false;
  }
  const char* fault = "cannot be read";
  if (readPage(number, pages_[level])) {
    const LmdbPage page(pages_[level]);
    fault = page.faultOf(number, isLeaf, places_);
    if (fault == nullptr && !isLeaf && page.entries() < 2) fault = "is a branch with a single child";
    if (fault == nullptr) fault = faultOfKeySizes(tree, page, isLeaf);
    if (fault == nullptr) fault = faultOfOrder(tree, page, bounds, isLeaf);
  }
  if (fault != nullptr) giveBack(number, fault);
  return fault == nullptr;
}

// A page that does not fit may belong to another place, from which its entries can be visited.
void FileStructure::giveBack(std::uint64_t number, const char* fault) {
  report_->add(number, fault);
  if (!mayContest(1)) return;
  used_[number] = false;
  --usedPages_;
}

// Whether pages may be read once more. Without a limit a forged file could have them read for ever.
bool FileStructure::mayContest(std::uint64_t pages) {
  if (visitor_ == nullptr || contestedPages_ + pages > fileSize_ / pageSize_) return false;
  contestedPages_ += pages;
  return true;
}

void FileStructure::tellProgress(std::uint64_t pages) {
  if (progress_ == nullptr || pages < nextProgress_) return;
  nextProgress_ = pages + pagesBetweenProgress;
  isStopped_ = isStopped_ || !progress_(pages, meta_->lastPage + 1);
}

// Pages that come from the disk are slow one by one. So after one of them, the children of a branch are announced.
bool FileStructure::readPage(std::uint64_t number, std::string& bytes) {
  using Clock = std::chrono::steady_clock;
  bytes.resize(pageSize_);
  const Clock::time_point start = Clock::now();
  const bool done = read(number * pageSize_, pageSize_, bytes.data());
  isOnDisk_ = isOnDisk_ || Clock::now() - start > leastDiskAccess;
  return done;
}

void FileStructure::announceChildren(const LmdbPage& page) {
  if (!isOnDisk_) return;
  isOnDisk_ = false;
  children_.clear();
  for (std::size_t i = 0; i < page.entries(); ++i) children_.push_back(page.entry(i).child);
  std::sort(children_.begin(), children_.end());
  for (const std::uint64_t child : children_) {
    if (child > meta_->lastPage) return;
    ::posix_fadvise(descriptor_, static_cast<off_t>(child * pageSize_), pageSize_, POSIX_FADV_WILLNEED);
  }
}

// The first key of a branch has no meaning.
const char* FileStructure::faultOfKeySizes(const Tree& tree, const LmdbPage& page, bool isLeaf) {
  for (std::size_t i = isLeaf ? 0 : 1; i < page.entries(); ++i) {
    const std::size_t size = page.entry(i).key.size();
    if (size == 0 || size > longestKey || (tree.isFree && size != sizeof(std::uint64_t)))
      return "has a key of a wrong size";
  }
  return nullptr;
}

// The keys of a page ascend within its bounds, of which the lower one counts as the first key of a branch.
const char* FileStructure::faultOfOrder(const Tree& tree, const LmdbPage& page, const Bounds& bounds, bool isLeaf) {
  const auto precedes = [&tree](std::string_view a, std::string_view b) {
    return tree.isFree ? numberIn(a) < numberIn(b) : a < b;
  };
  std::string_view last = bounds.low;
  for (std::size_t i = isLeaf ? 0 : 1; i < page.entries(); ++i) {
    const std::string_view key = page.entry(i).key;
    // A leaf may begin with the lower bound itself.
    const bool mayEqual = isLeaf && i == 0;
    if (!last.empty() && (mayEqual ? precedes(key, last) : !precedes(last, key))) return "has keys out of order";
    last = key;
  }
  return bounds.hasHigh && !precedes(last, bounds.high) ? "has keys that belong into the next page" : nullptr;
}

void FileStructure::visitBranch(Tree& tree, unsigned int level, const Bounds& bounds) {
  ++tree.found.branchPages;
  const LmdbPage page(pages_[level]);
  announceChildren(page);
  for (std::size_t i = 0; i < page.entries() && !isStopped_; ++i) {
    Bounds child = bounds;
    if (i > 0) child.low = page.entry(i).key;
    if (i + 1 < page.entries()) {
      child.high = page.entry(i + 1).key;
      child.hasHigh = true;
    }
    visit(tree, page.entry(i).child, level + 1, child);
  }
}

void FileStructure::visitLeaf(Tree& tree, const LmdbPage& page, std::uint64_t number) {
  ++tree.found.leafPages;
  for (std::size_t i = 0; i < page.entries() && !isStopped_; ++i) {
    const LmdbPage::Entry entry = page.entry(i);
    ++tree.found.entries;
    if (visitEntry(tree, entry, number)) continue;
    // The single key, without those that follow it.
    const std::string next = std::string(entry.key) + '\0';
    lose(tree, {entry.key, next, true});
  }
}

// False when the entry's value has pages of its own that are not right.
bool FileStructure::visitEntry(Tree& tree, const LmdbPage::Entry& entry, std::uint64_t number) {
  std::string_view value = entry.value;
  if (entry.isOverflow) {
    std::uint64_t pages = 0;
    if (!findValue(entry, pages)) return false;
    tree.found.overflowPages += pages;
  }
  if (!tree.isFree && visitor_ == nullptr) return true;
  if (entry.isOverflow && !readValue(entry, value)) return false;
  if (tree.isFree)
    noteFree(entry.key, value, number);
  else if (!visitsRemains_ || visitsAllRemains_ || isLost(entry.key))
    visitor_(entry.key, value);
  return true;
}

// How many pages the value of an entry takes. A value that has become smaller keeps the pages that it had.
bool FileStructure::findValue(const LmdbPage::Entry& entry, std::uint64_t& pages) {
  const std::uint64_t first = entry.overflow;
  const std::uint64_t needed = (LmdbPage::headSize - 1 + entry.overflowSize) / pageSize_ + 1;
  const char* fault = faultOfPages(first, needed);
  const bool isInFile = fault == nullptr;
  char head[LmdbPage::headSize];
  if (fault == nullptr && !read(first * pageSize_, sizeof head, head)) fault = "cannot be read";
  if (fault == nullptr) {
    const LmdbPage page(std::string_view(head, sizeof head));
    pages = page.overflowPages();
    if (!page.beginsOverflow(first) || pages < needed) fault = "is not the beginning of a value";
  }
  if (fault == nullptr) fault = use(first, pages);
  if (fault == nullptr) return true;
  report_->add(first, fault);
  // Its bytes may be right all the same.
  return isInFile && mayContest(needed);
}

bool FileStructure::readValue(const LmdbPage::Entry& entry, std::string_view& value) {
  value_.resize(entry.overflowSize);
  const bool done = read(entry.overflow * pageSize_ + LmdbPage::headSize, value_.size(), value_.data());
  if (!done) report_->add(entry.overflow, "cannot be read");
  value = value_;
  return done;
}

// An entry of the tree of free pages: the commit that made them free, their count, and their numbers, which descend.
void FileStructure::noteFree(std::string_view key, std::string_view value, std::uint64_t number) {
  constexpr std::size_t width = sizeof(std::uint64_t);
  const std::uint64_t commit = numberIn(key);
  const std::uint64_t count = value.size() < width ? ~std::uint64_t{0} : numberIn(value);
  if (commit == 0 || commit > meta_->commit) return report_->add(number, "has free pages of a commit that never was");
  if (value.size() % width != 0 || count > value.size() / width - 1)
    return report_->add(number, "has a list of free pages of a wrong length");
  std::uint64_t last = free_.size();
  for (std::size_t i = 1; i <= count; ++i) {
    const std::uint64_t page = numberIn(value, i);
    if (page < firstPage || page >= last) return report_->add(number, "has a list of free pages out of order");
    if (used_[page] || free_[page]) report_->add(page, "is free, but is used or is free twice");
    free_[page] = true;
    last = page;
  }
}

void FileStructure::compare(const Tree& tree, std::uint64_t number) {
  const LmdbTree& expected = tree.expected;
  const LmdbTree& found = tree.found;
  const bool same = expected.branchPages == found.branchPages && expected.leafPages == found.leafPages &&
                    expected.overflowPages == found.overflowPages && expected.entries == found.entries;
  if (!same) {
    report_->add(number, std::string("counts other pages or entries in its ") + (tree.isFree ? "free" : "main") +
                             " tree than there are");
  }
  if (!tree.isFree) report_->entries = found.entries;
}

void FileStructure::count() {
  for (std::uint64_t page = firstPage; page < used_.size(); ++page) {
    if (used_[page])
      ++report_->usedPages;
    else if (free_[page])
      ++report_->freePages;
    else
      ++report_->lostPages;
  }
}

// Null when pages are those of the file.
const char* FileStructure::faultOfPages(std::uint64_t first, std::uint64_t pages) const {
  if (first < firstPage || first > meta_->lastPage || pages > meta_->lastPage + 1 - first)
    return "is not among the pages of the file";
  return (first + pages) * pageSize_ > fileSize_ ? beyondTheEnd : nullptr;
}

// Null when the pages could be used, and are so from now on.
const char* FileStructure::use(std::uint64_t first, std::uint64_t pages) {
  if (const char* const fault = faultOfPages(first, pages); fault != nullptr) return fault;
  for (std::uint64_t page = first; page < first + pages; ++page) {
    if (used_[page]) return "is used twice";
    if (free_[page]) {
      if (mayContest(1)) disputed_.push_back(page);
      return "is used, but is free";
    }
  }
  for (std::uint64_t page = first; page < first + pages; ++page) used_[page] = true;
  usedPages_ += pages;
  return nullptr;
}

void FileStructure::lose(const Tree& tree, const Bounds& bounds) {
  if (tree.isFree || visitor_ == nullptr || visitsRemains_) return;
  if (!lost_.empty() && lost_.back().hasHigh && lost_.back().high == bounds.low) {
    lost_.back().high = bounds.high;
    lost_.back().hasHigh = bounds.hasHigh;
  } else {
    lost_.push_back({std::string(bounds.low), std::string(bounds.high), bounds.hasHigh});
  }
}

// What is lost was noted in the order of the keys.
bool FileStructure::isLost(std::string_view key) const {
  auto range = std::upper_bound(lost_.begin(), lost_.end(), key,
                                [](std::string_view wanted, const LostRange& lost) { return wanted < lost.low; });
  if (range == lost_.begin()) return false;
  --range;
  return !range->hasHigh || key < range->high;
}

void FileStructure::visitRemains() {
  StructureReport ignored;
  report_ = &ignored;
  const bool hasHead = meta_ != nullptr;
  if (!hasHead) supposeHead();
  if (visitor_ == nullptr || isStopped_ || lost_.empty()) return;
  visitsRemains_ = true;
  // When all free pages are known, the others are of the last commit.
  visitsAllRemains_ = isFreeKnown_;
  visitLostLeaves();
  visitsAllRemains_ = false;
  const std::vector<std::uint64_t> disputed = std::move(disputed_);
  for (const std::uint64_t page : disputed) visitLostLeaf(page);
  const LmdbMeta& other = metas_[meta_ == &metas_[0] ? 1 : 0];
  if (!hasHead || faultOf(other, static_cast<std::uint64_t>(&other - metas_)) != nullptr) return;
  meta_ = &other;
  beginPages();
  walkTree(meta_->main, false);
}

// Of a file that has lost both heads, all leaves are looked at.
void FileStructure::supposeHead() {
  if (fileSize_ / pageSize_ <= firstPage) return;
  metas_[0] = LmdbMeta{0};
  metas_[0].lastPage = fileSize_ / pageSize_ - 1;
  meta_ = &metas_[0];
  beginPages();
  lost_.push_back({"", "", false});
}

void FileStructure::visitLostLeaves() {
  const std::uint64_t end = std::min<std::uint64_t>(used_.size(), fileSize_ / pageSize_);
  nextProgress_ = 0;
  for (std::uint64_t page = firstPage; page < end && !isStopped_; ++page) {
    if (!used_[page] && !free_[page]) visitLostLeaf(page);
    tellProgress(page);
  }
}

// Its keys need not be in order: where one was changed, the others are still right.
void FileStructure::visitLostLeaf(std::uint64_t number) {
  Tree tree{meta_->main, false};
  std::string& bytes = pages_[0];
  if (!readPage(number, bytes)) return;
  const LmdbPage page(bytes);
  if (page.faultOf(number, true, places_) != nullptr || faultOfKeySizes(tree, page, true) != nullptr) return;
  used_[number] = true;
  visitLeaf(tree, page, number);
}

bool FileStructure::read(std::uint64_t offset, std::size_t size, char* bytes) const {
  if (offset > fileSize_ || size > fileSize_ - offset) return false;
  for (std::size_t done = 0; done < size;) {
    const ssize_t got = ::pread(descriptor_, bytes + done, size - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace ps::detail
