#pragma once

#include <memory>
#include <optional>

#include "core/psCollectionIterator.h"
#include "hash/psHashSet.h"

namespace ps::detail {
class KeptBucket;
class KeyProbe;
}  // namespace ps::detail

// Walks a hash set in the order in which it is stored, which says nothing about the elements. A step costs nothing to
// open within a bucket, unless there are chains; goTo looks at one element after the other, and leaves the iterator
// behind the last when it finds none. goToIndex, and currentIndex after moveCurrentTo, read the buckets before.
//
// Where a step is refused the iterator stays, and the step can be taken again; hasNext is false where the next one
// could not even be read, so that loops end. After a goTo or goToIndex that failed for another reason than that there
// is no such element it stands nowhere: next and previous give null, hasNext and hasPrevious false, until it is
// positioned anew.
//
// It can be kept while a transaction ends and another begins: it reads anew what has changed, and goes on from its
// place, whatever stands there now. currentIndex is then what it was. Without a transaction there is nothing to
// deliver.
//
// An element that moveCurrentTo places anew may find its bucket full. The split changes the order, so that a walk on
// which elements move can pass others over, or meet them twice.
class PS_API psHashIterator : public psCollectionIterator {
 public:
  explicit psHashIterator(const pstHandle<psHashSet>& set);
  ~psHashIterator() override;

  pstRef<psObj>* currentP(psLockMode mode) override;
  pstHandle<psCollection> collection() override;
  pstRef<psObj> current(psLockMode mode) override;
  int currentIndex() override;
  bool goTo(const void* key) override;
  bool goTo(const pstHandle<psObj>& element) override;
  pstRef<psObj> goToIndex(int i, psLockMode mode) override;
  bool hasNext() override;
  int moveCurrentTo(const pstHandle<psObj>& near) override;
  pstRef<psObj> next(psLockMode mode) override;
  pstRef<psObj> previous(psLockMode mode) override;
  int remove() override;
  // The hash is not used.
  bool goTo(unsigned int hash, int (*compare)(unsigned int, unsigned int)) override;

  bool goTo(unsigned int hash, _jobject*& key, _jobject*& callee, JNIEnv_* env);
  using psCollectionIterator::goTo;

 protected:
  // What is delivered: what is stored, elements or entries, or of entries the keys or the values.
  enum class Delivery { stored, keys, values };
  psHashIterator(const pstHandle<psHashSet>& set, Delivery delivery);

  // The value of the entry at which a map's iterator stands.
  pstRef<psObj> valueHere();

  // Stores the reference in place of the current one. 1; 0, with nothing changed, when there is no current one or what
  // holds it cannot be opened for update.
  int replaceCurrent(const pstRef<psObj>& reference);
  // Moves the object of the current reference, which follows it. 1; 0, with nothing changed, when that fails.
  int moveInPlace(const pstHandle<psObj>& near);

 private:
  // A place in the walk: where something is stored, before the first, or behind the last. A gap stands for the place
  // before its slot, which is looked for when it is needed: so that a walk that removes all that it meets does not go
  // back over what it has emptied.
  struct Place {
    // The first that names the bucket; the directory's size at the end.
    int directoryIndex = beforeFirst;
    int slot = -1;
    int inChain = -1;  // -1 when it is alone in its slot
    pstRef<psObj> stored;
    bool isGap = false;

    static constexpr int beforeFirst = -1;
    static constexpr int nowhere = -2;  // after a search that failed

    bool isBeforeFirst() const { return directoryIndex == beforeFirst; }
    bool isNowhere() const { return directoryIndex == nowhere; }
  };

  // The set, open, with the current place by its present directory; null when it cannot be opened.
  psHashSet* openSet();
  // Gives the current place the directory index that it has since the directory was doubled, or was put back.
  void followDirectory(const psHashSet& set);
  // The bucket that a directory index names, and the run of indexes that do.
  struct Bucket {
    ps::detail::KeptBucket* kept = nullptr;  // null when it cannot be read, or there is none
    int first = 0;
    int end = 0;
  };
  // Good until the next call.
  Bucket bucketAt(const psHashSet& set, int directoryIndex);

  // The places beside another; nothing when a bucket or chain cannot be read.
  std::optional<Place> placeAfter(const psHashSet& set, const Place& place);
  std::optional<Place> placeBefore(const psHashSet& set, const Place& place);
  // The place of position i, or the end; nothing when that cannot be found out.
  std::optional<Place> placeOfIndex(const psHashSet& set, int i, int& size);
  // Goes from a gap to the place that it stands for. False when that cannot be found out.
  bool settle(const psHashSet& set);
  // The current place with what is stored there now: nothing, when it has gone or cannot be read.
  Place placeHere();
  // What is stored at a place now; null when it has gone or cannot be read.
  pstRef<psObj> storedAt(const psHashSet& set, const Place& place);
  // The place to which next goes; nothing when it goes nowhere.
  std::optional<Place> placeAhead();
  void standAt(const Place& place, int index);
  // For a search that failed, whose result it gives: false.
  bool standNowhere();
  // The place after what stands at an index of a slot was taken out: the one before, if it is in the slot, else a gap.
  static Place placeAfterRemoval(int directoryIndex, int slot, int index, bool endedChain);
  // Number of elements before the current place; -1 when that cannot be found out.
  int countBefore(const psHashSet& set);

  // The address of the reference that is delivered at a place, what holds it opened as the mode asks; null when there
  // is none or the open is refused. It stays good until the next call.
  pstRef<psObj>* addressAt(const Place& place, psLockMode mode);
  // A copy of it, null where an entry does not exist any more; nothing when the open is refused.
  std::optional<pstRef<psObj>> deliveredAt(const Place& place, psLockMode mode);
  pstRef<psObj>* addressOfStored(const Place& place, psLockMode mode);

  // Goes to the place, and returns what is delivered there; stays, and returns null, when that cannot be opened.
  pstRef<psObj> stepTo(const Place& place, int index, psLockMode mode);
  int indexAfter(int step) const { return index_ < -1 ? index_ : index_ + step; }

  // The place of the first element of which matches(element) is true, else behind the last. Nothing when something is
  // refused or matches has no answer.
  template <class Matches>
  std::optional<Place> scan(Matches matches, int& index);
  // Goes to that place, or nowhere. True when there is an element.
  template <class Matches>
  bool goToMatch(Matches matches);
  bool scanFor(ps::detail::KeyProbe& probe);

  // The steps of moveCurrentTo, while the object is in both places.
  bool follow(psHashSet& set, const Place& here, const pstHandle<psObj>& old, const pstHandle<psObj>& moved);
  bool placeAnew(psHashSet& set, const pstHandle<psObj>& old, ps::detail::KeyProbe& probe, const pstRef<psObj>& moved);

  pstHandle<psHashSet> set_;
  Delivery delivery_ = Delivery::stored;
  Place place_;
  int depth_ = 0;                                   // of the directory that its index is for
  std::optional<Place> ahead_;                      // what hasNext found, for the next that follows it
  std::unique_ptr<ps::detail::KeptBucket> bucket_;  // the one used last
  pstHandle<psObj> holder_;                         // of what addressAt gave out
  std::optional<ps::detail::PagePin> pin_;          // the same
  pstRef<psObj> nothing_;                           // what currentP gives out where there is none
};
