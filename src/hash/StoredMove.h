#pragma once

#include "hash/HashPosition.h"
#include "hash/SlotChange.h"
#include "hash/psHashMapEntry.h"

namespace ps::detail {

// Moves what is stored in one slot to another after its object has moved, of a map with its value, in two steps as the
// changes of slots are made.
class StoredMove {
 public:
  // from is where the old element, or the entry of the old key, is; to is another slot, with room, and moved what goes
  // there instead.
  bool plan(const psHashSet& table, const HashPosition& from, const HashPosition& to, const pstRef<psObj>& moved);
  // False, with nothing changed, when the store has no room.
  bool carryOut();

  // Whether there is no chain any longer where it was.
  bool endsChain() const { return removal_.endsChain(); }

 private:
  SlotInsertion insertion_;
  SlotRemoval removal_;
  Provisional created_;
  pstHandle<psHashMapEntry> entry_;  // the old one, of a map
};

}  // namespace ps::detail
