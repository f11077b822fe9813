#pragma once

#include "hash/HashPosition.h"
#include "hash/SlotChange.h"
#include "hash/psHashMapEntry.h"

namespace ps::detail {

// Moves an element, or in a map an entry, from one slot to another after its object has moved. Takes two steps, like
// the changes of slots.
class StoredMove {
 public:
  // from is where the old element, or the entry of the old key, is. to is another slot, with room. moved goes there
  // instead.
  bool plan(const psHashSet& table, const HashPosition& from, const HashPosition& to, const pstRef<psObj>& moved);
  // False, with nothing changed, when the store has no room.
  bool carryOut();

  // Whether the chain ended where it was.
  bool endsChain() const { return removal_.endsChain(); }

 private:
  SlotInsertion insertion_;
  SlotRemoval removal_;
  Provisional created_;
  pstHandle<psHashMapEntry> entry_;  // the old one, of a map
};

}  // namespace ps::detail
