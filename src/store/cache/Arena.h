#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <vector>

#include "store/cache/Frame.h"

namespace ps::detail {

// The one address range of the process from which all page images come. It is reserved once and never given back, so
// two comparisons tell whether an address belongs to the store. It is a buddy allocator: blocks are powers of 2, so
// that neighbours of different sizes can merge when the cache changes its mix of page sizes. Several threads use it.
class Arena {
 public:
  static constexpr std::size_t unit = imageAlignment;

  static Arena& instance();

  // Reserves the range on first use. False when the process may not have even the smallest one.
  bool reserve();

  // A frame whose image is a block of at least size bytes, with arbitrary content. Null when the range is used up.
  // granted is the block's real size. The frame is zero except for its image. Throws std::bad_alloc, with nothing
  // changed, when there is no memory to note the block.
  Frame* allocate(std::size_t size, std::size_t& granted);
  // Gives both back. granted is the value from allocate. Takes no memory.
  void release(Frame* frame, std::size_t granted) noexcept;

  // A frame for an image that lies within another's block.
  Frame* allocateFrame(char* image);
  void releaseFrame(Frame* frame) noexcept;

  // See ForkLocks.
  void lockForFork() { mutex_.lock(); }
  void unlockAfterFork() { mutex_.unlock(); }

  // The frame whose block contains an address.
  static Frame* frameOf(const void* address);

 private:
  static constexpr unsigned orders = 29;

  // The first units of free blocks; lowest first keeps memory dense.
  using Blocks = std::set<std::uint32_t>;

  char* takeBlock(unsigned order);
  void provideNodes(std::size_t more);
  void provideFrame();
  void insertFree(unsigned order, std::uint32_t block) noexcept;
  void giveBackMemory(std::uint32_t block, unsigned order);
  Frame* takeFrame(char* image) noexcept;

  std::mutex mutex_;
  Blocks free_[orders];
  // Nodes for the blocks that are in use, with which they become free again.
  std::vector<Blocks::node_type> nodes_;
  std::size_t used_ = 0;  // blocks
  unsigned topOrder_ = 0;
  std::uint32_t framesUsed_ = 1;           // frame 0 stands for none
  std::vector<std::uint32_t> freeFrames_;  // with room for all frames
};

}  // namespace ps::detail
