#pragma once

#include <cstdint>

#include "store/base/psId.h"

namespace ps::detail {

// For checked builds: notices that what an iterator stands at was changed by something else since its last step. Such a
// change moves what lies behind it, so that the iterator would pass over an element or deliver one twice.
class PlaceCheck {
 public:
  // Where an iterator stands: in a node or bucket that holds so many references, at this one.
  struct Place {
    psId holder;
    int position = 0;
    int count = 0;
    psId stored;
  };

  // The iterator stands here now, in this transaction.
  void note(const Place& place);
  // The iterator has itself changed what is here, or does not know it, or is positioned anew.
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
