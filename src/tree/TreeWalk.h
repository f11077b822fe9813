#pragma once

#include <cstdint>
#include <optional>

#include "core/PlaceCheck.h"
#include "core/Search.h"
#include "core/psCollectionIterator.h"
#include "store/base/psChecked.h"
#include "tree/NodeKind.h"
#include "tree/NodeLinks.h"
#include "tree/TreePosition.h"
#include "tree/TreeShape.h"

namespace ps::detail {

// A place in a tree collection, with the steps to the next: the core of the iterators of trees. Operations are named as
// in psCollectionIterator and do the same.
class TreeWalk {
 public:
  // What the walk delivers: the elements, or in a map their values.
  enum class Delivery { elements, values };

  // Stands before the first element, or nowhere when the first leaf cannot be read.
  TreeWalk(const pstHandle<psBTree>& tree, Delivery delivery);
  // Stands nowhere, and opens nothing. A checked build does not report that something else has changed the tree where
  // this walk stood: its user asks standsOn.
  explicit TreeWalk(const psId& tree)
      : tree_(tree), delivery_(Delivery::elements), index_(unknownIndex), isChecking_(false) {}
  TreeWalk(const TreeWalk& other) : TreeWalk(other.tree_.oid()) { *this = other; }
  TreeWalk& operator=(const TreeWalk& other);
  ~TreeWalk() = default;

  // The collection's root, open; null when it cannot be opened.
  pstHandle<psBTree> openRoot() const;

  pstRef<psObj> next(psLockMode mode);
  pstRef<psObj> previous(psLockMode mode);
  // The same within one call, without an open for update: whether there is such an element, which may be null in a
  // list. At an end, the walk then stands before the first or after the last.
  bool stepForward(pstRef<psObj>& element);
  bool stepBack(pstRef<psObj>& element);
  bool goToPosition(int i, pstRef<psObj>& element);
  // Goes before the first element, or after the last. False when it could not.
  bool goBeforeFirst();
  bool goBehindLast();
  bool hasNext();
  bool hasPrevious() { return standsInLeaf() && (position_ > 0 || currentIndex() > 0); }
  int currentIndex();
  pstRef<psObj> goToIndex(int i, psLockMode mode);
  int remove();
  int moveCurrentTo(const pstHandle<psObj>& near);

  // The address of the current reference, its array opened as the mode says. Null when there is none or the open is
  // refused. It is valid until the next call.
  pstRef<psObj>* currentAddress(psLockMode mode);
  pstRef<psObj> current(psLockMode mode);
  // The value of the current element of a map; null when there is none.
  pstRef<psObj> valueHere();

  // Goes to what the probe looks for. makeProbe(root) makes the probe. The search fails where elements have no order.
  template <class MakeProbe>
  bool goTo(MakeProbe makeProbe) {
    Search<TreeWalk> search(*this);
    const pstHandle<psBTree> root = openRoot();
    if (root.isNull() || !NodeKind::below(*root)->isSorted()) return false;
    auto probe = makeProbe(*root);
    return standAt(*root, probe, search);
  }
  // Goes to the first element that is not less than what the probe looks for, and gives it. False when there is none,
  // and when the search failed.
  template <class MakeProbe>
  bool seek(MakeProbe makeProbe, pstRef<psObj>& element) {
    const bool isOnIt = goTo(makeProbe);
    if (leaf_.isNull() || !isOnIt) return stepForward(element);
    element = current(pscNoLock);
    return true;
  }
  // The same for a key that is not before the walk's place: looks in the leaf and in the next one before it searches
  // from the root.
  template <class MakeProbe>
  bool seekForward(MakeProbe makeProbe, pstRef<psObj>& element) {
    if (!standsInLeaf()) return seek(makeProbe, element);
    auto probe = makeProbe(*leaf_);
    const Sought sought = seekNear(probe);
    if (sought == Sought::unknown) return seek(makeProbe, element);
    return sought == Sought::found ? stepForward(element) : lose();
  }

  // Whether the walk still stands on an element that it has delivered, also after a change of the tree.
  // Elements move within their leaf without a sign, so it is looked at.
  bool standsOn(const pstRef<psObj>& element) {
    if (!standsInLeaf() || position_ < 0) return false;
    const pstRef<psObj>* const here = delivered_.at(position_);
    return here != nullptr && *here == element;
  }

  // Goes to the next occurrence of this object, or to the last element.
  bool goOnTo(const pstRef<psObj>& element);

  bool isBehindLast() const;
  // Leaves the leaf. Only the index stays as it is.
  void standNowhere();
  // Stands nowhere after a search that failed. Returns false.
  bool lose();

 private:
  static constexpr int unknownIndex = -2;

