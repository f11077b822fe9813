#include "store/engine/FileStructure.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace ps::detail {

namespace {

constexpr std::size_t longestKey = 511;
constexpr std::uint64_t firstPage = 2;
constexpr std::uint64_t mostBytes = std::uint64_t{1} << 47;
constexpr std::uint64_t pagesBetweenProgress = 4096;

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
  walkTree(meta_->main, false);
  walkTree(meta_->free, true);
  if (!isStopped_) count();
  return !isStopped_ && report.faultCount == 0;
}

bool FileStructure::walkEnd(StructureReport& report) {
  if (!begin(report)) return false;
  walkTree(meta_->free, true);
  for (std::uint64_t page = std::max(firstPage, fileSize_ / pageSize_); page <= meta_->lastPage; ++page) {
    if (!free_[page]) report.add(page, beyondTheEnd);
  }
  return report.faultCount == 0;
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
  used_.assign(report.pages, false);
  free_.assign(report.pages, false);
  return true;
}

// Those who write the file write the pages of a commit before its head. So the head is read before the size.
bool FileStructure::isShort(int descriptor) {
  FileStructure structure(descriptor);
  StructureReport ignored;
  structure.report_ = &ignored;
  if (!structure.readMetas() || ignored.faultCount > 0) return false;
  return sizeOf(descriptor) / structure.pageSize_ <= structure.meta_->lastPage;
}

