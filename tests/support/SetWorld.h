#pragma once

#include "support/Faults.h"
#include "support/Keyed.h"

namespace ps::test {

// Everything in which the set or map differs from the model: structure, order, values, and each element's reachability
// in the flavour. "" when it does not.
std::string complaintsAbout(const pstHandle<psTreeSet>& set, const SetModel& model, const Keyed& keyed);

// A world with a sorted set or map.
class SetWorld : public KeyedWorld {
 public:
  SetWorld(TempStore::Place place, Flavour flavourOfKeys, bool byNumber, int capacity, Kind kindOfSet = Kind::set);

  psCollection& collection() const override { return *set; }
  bool add(const ItemKey& item) const override { return keyed.add(*set, item); }
  bool bind(const ItemKey& key, const psId& value) const override { return keyed.put(map(), key, value); }
  bool contains(const ItemKey& item) const override { return keyed.contains(*set, item); }
  pstRef<psObj> get(const ItemKey& item) const override { return keyed.get(*set, item); }
  bool remove(const ItemKey& item) const override { return keyed.remove(*set, item); }
  bool goTo(psCollectionIterator& iterator, const ItemKey& item) const override { return keyed.goTo(iterator, item); }
  bool containsValue(const psId& value) const override { return map().containsValue(pstHandle<psObj>(value)); }
  std::string complaintsAbout(const pstHandle<psObj>& stored, const SetModel& expected) const override {
    // Not with Java keys: this is asked in forked processes too, which have no JVM.
    const Keyed inAnyProcess(flavour == Flavour::java ? Flavour::handle : flavour, model.byNumber());
    return ps::test::complaintsAbout(pstHandle<psTreeSet>(stored), expected, inAnyProcess);
  }
  void find() override;

  psTreeMap& map() const { return static_cast<psTreeMap&>(*set); }

  Keyed keyed;
  pstHandle<psTreeSet> set;
};

}  // namespace ps::test
