#pragma once

#include <atomic>
#include <cstdint>

#include "store/psHandleBase.h"

// What was learned about the shape of trees holds while no node is added to a tree or removed from one.
namespace ps::detail {

// For the whole process, so that it need not be known whose nodes they are.
inline std::atomic<std::uint64_t> shapeChanges{1};

inline std::uint64_t shapeNumber() { return shapeChanges.load(std::memory_order_relaxed); }

inline void noteShapeChange() {
  shapeChanges.fetch_add(1, std::memory_order_relaxed);
  noteChange();
}

// The current shape, in the form of a note beside an object; never null.
inline psId currentShape() {
  const std::uint64_t n = shapeNumber();
  const auto part = [n](unsigned bits) { return static_cast<unsigned short>(n >> bits); };
  return psId(part(0), part(16), part(32), part(48));
}

}  // namespace ps::detail
