#include "hash/BucketView.h"

#include "core/RefusalWatch.h"

namespace ps::detail {

namespace {

// Chains are smaller than most objects, and their arrays follow them directly.
psId storageBehind(psId chain) {
  chain.set_slot(static_cast<unsigned short>(chain.get_slot() + 1));
  return chain;
}

}  // namespace

// An object that does not exist may be an element that was deleted; one whose page cannot be read may be anything.
const void* SlotView::readObject() {
  const RefusalWatch watch;
  prefetchResident(storageBehind(slot_.oid()));
  const pstHandle<psObj> object(slot_);
  const unsigned int type = object.typeN();
  if (type == 0) static_cast<void>(object.open(pscRead));
  if (watch.refused()) return nullptr;
  if (type != psHashChain::pstTypeN) {
    count_ = 1;
    return nullptr;
  }
  chain_ = object;
  if (chain_.open(pscRead) != 1) return nullptr;
  entries_ = HashAccess::entries(*chain_).head();
  if (entries_ != nullptr) count_ = chain_->size();
  return entries_;
}

}  // namespace ps::detail
