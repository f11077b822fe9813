#include "hash/SlotChange.h"

#include <algorithm>

#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"

namespace ps::detail {

namespace {

// The array of a chain that is open for update already: nothing is asked again.
bool resize(psHashChain& chain, int size) {
  HashAccess::Entries& entries = HashAccess::entries(chain);
  return pstResizeVArray(&entries, static_cast<unsigned int>(size), sizeof(pstRef<psObj>)) == 1;
}

}  // namespace

bool openForUpdate(const pstHandle<psHashChain>& chain) {
  return chain.open(pscUpdate) == 1 && HashAccess::entries(*chain).updateWithin() == 1;
}

// False when there is no memory to note it: the update is void then, and the object goes with it.
bool Provisional::note(const pstHandle<psObj>& object) {
  return guardMemory(false, [&] {
    objects_.push_back(object);
    return true;
  });
}

pstHandle<psHashChain> Provisional::addChain(const pstHandle<psHashBucket>& near, const pstRef<psObj>* entries, int n) {
  pstHandle<psHashChain> chain =
      add(new (near) psHashChain(pstHandle<psObj>(entries[0]), pstHandle<psObj>(entries[1])));
  if (chain.isNull() || chain->size() != 2) return pstHandle<psHashChain>();
  if (!resize(*chain, n)) return pstHandle<psHashChain>();
  std::copy_n(entries, n, HashAccess::entries(*chain).head());
  return chain;
}

void Provisional::discard() {
  const NothingThrown here;
  for (pstHandle<psObj>& object : objects_) psDelete(object);
  objects_.clear();
}

bool SlotInsertion::plan(const pstHandle<psHashBucket>& bucket, int slot, const pstRef<psObj>& stored) {
  slot_ = slot;
  stored_ = stored;
  const BucketView view(bucket);
  if (slot >= view.slots()) return false;
  const SlotView present(view, slot);
  if (!present.isOpen() || !bucket_.emplace(bucket).isOpen()) return false;
  if (present.count() == 0) return true;
  isNewChain_ = present.chain().isNull();
  const pstRef<psObj> both[] = {stored, present[0]};
  chain_ = isNewChain_ ? created_.addChain(bucket, both, 2) : present.chain();
  return !chain_.isNull() && (isNewChain_ || openForUpdate(chain_));
}

bool SlotInsertion::carryOut() {
  if (chain_.isNull()) {
    (*bucket_)[slot_] = stored_;
    bucket_->count(0, 1);
  } else if (isNewChain_) {
    (*bucket_)[slot_] = chain_;
    bucket_->count(2, -1);
    created_.keep();
  } else {
    const int end = chain_->size();
    if (!resize(*chain_, end + 1)) return false;
    *HashAccess::entries(*chain_).elem(static_cast<unsigned int>(end)) = stored_;
    bucket_->count(1, 0);
  }
  return true;
}

bool SlotRemoval::plan(const pstHandle<psHashBucket>& bucket, int slot, int index) {
  slot_ = slot;
  index_ = index;
  const BucketView view(bucket);
  if (slot < 0 || slot >= view.slots()) return false;
  const SlotView present(view, slot);
  if (index < 0 || index >= present.count()) return false;
  stored_ = present[index];
  left_ = present.count() - 1;
  chain_ = present.chain();
  return bucket_.emplace(bucket).isOpen() && (chain_.isNull() || openForUpdate(chain_));
}

void SlotRemoval::carryOut() {
  if (chain_.isNull()) {
    (*bucket_)[slot_] = pstRef<psObj>();
    bucket_->count(0, -1);
    return;
  }
  pstRef<psObj>* const entries = HashAccess::entries(*chain_).head();
  if (left_ == 1) {
    (*bucket_)[slot_] = entries[1 - index_];
    bucket_->count(-2, 1);
    psDelete(chain_);
  } else {
    std::copy(entries + index_ + 1, entries + left_ + 1, entries + index_);
    resize(*chain_, left_);
    bucket_->count(-1, 0);
  }
}

bool BucketRemoval::plan(const pstHandle<psHashBucket>& bucket, bool holdsEntries) {
  return guardMemory(false, [&] {
    const BucketView view(bucket);
    slots_ = view.slots();
    for (int i = 0; i < slots_; ++i) {
      const SlotView slot(view, i);
      if (!slot.isOpen()) return false;
      for (int k = 0; holdsEntries && k < slot.count(); ++k) {
        const pstHandle<psObj> entry(slot[k]);
        if (!entry.isValid()) continue;
        if (entry.open(pscUpdate) != 1) return false;
        parts_.push_back(entry);
      }
      if (slot.chain().isNull()) continue;
      if (!openForUpdate(slot.chain())) return false;
      parts_.emplace_back(slot.chain());
    }
    return view.isOpen() && bucket_.emplace(bucket).isOpen();
  });
}

void BucketRemoval::carryOut() {
  for (int i = 0; i < slots_; ++i) (*bucket_)[i] = pstRef<psObj>();
  bucket_->count(-HashAccess::chained(**bucket_), -HashAccess::unchained(**bucket_));
  for (pstHandle<psObj>& part : parts_) psDelete(part);
}

}  // namespace ps::detail