  enum class Sought { found, unknown, failed };
  Sought seekNear(KeyProbe& probe);

  // An array of the current leaf. It stays open once it was needed, so steps within a leaf open and look up nothing.
  class Entries {
   public:
    void take(const pstRef<psUnsortedArray>& array);
    // The address of entry i; null when there is none or it cannot be read.
    const pstRef<psObj>* at(int i) {
      if (PS_UNLIKELY(first_ == nullptr) && !read()) return nullptr;
      return i <= object_->lastIndex() ? first_ + i : nullptr;
    }
    // Prefetches the object of entry i, which at has returned before.
    PS_ALWAYS_INLINE void prefetch(int i) const { prefetchObject(first_[i].oid()); }
    const pstHandle<psUnsortedArray>& array() const { return array_; }

   private:
    bool read();

    pstHandle<psUnsortedArray> array_;
    const psUnsortedArray* object_ = nullptr;
    const pstRef<psObj>* first_ = nullptr;
    std::optional<PagePin> pin_;
  };

  // A place in the tree: at an element of a leaf, before the first element (position -1), or after the last.
  struct Place {
    pstHandle<psBTree> leaf;
    int position = -1;
    int index = -1;
    bool hasElement = false;
    pstRef<psObj> delivered;
  };

  // Tells whether anything may have changed by other means than the walk.
  struct Time {
    std::uint64_t change = 0;  // moves with all that follows, with aborts, and with nodes and their marks
    std::uint64_t read = 0;    // of the version that is read
    std::uint64_t update = 0;  // of the update transaction

    static Time now();
  };

  // Whether there is a current leaf. Leaves one that is no longer a leaf or cannot be read. Reads again what the walk
  // holds of a leaf that may have changed.
  bool standsInLeaf() {
    const bool stands = PS_LIKELY(isUpToDate()) ? !leaf_.isNull() : lookAgain();
    if (isChecking_ && stands) checkHere();
    return stands;
  }
  bool isUpToDate() const { return seen_.change == currentSession->changeStamp; }
  bool lookAgain();
  // Whether the current leaf belongs to the tree.
  bool isInTree() const;

  // For checked builds: compares the current place with what the walk has noted.
  void checkHere();
  void noteHere();
  PlaceCheck::Place foundHere();

  // Makes the leaf the current one.
  void standIn(const pstHandle<psBTree>& leaf);
  void stepWithin(int step);
  // The array of a leaf from which the walk delivers. Null when there is no leaf or it cannot be read.
  pstRef<psUnsortedArray> deliveredFrom(const pstHandle<psBTree>& leaf) const;

  // The places next to the current one, and that of position i. Empty when a node cannot be opened.
  std::optional<Place> placeAfter() const;
  std::optional<Place> placeBefore() const;
  std::optional<Place> placeOf(int i) const;
  std::optional<Place> placeAfterRemoval(int count) const;

  // Opens what must be open for update there, as mode says.
  bool canStep(const Place& place, psLockMode mode) const;
  // Goes to the place and returns what is delivered there. When mode asks for an update open that is refused, stays and
  // returns null.
  pstRef<psObj> stepTo(const Place& place, psLockMode mode);
  // The same for a place that may not be known.
  pstRef<psObj> stepTo(const std::optional<Place>& place, psLockMode mode) {
    return place ? stepTo(*place, mode) : pstRef<psObj>();
  }
  bool stepOver(const std::optional<Place>& place, pstRef<psObj>& element);
  bool standAt(const psBTree& root, KeyProbe& probe, Search<TreeWalk>& search);

  // The index after a step of the given length. If it is not known, it stays so.
  int indexAfter(int step) const { return index_ < -1 ? index_ : index_ + step; }

  // The steps of moveCurrentTo. fitsHere says whether what the probe looks for belongs where the walk stands; empty
  // when that cannot be determined.
  std::optional<bool> fitsHere(KeyProbe& probe) const;
  bool replaceHere(const pstRef<psObj>& element);
  bool reinsert(const pstHandle<psBTree>& root, const pstHandle<psObj>& old, const ComparatorChoice& order,
                KeyProbe& probe, const pstRef<psObj>& element);

  pstRef<psBTree> tree_;  // the collection
  Delivery delivery_;
  pstHandle<psBTree> leaf_;  // open for reading; null when the walk stands nowhere
  int position_ = -1;
  int index_ = -1;  // in the collection; below -1 when it is not known
  Entries delivered_;
  Entries values_;              // of the elements, once they were needed
  Time seen_;                   // when the current leaf was read
  std::uint64_t opens_ = 0;     // the session's at the last step
  std::optional<PagePin> pin_;  // of what currentAddress returned
  bool isChecking_ = isChecked;
  PlaceCheck check_;
};

}  // namespace ps::detail
