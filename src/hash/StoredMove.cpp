#include "hash/StoredMove.h"

namespace ps::detail {

bool StoredMove::plan(const psHashSet& table, const HashPosition& from, const HashPosition& to,
                      const pstRef<psObj>& moved) {
  pstRef<psObj> stored = moved;
  if (holdsEntries(table)) {
    entry_ = from.stored;
    if (entry_.open(pscUpdate) != 1) return false;
    stored = created_.add(new (to.bucket()) psHashMapEntry(moved, entry_->value()));
    if (stored.isNull()) return false;
  }
  return insertion_.plan(to.bucket(), to.slot, stored) && removal_.plan(from.bucket(), from.slot, from.index);
}

bool StoredMove::carryOut() {
  if (!insertion_.carryOut()) return false;
  created_.keep();
  removal_.carryOut();
  if (!entry_.isNull()) psDelete(entry_);
  return true;
}

}  // namespace ps::detail
