#pragma once

#include <optional>

#include "core/PlaceCheck.h"
#include "core/Search.h"
#include "core/psCollectionIterator.h"
#include "hash/TablePlaces.h"
#include "hash/psHashMapEntry.h"

namespace ps::detail {

// A place in a hash set or map, with the steps to the next: the core of the iterators of hash tables. Operations are
// named as in psCollectionIterator and do the same.
class HashWalk {
 public:
  // What the walk delivers: what is stored (elements or entries), or the keys or values of entries.
  enum class Delivery { stored, keys, values };

  HashWalk(const pstHandle<psHashSet>& set, Delivery delivery) : set_(set), delivery_(delivery) {}
  HashWalk(const HashWalk& other) : HashWalk(other.set_, other.delivery_) { *this = other; }
  HashWalk& operator=(const HashWalk& other);
  ~HashWalk() = default;

  const pstHandle<psHashSet>& set() const { return set_; }

  // The address of the current reference, with what holds it opened as the mode says. Null when there is none or the
  // open is refused. It is valid until the next call.
  pstRef<psObj>* currentAddress(psLockMode mode) { return addressAt(placeHere(), mode); }
  pstRef<psObj> current(psLockMode mode);
  // The value of the entry at which a map's walk stands.
  pstRef<psObj> valueHere();
  int currentIndex();

  bool hasNext();
  pstRef<psObj> next(psLockMode mode);
  pstRef<psObj> previous(psLockMode mode);
  pstRef<psObj> goToIndex(int i, psLockMode mode);
  // Goes to what the probe looks for: a map's keys or, where values are delivered, values. makeProbe(set) makes the
  // probe.
  template <class MakeProbe>
  bool goTo(MakeProbe makeProbe) {
    return searchBy(makeProbe, [this](const psHashSet& set, auto& probe, Search<HashWalk>& search) {
      return !probe.failed() && scanFor(set, probe, search);
    });
  }
  // The same by hash, where keys are delivered or stored.
  template <class MakeProbe>
  bool goToKey(MakeProbe makeProbe) {
    return searchBy(makeProbe, [this](const psHashSet& set, auto& probe, Search<HashWalk>& search) {
      const std::optional<HashPosition> position = locate(set, probe);
      if (!position) return false;
      search.end(true);
      return standOn(*position);
    });
  }
  // Goes before the first element, or after the last. False when it could not.
  bool goBeforeFirst();
  bool goBehindLast();
  // In a checked build, this walk no longer reports that something else has changed the table where it stood: its user
  // asks standsOn.
  void tolerateChanges() { isChecking_ = false; }
  // Whether the walk still stands on an element that it has delivered, also after a change of the table.
  bool standsOn(const pstRef<psObj>& element);
  // By handle. The comparator understands keys, but values need not be like keys, so they are found by identity.
  bool goToObject(const pstHandle<psObj>& object);
  int remove();
  int moveCurrentTo(const pstHandle<psObj>& near);

  // Stands nowhere after a search that failed. Returns false.
  bool lose();

 private:
  // The set, open, with the current place adjusted to its present directory. Null when it cannot be opened.
  psHashSet* openSet();
  // Adjusts the directory index of the current place after the directory was doubled or restored.
  void followDirectory(const psHashSet& set);
  // Goes from a gap to the place that it stands for. False when that cannot be determined.
  bool settle(const psHashSet& set);
  // The current place with what is stored there now, which is null when it has been removed or cannot be read.
  TablePlace placeHere();
  // The place to which next goes; empty when there is none.
  std::optional<TablePlace> placeAhead();
  void standAt(const TablePlace& place, int index);
  // Stands on what was found; after the last element when nothing was.
  bool standOn(const HashPosition& position);

  // For checked builds: compares the current place with what the walk has noted.
  void checkHere(const psHashSet& set);
  void noteHere();

  // The address of the reference that is delivered at a place; see currentAddress.
  pstRef<psObj>* addressAt(const TablePlace& place, psLockMode mode);
  // A copy of that reference, null where an entry no longer exists. Empty when the open is refused.
  std::optional<pstRef<psObj>> deliveredAt(const TablePlace& place, psLockMode mode);

  // Goes to the place and returns what is delivered there. When that cannot be opened, stays and returns null.
  pstRef<psObj> stepTo(const TablePlace& place, int index, psLockMode mode);
  int indexAfter(int step) const { return index_ < -1 ? index_ : index_ + step; }

  // Goes to the first element for which matches(element) is true, and returns true. Otherwise goes after the last
  // element, which ends the search. The search does not end when something is refused or matches has no answer.
  template <class Matches>
  bool goToMatch(const psHashSet& set, Matches matches, Search<HashWalk>& search);
  bool scanFor(const psHashSet& set, KeyProbe& probe, Search<HashWalk>& search);
  template <class MakeProbe, class Find>
  bool searchBy(MakeProbe makeProbe, Find find) {
    Search<HashWalk> search(*this);
    check_.forget();
    const psHashSet* const set = openSet();
    if (set == nullptr) return false;
    auto probe = makeProbe(*set);
    return find(*set, probe, search);
  }

  // The steps of moveCurrentTo, while both the old and the moved object exist.
  bool follow(psHashSet& set, const TablePlace& here, const pstHandle<psObj>& old, const pstHandle<psObj>& moved);
  bool reinsert(psHashSet& set, const pstHandle<psObj>& old, KeyProbe& probe, const pstRef<psObj>& moved);

  pstHandle<psHashSet> set_;
  Delivery delivery_;
  TablePlaces places_;
  TablePlace place_;
  int index_ = -1;                    // of the current place; below -1 when it is not known
  int depth_ = 0;                     // of the directory that the place is of
  std::uint64_t seen_ = 0;            // the session's count of changes when the walk last stepped
  std::optional<TablePlace> ahead_;   // what hasNext found, for the next that follows it
  pstHandle<psHashMapEntry> holder_;  // of what addressAt returned
  std::optional<PagePin> pin_;        // the same
  bool isChecking_ = isChecked;
  PlaceCheck check_;
};

}  // namespace ps::detail
