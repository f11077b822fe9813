#pragma once

#include "hash/psHashMap.h"
#include "support/Faults.h"
#include "support/KeyedWorld.h"

namespace ps::test {

// Where the hashes of items come from.
enum class Hashing {
  identifier,  // and there is no comparator
  content,     // even in all bits
  constant,
  fewValues,
  topBits,  // all that differs is in the first bits, so that all share a slot
  lowBits,  // all that differs is in the last bits, so that all share a bucket
};

const char* nameOf(Hashing hashing);

// The hash of an item of this number; not for identifiers.
std::uint32_t hashOf(Hashing hashing, std::int64_t number);

// The hash of a stored item, as the world that this thread took up last goes by it.
std::uint32_t hashOfStored(const pstHandle<psObj>& element);

// Orders items by number, and hashes them as it was told.
class HashCompare : public ItemCompare {
  PS_PERSISTENT_CLASS(HashCompare, ItemCompare, 20103)

 public:
  explicit HashCompare(Hashing hashing) : hashing_(static_cast<std::int32_t>(hashing)) {}
  int hash(const void*& key) const override;
  int hash(const pstHandle<psObj>& element) const override;

  // Elements hashed in this thread.
  static std::uint64_t hashes();

 private:
  std::int32_t hashing_ = 0;
};

// A world with a hash set or map.
class HashWorld final : public KeyedWorld {
 public:
  HashWorld(TempStore::Place place, Flavour flavourOfKeys, Hashing hashingOfItems, int slots, Kind kindOfTable,
            int directorySize = 1);

  psCollection& collection() const override { return *set; }
  bool add(const ItemKey& item) const override;
  bool bind(const ItemKey& key, const psId& value) const override;
  bool contains(const ItemKey& item) const override;
  pstRef<psObj> get(const ItemKey& item) const override;
  // True when something was removed, also where the map does not say so since the value was null.
  bool remove(const ItemKey& item) const override;
  bool goTo(psCollectionIterator& iterator, const ItemKey& item) const override;
  bool containsValue(const psId& value) const override { return map().containsValue(pstHandle<psObj>(value)); }
  std::string complaintsAbout(const pstHandle<psObj>& stored, const SetModel& expected) const override;
  void find() override;

  psHashMap& map() const { return static_cast<psHashMap&>(*set); }
  // Opens nothing.
  std::uint32_t hashOf(const ItemKey& item) const;
  // The elements, or keys, in the order in which they are stored, as they are in the model.
  std::vector<ItemKey> inOrder() const;

  const Hashing hashing;
  pstHandle<psHashSet> set;

 private:
  JavaKey javaKey(const ItemKey& item) const { return JavaKey(item, model.byNumber(), hashOf(item)); }
  // For a look-up with a given hash: a set goes by that alone, a map does not look at it. The other one is wrong.
  JavaKey javaKeyToLookUp(const ItemKey& item) const {
    return JavaKey(item, model.byNumber(), kind == Kind::set ? ~hashOf(item) : hashOf(item));
  }
  std::uint32_t hashToLookUp(const ItemKey& item) const { return kind == Kind::set ? hashOf(item) : ~hashOf(item); }
};

// What statistics prints of the set.
std::string statisticsOf(psHashSet& set);

}  // namespace ps::test
