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
  // granted is the block's real size. The frame is zero except for its image.
  Frame* allocate(std::size_t size, std::size_t& granted);
  // Gives both back. granted is the value from allocate.
  void release(Frame* frame, std::size_t granted);

  // A frame for an image that lies within another's block.
  Frame* allocateFrame(char* image);
  void releaseFrame(Frame* frame);

  // See ForkLocks.
  void lockForFork() { mutex_.lock(); }
  void unlockAfterFork() { mutex_.unlock(); }

  // The frame whose block contains an address.
  static Frame* frameOf(const void* address);

 private:
  static constexpr unsigned orders = 29;

  char* takeBlock(unsigned order);
  void giveBackMemory(std::uint32_t block, unsigned order);
  Frame* takeFrame(char* image);

  std::mutex mutex_;
  std::set<std::uint32_t>
      free_[orders];  // first units of the free blocks of each order; lowest first keeps memory dense
  unsigned topOrder_ = 0;
  std::uint32_t framesUsed_ = 1;  // frame 0 stands for none
  std::vector<std::uint32_t> freeFrames_;
};

}  // namespace ps::detail
