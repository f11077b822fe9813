#pragma once

#include <optional>

#include "core/PlaceCheck.h"
#include "core/Search.h"
#include "core/psCollectionIterator.h"
#include "hash/TablePlaces.h"

namespace ps::detail {

// A place in a hash set or map from which one goes on to the next: what the iterators of hash tables are made of.
// Operations of the same name do what psCollectionIterator says.
class HashWalk {
 public:
  // What is delivered: what is stored, elements or entries, or of entries the keys or the values.
  enum class Delivery { stored, keys, values };

  HashWalk(const pstHandle<psHashSet>& set, Delivery delivery) : set_(set), delivery_(delivery) {}
  HashWalk(const HashWalk&) = delete;
  HashWalk& operator=(const HashWalk&) = delete;

  const pstHandle<psHashSet>& set() const { return set_; }

  // The address of the current reference, what holds it opened as the mode asks; null when there is none or the open is
  // refused. It stays good until the next call.
  pstRef<psObj>* currentAddress(psLockMode mode) { return addressAt(placeHere(), mode); }
  pstRef<psObj> current(psLockMode mode);
  // The value of the entry at which a map's walk stands.
  pstRef<psObj> valueHere();
  int currentIndex();

  bool hasNext();
  pstRef<psObj> next(psLockMode mode);
  pstRef<psObj> previous(psLockMode mode);
  pstRef<psObj> goToIndex(int i, psLockMode mode);
  // Goes to what the probe looks for that makeProbe(set) gives: a map's keys, or, where values are delivered, values.
  template <class MakeProbe>
  bool goTo(MakeProbe makeProbe) {
    Search<HashWalk> search(*this);
    check_.forget();
    const psHashSet* const set = openSet();
    if (set == nullptr) return false;
    auto probe = makeProbe(*set);
    return !probe.failed() && scanFor(*set, probe, search);
  }
  // By handle: the comparator understands keys, but values need not be like them, and are looked for by identity.
  bool goToObject(const pstHandle<psObj>& object);
  int remove();
  int moveCurrentTo(const pstHandle<psObj>& near);

  // Stands nowhere after a search that failed. False.
  bool lose();

 private:
  // The set, open, with the current place by its present directory; null when it cannot be opened.
  psHashSet* openSet();
  // Gives the current place the directory index that it has since the directory was doubled, or was put back.
  void followDirectory(const psHashSet& set);
  // Goes from a gap to the place that it stands for. False when that cannot be found out.
  bool settle(const psHashSet& set);
  // The current place with what is stored there now: nothing, when it has gone or cannot be read.
  TablePlace placeHere();
  // The place to which next goes; nothing when it goes nowhere.
  std::optional<TablePlace> placeAhead();
  void standAt(const TablePlace& place, int index);

  // For checked builds: compares what is at the current place with what the walk has noted.
  void checkHere(const psHashSet& set);
  void noteHere();

  // The address of the reference that is delivered at a place; see currentAddress.
  pstRef<psObj>* addressAt(const TablePlace& place, psLockMode mode);
  // A copy of it, null where an entry does not exist any more; nothing when the open is refused.
  std::optional<pstRef<psObj>> deliveredAt(const TablePlace& place, psLockMode mode);

  // Goes to the place, and returns what is delivered there; stays, and returns null, when that cannot be opened.
  pstRef<psObj> stepTo(const TablePlace& place, int index, psLockMode mode);
  int indexAfter(int step) const { return index_ < -1 ? index_ : index_ + step; }

  // Goes to the first element of which matches(element) is true, else behind the last, which ends the search; not when
  // something is refused or matches has no answer. True when there is an element.
  template <class Matches>
  bool goToMatch(const psHashSet& set, Matches matches, Search<HashWalk>& search);
  bool scanFor(const psHashSet& set, KeyProbe& probe, Search<HashWalk>& search);

  // The steps of moveCurrentTo, while both the old and the moved object exist.
  bool follow(psHashSet& set, const TablePlace& here, const pstHandle<psObj>& old, const pstHandle<psObj>& moved);
  bool reinsert(psHashSet& set, const pstHandle<psObj>& old, KeyProbe& probe, const pstRef<psObj>& moved);

  pstHandle<psHashSet> set_;
  Delivery delivery_;
  TablePlaces places_;
  TablePlace place_;
  int index_ = -1;                   // of the current place; below -1 when it is not known
  int depth_ = 0;                    // of the directory that the place is of
  std::optional<TablePlace> ahead_;  // what hasNext found, for the next that follows it
  pstHandle<psObj> holder_;          // of what addressAt gave out
  std::optional<PagePin> pin_;       // the same
  PlaceCheck check_;
};

}  // namespace ps::detail