// Finds the last commit. Where the head of one is damaged, only the other can be walked over.
bool FileStructure::readMetas() {
  fileSize_ = sizeOf(descriptor_);
  pageSize_ = static_cast<std::uint32_t>(::sysconf(_SC_PAGESIZE));
  for (const std::uint64_t number : {0, 1}) {
    if (!readMeta(number)) continue;
    const LmdbMeta& meta = metas_[number];
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

bool FileStructure::readMeta(std::uint64_t number) {
  LmdbMeta& meta = metas_[number];
  std::string bytes;
  const char* fault = "cannot be read";
  if (read(number * pageSize_, sizeof meta, bytes)) {
    std::memcpy(&meta, bytes.data(), sizeof meta);
    fault = faultOf(meta, number);
  }
  if (fault != nullptr) report_->add(number, fault);
  return fault == nullptr;
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
  if (progress_ != nullptr && usedPages_ % pagesBetweenProgress == 0)
    isStopped_ = !progress_(usedPages_, meta_->lastPage + 1);
  if (level + 1 < tree.expected.depth)
    visitBranch(tree, level, bounds);
  else
    visitLeaf(tree, LmdbPage(pages_[level]), number);
}

bool FileStructure::readNode(Tree& tree, std::uint64_t number, unsigned int level, const Bounds& bounds) {
  const bool isLeaf = level + 1 == tree.expected.depth;
  std::string& bytes = pages_[level];
  const char* fault = use(number, 1);
  if (fault == nullptr && !read(number * pageSize_, pageSize_, bytes)) fault = "cannot be read";
  const LmdbPage page(bytes);
  if (fault == nullptr) fault = page.faultOf(number, isLeaf, places_);
  if (fault == nullptr && !isLeaf && !tree.isFree && page.entries() < 2) fault = "is a branch with a single child";
  if (fault == nullptr) fault = faultOfKeys(tree, page, bounds, isLeaf);
  if (fault != nullptr) report_->add(number, fault);
  return fault == nullptr;
}

// The keys of a page ascend within its bounds. The first key of a branch counts as its lower bound.
const char* FileStructure::faultOfKeys(const Tree& tree, const LmdbPage& page, const Bounds& bounds,
                                       bool isLeaf) const {
  const auto precedes = [&tree](std::string_view a, std::string_view b) {
    return tree.isFree ? numberIn(a) < numberIn(b) : a < b;
  };
  std::string_view last = bounds.low;
  bool hasLast = !bounds.low.empty();
  for (std::size_t i = isLeaf ? 0 : 1; i < page.entries(); ++i) {
    const std::string_view key = page.entry(i).key;
    if (key.empty() || key.size() > longestKey || (tree.isFree && key.size() != sizeof(std::uint64_t)))
      return "has a key of a wrong size";
    // A leaf may begin with the lower bound itself.
    const bool mayEqual = isLeaf && i == 0;
    if (hasLast && (mayEqual ? precedes(key, last) : !precedes(last, key))) return "has keys out of order";
    last = key;
    hasLast = true;
  }
  if (bounds.hasHigh && hasLast && !precedes(last, bounds.high)) return "has keys that belong into the next page";
  return nullptr;
}

void FileStructure::visitBranch(Tree& tree, unsigned int level, const Bounds& bounds) {
  ++tree.found.branchPages;
  const LmdbPage page(pages_[level]);
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
  if (entry.overflow != LmdbPage::none) {
    std::uint64_t pages = 0;
    if (!findValue(entry, pages)) return false;
    tree.found.overflowPages += pages;
  }
  if (!tree.isFree && visitor_ == nullptr) return true;
  if (entry.overflow != LmdbPage::none && !readValue(entry, value)) return false;
  if (tree.isFree)
    noteFree(entry.key, value, number);
  else if (!visitsRemains_ || isLost(entry.key))
    visitor_(entry.key, value);
  return true;
}

// How many pages the value of an entry takes. A value that has become smaller keeps the pages that it had.
bool FileStructure::findValue(const LmdbPage::Entry& entry, std::uint64_t& pages) {
  const std::uint64_t first = entry.overflow;
  const std::uint64_t needed = (LmdbPage::headSize - 1 + entry.overflowSize) / pageSize_ + 1;
  const char* fault = use(first, 1);
  std::string head;
  if (fault == nullptr && !read(first * pageSize_, LmdbPage::headSize, head)) fault = "cannot be read";
  if (fault == nullptr) {
    const LmdbPage page(head);
    pages = page.overflowPages();
    if (!page.beginsOverflow(first) || pages < needed) fault = "is not the beginning of a value";
  }
  if (fault == nullptr && pages > 1) fault = use(first + 1, pages - 1);
  if (fault != nullptr) report_->add(first, fault);
  return fault == nullptr;
}

bool FileStructure::readValue(const LmdbPage::Entry& entry, std::string_view& value) {
  const bool done = read(entry.overflow * pageSize_ + LmdbPage::headSize, entry.overflowSize, value_);
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
  std::uint64_t last = meta_->lastPage + 1;
  for (std::size_t i = 1; i <= count; ++i) {
    const std::uint64_t page = numberIn(value, i);
    if (page < firstPage || page >= last) return report_->add(number, "has a list of free pages out of order");
    if (used_[page] || free_[page]) return report_->add(page, "is free, but is used or is free twice");
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
    if (used_[page] && free_[page]) report_->add(page, "is free, but is used");
  }
}

// Null when the pages could be used, and are so from now on.
const char* FileStructure::use(std::uint64_t first, std::uint64_t pages) {
  if (first < firstPage || first > meta_->lastPage || pages > meta_->lastPage + 1 - first)
    return "is not among the pages of the file";
  if ((first + pages) * pageSize_ > fileSize_) return beyondTheEnd;
  for (std::uint64_t page = first; page < first + pages; ++page) {
    if (used_[page]) return "is used twice";
    used_[page] = true;
  }
  usedPages_ += pages;
  return nullptr;
}

void FileStructure::lose(const Tree& tree, const Bounds& bounds) {
  if (tree.isFree || visitor_ == nullptr || visitsRemains_) return;
  lost_.push_back({std::string(bounds.low), std::string(bounds.high), bounds.hasHigh});
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
  if (lost_.empty()) return;
  StructureReport ignored;
  report_ = &ignored;
  visitsRemains_ = true;
  Tree tree{meta_->main, false};
  for (std::uint64_t page = firstPage; page < used_.size(); ++page) {
    if (!used_[page] && !free_[page]) visitLostLeaf(tree, page);
  }
  const LmdbMeta& other = metas_[meta_ == &metas_[0] ? 1 : 0];
  if (faultOf(other, other.number) != nullptr) return;
  meta_ = &other;
  used_.assign(meta_->lastPage + 1, false);
  walkTree(meta_->main, false);
}

void FileStructure::visitLostLeaf(Tree& tree, std::uint64_t number) {
  std::string bytes;
  if (!read(number * pageSize_, pageSize_, bytes)) return;
  const LmdbPage page(bytes);
  if (page.faultOf(number, true, places_) != nullptr || faultOfKeys(tree, page, {}, true) != nullptr) return;
  used_[number] = true;
  visitLeaf(tree, page, number);
}

bool FileStructure::read(std::uint64_t offset, std::size_t size, std::string& bytes) const {
  if (offset > fileSize_ || size > fileSize_ - offset) return false;
  bytes.resize(size);
  for (std::size_t done = 0; done < size;) {
    const ssize_t got = ::pread(descriptor_, bytes.data() + done, size - done, static_cast<off_t>(offset + done));
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace ps::detail
