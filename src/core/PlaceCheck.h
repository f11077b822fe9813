#pragma once

#include <cstdint>

#include "store/base/psId.h"

namespace ps::detail {

// For checked builds: notices that the place of an iterator was changed by something else since its last step. Such a
// change moves what comes after it, so the iterator would skip an element or deliver one twice.
class PlaceCheck {
 public:
  // The place of an iterator: the node or bucket, how many references that holds, and the reference at the position.
  struct Place {
    psId holder;
    int position = 0;
    int count = 0;
    psId stored;
  };

  // Notes that the iterator stands here now, in this transaction.
  void note(const Place& place);
  // For an iterator that has changed this place itself, does not know it, or is positioned again.
  void forget() { place_ = Place(); }
  // Reports an iterator that finds something else at its place than it noted in the same transaction.
  void compare(const Place& found) const;

 private:
  Place place_;
  std::uint64_t readStamp_ = 0;
  std::uint64_t updateStamp_ = 0;
};

// Reports that an iterator of a collection was used after the collection has changed.
void reportForeignChange(const psId& holder);

}  // namespace ps::detail
