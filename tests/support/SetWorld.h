#pragma once

#include "sorted/psTreeMap.h"
#include "support/Faults.h"
#include "support/KeyedWorld.h"

namespace ps::test {

// A world with a sorted set or map.
class SetWorld : public KeyedWorld {
 public:
  SetWorld(TempStore::Place place, Flavour flavourOfKeys, bool byNumber, int capacity, Kind kindOfSet = Kind::set);

  psCollection& collection() const override { return *set; }
  bool add(const ItemKey& item) const override;
  bool bind(const ItemKey& key, const psId& value) const override;
  bool contains(const ItemKey& item) const override { return contains(*set, flavour, item); }
  pstRef<psObj> get(const ItemKey& item) const override;
  bool remove(const ItemKey& item) const override;
  bool goTo(psCollectionIterator& iterator, const ItemKey& item) const override;
  bool containsValue(const psId& value) const override { return map().containsValue(pstHandle<psObj>(value)); }
  std::string complaintsAbout(const pstHandle<psObj>& stored, const SetModel& expected) const override;
  void find() override;

  psTreeMap& map() const { return static_cast<psTreeMap&>(*set); }

  pstHandle<psTreeSet> set;

 private:
  bool contains(psTreeSet& in, Flavour by, const ItemKey& item) const;
};

}  // namespace ps::test
