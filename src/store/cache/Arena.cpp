#include "store/cache/Arena.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>
#include <utility>

#include "store/cache/Frame.h"

namespace ps::detail {

std::uintptr_t arenaBegin = 0;
std::uintptr_t arenaSize = 0;
Frame* frameTable = nullptr;

namespace {

constexpr unsigned largestRangeOrder = 28;   // 256 GiB
constexpr unsigned smallestRangeOrder = 18;  // 256 MiB
constexpr unsigned returnOrder = 10;         // free blocks of a megabyte go back to the system

// For each unit of an allocated block, the index of its frame.
std::uint32_t* frameOfUnit = nullptr;

void* reserveRange(std::size_t bytes) {
  void* const range = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (range == MAP_FAILED) return nullptr;
  // Collections are read all over: with small pages a look-up misses the translation buffer almost as often as the
  // caches. Only what is touched becomes memory, two megabytes at a time; where the system refuses, nothing is lost.
  madvise(range, bytes, MADV_HUGEPAGE);
  return range;
}

unsigned orderOf(std::size_t size) {
  unsigned order = 0;
  while ((Arena::unit << order) < size) ++order;
  return order;
}

std::uint32_t unitOf(const void* address) {
  return static_cast<std::uint32_t>((reinterpret_cast<std::uintptr_t>(address) - arenaBegin) / Arena::unit);
}

}  // namespace

Arena& Arena::instance() {
  // Never destroyed: handles in static objects may outlive everything else.
  static Arena* const arena = new Arena;
  return *arena;
}

bool Arena::reserve() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (arenaSize != 0) return true;
  provideNodes(1);
  for (unsigned order = largestRangeOrder; order >= smallestRangeOrder; --order) {
    const std::size_t bytes = unit << order;
    void* const range = reserveRange(bytes);
    if (range == nullptr) continue;
    const std::size_t units = std::size_t{1} << order;
    void* const tables = reserveRange(units * (sizeof(Frame) + sizeof(std::uint32_t)));
    if (tables == nullptr) {
      munmap(range, bytes);
      continue;
    }
    frameTable = static_cast<Frame*>(tables);
    frameOfUnit = reinterpret_cast<std::uint32_t*>(frameTable + units);
    topOrder_ = order;
    insertFree(order, 0);
    arenaBegin = reinterpret_cast<std::uintptr_t>(range);
    arenaSize = bytes;
    return true;
  }
  return false;
}

Frame* Arena::allocate(std::size_t size, std::size_t& granted) {
  const unsigned order = orderOf(size);
  const std::lock_guard<std::mutex> lock(mutex_);
  provideFrame();
  char* const block = takeBlock(order);
  if (block == nullptr) return nullptr;
  granted = unit << order;
  Frame* const frame = takeFrame(block);
  std::fill_n(frameOfUnit + unitOf(block), std::size_t{1} << order, static_cast<std::uint32_t>(frame - frameTable));
  return frame;
}

char* Arena::takeBlock(unsigned order) {
  unsigned from = order;
  while (from <= topOrder_ && free_[from].empty()) ++from;
  if (from > topOrder_) return nullptr;
  provideNodes(from - order);
  const std::uint32_t block = *free_[from].begin();
  nodes_.push_back(free_[from].extract(free_[from].begin()));
  ++used_;
  while (from > order) {
    --from;
    insertFree(from, block + (1U << from));
  }
  return reinterpret_cast<char*>(arenaBegin + std::uintptr_t{block} * unit);
}

// Sees to it that so many blocks more than are in use can become free, and that one more can be taken.
void Arena::provideNodes(std::size_t more) {
  const std::size_t wanted = std::max(nodes_.size(), used_ + more);
  if (nodes_.capacity() <= wanted) nodes_.reserve(2 * wanted + 2);
  while (nodes_.size() < wanted) {
    Blocks made{0};
    nodes_.push_back(made.extract(made.begin()));
  }
}

void Arena::insertFree(unsigned order, std::uint32_t block) noexcept {
  Blocks::node_type node = std::move(nodes_.back());
  nodes_.pop_back();
  node.value() = block;
  free_[order].insert(std::move(node));
}

// Sees to it that one more frame can be taken, and all can be released.
void Arena::provideFrame() {
  if (freeFrames_.capacity() <= framesUsed_) freeFrames_.reserve(2 * (std::size_t{framesUsed_} + 1));
}

Frame* Arena::takeFrame(char* image) noexcept {
  std::uint32_t index = 0;
  if (freeFrames_.empty()) {
    index = framesUsed_++;
  } else {
    index = freeFrames_.back();
    freeFrames_.pop_back();
  }
  auto* const frame = ::new (static_cast<void*>(frameTable + index)) Frame{};
  frame->image = image;
  return frame;
}

Frame* Arena::allocateFrame(char* image) {
  const std::lock_guard<std::mutex> lock(mutex_);
  provideFrame();
  return takeFrame(image);
}

void Arena::releaseFrame(Frame* frame) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  freeFrames_.push_back(static_cast<std::uint32_t>(frame - frameTable));
}

void Arena::release(Frame* frame, std::size_t granted) noexcept {
  std::uint32_t block = unitOf(frame->image);
  unsigned order = orderOf(granted);
  releaseFrame(frame);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (order >= returnOrder) giveBackMemory(block, order);
  while (order < topOrder_) {
    const auto buddy = free_[order].find(block ^ (1U << order));
    if (buddy == free_[order].end()) break;
    block &= ~(1U << order);
    free_[order].erase(buddy);
    if (++order == returnOrder) giveBackMemory(block, order);
  }
  --used_;
  insertFree(order, block);
}

void Arena::giveBackMemory(std::uint32_t block, unsigned order) {
  madvise(reinterpret_cast<void*>(arenaBegin + std::uintptr_t{block} * unit), unit << order, MADV_DONTNEED);
}

Frame* Arena::frameOf(const void* address) { return frameTable + frameOfUnit[unitOf(address)]; }

}  // namespace ps::detail
