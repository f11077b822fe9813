#pragma once

#include <cstdint>
#include <optional>

#include "core/psCollectionIterator.h"
#include "tree/psBTree.h"

namespace ps::detail {
class KeyProbe;
struct ComparatorChoice;
}  // namespace ps::detail

// Walks a tree collection leaf by leaf. next and previous cost one object opened within a leaf, and a few more from one
// leaf to another; currentIndex is free after a walk from either end and costs a walk over the leaves after goTo.
class PS_API psTreeIterator : public psCollectionIterator {
 public:
  explicit psTreeIterator(pstHandle<psBTree>& tree);
  ~psTreeIterator() override;

  pstRef<psObj>* currentP(psLockMode mode) override;
  pstHandle<psCollection> collection() override;
  pstRef<psObj> current(psLockMode mode) override;
  int currentIndex() override;
  bool goTo(const void* key) override;
  bool goTo(const pstHandle<psObj>& element) override;
  pstRef<psObj> goToIndex(int i, psLockMode mode) override;
  bool hasNext() override;
  bool hasPrevious() override;
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  pstRef<psObj> next(psLockMode mode) override;
  pstRef<psObj> previous(psLockMode mode) override;
  int remove() override;
  bool goTo(unsigned int hash, int (*compare)(unsigned int, unsigned int)) override;

  // False on a list, which has no order that Java could know.
  bool goTo(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  using psCollectionIterator::goTo;

 protected:
  // What is delivered: the elements, or in a map the values beside them.
  enum class Delivery { elements, values };
  psTreeIterator(pstHandle<psBTree>& tree, Delivery delivery);

  // An array of the current leaf, kept open, and the first of its entries, once it was needed, so that steps within a
  // leaf open and look up nothing.
  class Entries {
   public:
    // Nothing happens when it is this array already and cannot have changed since but by the iterator.
    void use(const pstRef<psUnsortedArray>& array);
    // Has the entries looked up again.
    void forget();
    // The address of entry i; null when there is none or it cannot be read.
    const pstRef<psObj>* at(int i);
    // Asks for the object of entry i, which at has given before.
    PS_ALWAYS_INLINE void prefetch(int i) const { ps::detail::prefetchObject(first_[i].oid()); }
    const pstHandle<psUnsortedArray>& array() const { return array_; }

   private:
    pstHandle<psUnsortedArray> array_;
    const pstRef<psObj>* first_ = nullptr;
    std::uint64_t notes_ = 0;  // the session's note stamp when the array was taken
    std::optional<ps::detail::PagePin> pin_;
  };

  // Makes the leaf the current one.
  void standIn(const pstHandle<psBTree>& leaf);
  // Leaves the leaf. Only index_ stays as it is.
  void standNowhere();
  // The same after a failure: the position in the collection is not known either. False.
  bool fail();
  // Whether there is a current leaf. One that is no leaf any more, or cannot be read, is left; what the iterator holds
  // of one that may have changed is read again.
  bool standsInLeaf();
  bool isBehindLast() const;

  // Stores the reference in place of the current one. 1; 0, with nothing changed, when there is no current one or its
  // array cannot be opened for update.
  int replaceCurrent(const pstRef<psObj>& reference);
  // Moves the object of the current reference, which keeps its position and follows the object. 1; 0, with nothing
  // changed, when that fails.
  int moveInPlace(const pstHandle<psObj>& near);

  pstHandle<psBTree> leaf_;  // open for reading; null when the iterator stands nowhere
  int position_ = -1;

 private:
  // A place in the tree: at an element of a leaf, before the first element (position -1), or behind the last.
  struct Place {
    pstHandle<psBTree> leaf;
    int position = -1;
    int index = -1;
    bool hasElement = false;
    pstRef<psObj> delivered;
  };

  // What tells whether the leaf may have changed without the iterator's doing.
  struct Time {
    std::uint64_t notes = 0;   // moves with aborts, with commits of others, and with marks of leaves
    std::uint64_t shape = 0;   // moves with nodes that come and go
    std::uint64_t read = 0;    // of the version that is read
    std::uint64_t update = 0;  // of the update transaction
  };

  static Time now();
  bool isUpToDate() const;
  bool lookAgain();
  // Whether the current leaf is one of the tree.
  bool isInTree() const;

  // Whether objects have been opened since the last step, those of the walk presumably.
  bool objectsAreRead();

  // The places beside the current one; nothing when a node cannot be opened.
  std::optional<Place> placeAfter() const;
  std::optional<Place> placeBefore() const;

  // The place of position i; nothing when a node cannot be opened.
  std::optional<Place> placeOf(int i) const;

  // Opens what has to be open for update there, as mode says.
  bool canStep(const Place& place, psLockMode mode) const;
  // Goes to the place and returns what is delivered there; stays, and returns null, when mode asks for an update open
  // that is refused.
  pstRef<psObj> stepTo(const Place& place, psLockMode mode);

  // The array of a leaf that the iterator delivers from; null when there is no leaf or it cannot be read.
  pstRef<psUnsortedArray> deliveredFrom(const pstHandle<psBTree>& leaf) const;
  // The address of the current reference, its array opened as mode asks; null when there is none or the open is
  // refused. It stays good until the next call.
  pstRef<psObj>* currentAddress(psLockMode mode);

  // The collection's root, open; null when it cannot be opened.
  pstHandle<psBTree> openRoot() const;

  // index_ after a step of the given length; unknown stays unknown.
  int indexAfter(int step) const { return index_ < -1 ? index_ : index_ + step; }

  // Goes to what the probe looks for; nowhere when the search fails.
  bool standAt(const psBTree& root, ps::detail::KeyProbe& probe);
  std::optional<Place> placeAfterRemoval(int count) const;
  // The steps of moveCurrentTo. fitsHere tells whether what the probe looks for belongs where the iterator stands;
  // nothing when it cannot be told.
  std::optional<bool> fitsHere(ps::detail::KeyProbe& probe) const;
  bool replaceHere(const pstRef<psObj>& element);
  bool placeAnew(const pstHandle<psBTree>& root, const pstHandle<psObj>& old, const ps::detail::ComparatorChoice& order,
                 ps::detail::KeyProbe& probe, const pstRef<psObj>& element);

  pstRef<psBTree> tree_;  // the collection
  Delivery delivery_ = Delivery::elements;
  Entries delivered_;
  Time seen_;                               // when the current leaf was looked at
  std::uint64_t opens_ = 0;                 // the session's at the last step
  std::optional<ps::detail::PagePin> pin_;  // of what currentAddress gave out
  pstRef<psObj> nothing_;                   // what currentP gives out where there is none
};
