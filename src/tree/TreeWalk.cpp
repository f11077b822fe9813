#include "tree/TreeWalk.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "arrays/ArrayEdit.h"
#include "arrays/ArraySearch.h"
#include "core/RefusalWatch.h"
#include "store/base/NothingThrown.h"
#include "store/session/Relocation.h"
#include "tree/ElementChange.h"
#include "tree/ElementCounts.h"
#include "tree/InsertionSearch.h"

namespace ps::detail {

namespace {

// How many objects ahead a walk that reads them prefetches.
constexpr int objectsAhead = 8;

}  // namespace

TreeWalk::TreeWalk(const pstHandle<psBTree>& tree, Delivery delivery) : tree_(tree), delivery_(delivery) {
  if (tree.open(pscRead) == 1) {
    if (const pstHandle<psBTree> root = rootOf(*tree); !root.isNull()) tree_ = root;
    standIn(leftmostLeaf(*tree).node);
  }
  if (leaf_.isNull()) index_ = unknownIndex;
}

TreeWalk& TreeWalk::operator=(const TreeWalk& other) {
  tree_ = other.tree_;
  delivery_ = other.delivery_;
  leaf_ = other.leaf_;
  position_ = other.position_;
  index_ = other.index_;
  delivered_.take(other.delivered_.array());
  values_.take(other.values_.array());
  seen_ = other.seen_;
  pin_.reset();
  isChecking_ = other.isChecking_;
  check_ = other.check_;
  return *this;
}

void TreeWalk::Entries::take(const pstRef<psUnsortedArray>& array) {
  first_ = nullptr;
  object_ = nullptr;
  pin_.reset();
  array_ = array;
}

bool TreeWalk::Entries::read() {
  const ArrayView entries(array_);
  if (entries.count() == 0) return false;
  array_ = entries.array();
  object_ = array_.operator->();
  first_ = &entries[0];
  pin_.emplace(first_);
  return true;
}

TreeWalk::Time TreeWalk::Time::now() {
  const SessionHead& session = *currentSession;
  return {session.changeStamp, session.readStamp, session.updateStamp};
}

pstRef<psUnsortedArray> TreeWalk::deliveredFrom(const pstHandle<psBTree>& leaf) const {
  if (!isReadable(leaf)) return pstRef<psUnsortedArray>();
  return delivery_ == Delivery::values ? leaf->values() : NodeAccess::elements(*leaf);
}

bool TreeWalk::isInTree() const {
  if (!leaf_.isValid() || ptmIsKindOf(leaf_.typeN(), psBTree::pstTypeN) == 0) return false;
  if (!isReadable(leaf_)) return false;
  // Once a root has leaves below it, it holds leaves and no elements.
  const bool isLeaf = !NodeAccess::first(*leaf_).isNull() || ArrayView(NodeAccess::elements(*leaf_)).count() == 0;
  return isLeaf && rootOf(*leaf_) == tree_;
}

bool TreeWalk::lookAgain() {
  if (leaf_.isNull()) return false;
  const Time time = Time::now();
  const bool isLater = time.read != seen_.read || time.update != seen_.update;
  const RefusalWatch watch;
  leaf_.close();
  const bool isThere = isInTree();
  if (watch.refused()) return false;
  if (!isThere) {
    if (isChecking_ && !isLater) reportForeignChange(leaf_);
    return lose();
  }
  delivered_.take(deliveredFrom(leaf_));
  values_.take(pstRef<psUnsortedArray>());
  if (isLater) index_ = unknownIndex;
  seen_ = time;
  return true;
}

void TreeWalk::checkHere() {
  const RefusalWatch watch;
  const PlaceCheck::Place found = foundHere();
  if (!watch.metAny()) check_.compare(found);
}

PlaceCheck::Place TreeWalk::foundHere() {
  const pstRef<psObj>* const here = position_ < 0 ? nullptr : delivered_.at(position_);
  const bool isElement = here != nullptr && delivery_ == Delivery::elements;
  return {leaf_, position_, ArrayView(delivered_.array()).count(), isElement ? here->oid() : psId()};
}

// The walk may have made a change already, which must not seem to have failed.
void TreeWalk::noteHere() {
  const NothingThrown here;
  const RefusalWatch watch;
  check_.note(foundHere());
  if (watch.metAny()) check_.forget();
}

void TreeWalk::standIn(const pstHandle<psBTree>& leaf) {
  if (leaf == leaf_ && isUpToDate()) return;
  const pstRef<psUnsortedArray> array = deliveredFrom(leaf);
  leaf_ = leaf;
  delivered_.take(array);
  values_.take(pstRef<psUnsortedArray>());
  seen_ = Time::now();
}

void TreeWalk::standNowhere() {
  leaf_ = pstHandle<psBTree>();
  delivered_.take(pstRef<psUnsortedArray>());
  position_ = -1;
}

bool TreeWalk::lose() {
  standNowhere();
  index_ = unknownIndex;
  return false;
}

bool TreeWalk::isBehindLast() const {
  const ArrayView entries(delivered_.array());
  return entries.count() > 0 && position_ >= entries.count();
}

pstHandle<psBTree> TreeWalk::openRoot() const {
  const pstHandle<psBTree> tree(tree_);
  return tree.isValid() && isReadable(tree) ? rootOf(*tree) : pstHandle<psBTree>();
}

pstRef<psObj>* TreeWalk::currentAddress(psLockMode mode) {
  pin_.reset();
  if (!standsInLeaf()) return nullptr;
  const ArrayView entries(delivered_.array());
  if (position_ < 0 || position_ >= entries.count()) return nullptr;
  if (mode != pscNoLock) {
    ArrayEdit edit(entries.array());
    if (!edit.isOpen()) return nullptr;
    edit.abbreviate(position_, {});  // of what will be written there nothing is known
    check_.forget();
  }
  pin_.emplace(&entries[position_]);
  return const_cast<pstRef<psObj>*>(&entries[position_]);
}

pstRef<psObj> TreeWalk::current(psLockMode mode) {
  const pstRef<psObj>* const address = currentAddress(mode);
  const pstRef<psObj> reference = address != nullptr ? *address : pstRef<psObj>();
  pin_.reset();
  return reference;
}

pstRef<psObj> TreeWalk::valueHere() {
  if (!standsInLeaf() || position_ < 0) return pstRef<psObj>();
  if (values_.array().isNull()) values_.take(leaf_->values());
  const pstRef<psObj>* const value = values_.at(position_);
  return value != nullptr ? *value : pstRef<psObj>();
}

int TreeWalk::currentIndex() {
  if (standsInLeaf() && index_ < -1) {
    const pstHandle<psBTree> root = openRoot();
    const int before = root.isNull() ? -1 : root->treeIndex(leaf_);
    if (before >= 0) index_ = before + position_;
  }
  return index_;
}

std::optional<TreeWalk::Place> TreeWalk::placeAfter() const {
  const ArrayView entries(delivered_.array());
  if (entries.count() == 0) return std::nullopt;
  if (position_ + 1 < entries.count()) {
    return Place{leaf_, position_ + 1, indexAfter(1), true, entries[position_ + 1]};
  }
  const NodeAnswer next = nextNode(*leaf_);
  if (next.failed) return std::nullopt;
  if (next.node.isNull()) {
    const bool isAtLast = position_ == entries.count() - 1;
    return Place{leaf_, entries.count(), isAtLast ? indexAfter(1) : index_, false, pstRef<psObj>()};
  }
  const ArrayView following(deliveredFrom(next.node));
  if (following.count() == 0) return std::nullopt;
  return Place{next.node, 0, indexAfter(1), true, following[0]};
}

std::optional<TreeWalk::Place> TreeWalk::placeBefore() const {
  const ArrayView entries(delivered_.array());
  if (entries.count() == 0) return std::nullopt;
  if (position_ > 0) {
    const int position = std::min(position_, entries.count()) - 1;
    return Place{leaf_, position, indexAfter(-1), true, entries[position]};
  }
  const NodeAnswer previous = previousLeaf(*leaf_);
  if (previous.failed) return std::nullopt;
  if (previous.node.isNull()) return Place{leaf_, -1, -1, false, pstRef<psObj>()};
  const ArrayView preceding(deliveredFrom(previous.node));
  if (preceding.count() == 0) return std::nullopt;
  return Place{previous.node, preceding.count() - 1, indexAfter(-1), true, preceding.last()};
}

bool TreeWalk::canStep(const Place& place, psLockMode mode) const {
  return !place.hasElement || mode == pscNoLock || ArrayEdit(deliveredFrom(place.leaf)).isOpen();
}

pstRef<psObj> TreeWalk::stepTo(const Place& place, psLockMode mode) {
  if (!canStep(place, mode)) return pstRef<psObj>();
  standIn(place.leaf);
  position_ = place.position;
  index_ = place.index;
  if (isChecking_) noteHere();
  return place.delivered;
}

void TreeWalk::stepWithin(int step) {
  position_ += step;
  index_ = indexAfter(step);
  if (isChecking_) noteHere();
}

pstRef<psObj> TreeWalk::next(psLockMode mode) {
  if (mode != pscNoLock) return standsInLeaf() ? stepTo(placeAfter(), mode) : pstRef<psObj>();
  pstRef<psObj> element;
  stepForward(element);
  return element;
}

bool TreeWalk::stepForward(pstRef<psObj>& element) {
  if (!standsInLeaf()) return false;
  if (const pstRef<psObj>* const next = delivered_.at(position_ + 1)) {
    element = *next;
    stepWithin(1);
    const std::uint64_t opensBefore = std::exchange(opens_, currentSession->opens);
    const bool readsObjects = opens_ != opensBefore;
    if (readsObjects && delivered_.at(position_ + objectsAhead) != nullptr) {
      delivered_.prefetch(position_ + objectsAhead);
    }
    return true;
  }
  return stepOver(placeAfter(), element);
}

pstRef<psObj> TreeWalk::previous(psLockMode mode) {
  if (mode != pscNoLock) return position_ != -1 && standsInLeaf() ? stepTo(placeBefore(), mode) : pstRef<psObj>();
  pstRef<psObj> element;
  stepBack(element);
  return element;
}

bool TreeWalk::stepBack(pstRef<psObj>& element) {
  if (position_ == -1 || !standsInLeaf()) return false;
  if (position_ > 0) {
    if (const pstRef<psObj>* const previous = delivered_.at(position_ - 1)) {
      element = *previous;
      stepWithin(-1);
      return true;
    }
  }
  return stepOver(placeBefore(), element);
}

bool TreeWalk::stepOver(const std::optional<Place>& place, pstRef<psObj>& element) {
  element = stepTo(place, pscNoLock);
  return place && place->hasElement;
}

bool TreeWalk::goBeforeFirst() {
  Search<TreeWalk> search(*this);
  const std::optional<Place> place = placeOf(-1);
  if (!place) return false;
  stepTo(*place, pscNoLock);
  return search.end(true);
}

bool TreeWalk::goBehindLast() {
  Search<TreeWalk> search(*this);
  const pstHandle<psBTree> root = openRoot();
  const NodeAnswer high = root.isNull() ? NodeAnswer() : rightmostLeaf(*root);
  const ArrayView entries(high.node.isNull() ? pstRef<psUnsortedArray>() : deliveredFrom(high.node));
  if (high.node.isNull() || !entries.isOpen()) return false;
  stepTo(Place{high.node, entries.count(), unknownIndex, false, pstRef<psObj>()}, pscNoLock);
  return search.end(true);
}

// Where the key is if that is in the current leaf or the next one, at or after the walk's place.
TreeWalk::Sought TreeWalk::seekNear(KeyProbe& probe) {
  pstHandle<psBTree> leaf = leaf_;
  for (int leaves = 0; leaves < 2 && !leaf.isNull(); ++leaves) {
    const ArrayView entries(deliveredFrom(leaf));
    const SearchResult found = searchElements(entries, probe);
    if (found.failed) return Sought::failed;
    if (found.position < entries.count()) {
      const int before = leaf == leaf_ ? std::max(found.position - 1, position_) : found.position - 1;
      standIn(leaf);
      position_ = before;
      index_ = unknownIndex;
      if (isChecking_) noteHere();
      return Sought::found;
    }
    const NodeAnswer next = nextNode(*leaf);
    if (next.failed) return Sought::failed;
    leaf = next.node;
  }
  return Sought::unknown;
}

bool TreeWalk::hasNext() {
  if (!standsInLeaf()) return false;
  if (delivered_.at(position_ + 1) != nullptr) return true;
  const ArrayView entries(delivered_.array());
  if (entries.count() == 0) return false;
  return position_ + 1 < entries.count() || !nextNode(*leaf_).node.isNull();
}

pstRef<psObj> TreeWalk::goToIndex(int i, psLockMode mode) {
  Search<TreeWalk> search(*this);
  const std::optional<Place> place = placeOf(i);
  if (!place || !canStep(*place, mode)) return pstRef<psObj>();
  search.end(true);
  return stepTo(*place, pscNoLock);
}

bool TreeWalk::goToPosition(int i, pstRef<psObj>& element) {
  Search<TreeWalk> search(*this);
  const std::optional<Place> place = placeOf(i);
  if (!place) return false;
  search.end(true);
  return stepOver(place, element);
}

std::optional<TreeWalk::Place> TreeWalk::placeOf(int i) const {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return std::nullopt;
  if (i < 0) {
    const NodeAnswer low = leftmostLeaf(*root);
    if (low.failed) return std::nullopt;
    return Place{low.node, -1, -1, false, pstRef<psObj>()};
  }
  const LeafAt at = leafAt(*root, i);
  const pstHandle<psUnsortedArray> array(at.leaf.isNull() ? pstRef<psUnsortedArray>() : NodeAccess::elements(*at.leaf));
  if (!isReadable(array)) return std::nullopt;
  const int inLeaf = array->usedSize();
  Place place{at.leaf, std::min(i - at.before, inLeaf), std::min(i, at.before + inLeaf), i < at.before + inLeaf,
              pstRef<psObj>()};
  if (place.hasElement) {
    const ArrayView entries(deliveredFrom(place.leaf));
    if (place.position >= entries.count()) return std::nullopt;
    place.delivered = entries[place.position];
  }
  return place;
}

bool TreeWalk::standAt(const psBTree& root, KeyProbe& probe, Search<TreeWalk>& search) {
  const TreePosition at = locateMatch(root, probe);
  if (at.failed) return false;
  // Only an empty root is an empty leaf: there is nowhere else to go.
  const bool isEmpty = at.index == 0 && at.isLast;
  if (isEmpty && leaf_ == at.leaf) return search.end(false);
  if (at.matched || at.index > 0) {
    stepTo(Place{at.leaf, at.matched ? at.index : at.index - 1, unknownIndex, at.matched, at.element}, pscNoLock);
    return search.end(at.matched);
  }
  // Before the first element of its leaf, the walk stands at the last of the leaf before, if there is one.
  stepTo(Place{at.leaf, 0, unknownIndex, true, pstRef<psObj>()}, pscNoLock);
  const std::optional<Place> before = placeBefore();
  if (!before) return false;
  stepTo(*before, pscNoLock);
  return search.end(false);
}

bool TreeWalk::goOnTo(const pstRef<psObj>& element) {
  Search<TreeWalk> search(*this);
  const RefusalWatch watch;
  while (hasNext()) {
    const pstRef<psObj> found = next(pscNoLock);
    if (watch.metAny()) return false;
    if (found == element) return search.end(true);
  }
  // No element was opened: what does not exist is a part of the list.
  return watch.metAny() ? false : search.end(false);
}

// Where the walk stands after the current element has gone: the removal of the leaf's last element takes the leaf with
// it.
std::optional<TreeWalk::Place> TreeWalk::placeAfterRemoval(int count) const {
  std::optional<Place> back = placeBefore();
  if (!back || back->hasElement || count > 1) return back;
  const NodeAnswer next = nextNode(*leaf_);
  const pstHandle<psBTree> stand = next.node.isNull() ? openRoot() : next.node;
  if (next.failed || stand.isNull()) return std::nullopt;
  return Place{stand, -1, -1, false, pstRef<psObj>()};
}

int TreeWalk::remove() {
  if (!standsInLeaf()) return 0;
  const int count = ArrayView(delivered_.array()).count();
  if (position_ < 0 || position_ >= count) return 0;
  const std::optional<Place> stand = placeAfterRemoval(count);
  if (!stand || !removeElement(leaf_, position_)) return 0;
  stepTo(*stand, pscNoLock);
  return 1;
}

int TreeWalk::moveCurrentTo(const pstHandle<psObj>& near) {
  const pstHandle<psBTree> root = openRoot();
  const pstHandle<psObj> element(current(pscNoLock));
  if (root.isNull() || element.isNull()) return 0;
  const ComparatorChoice order = comparatorOf(*root);
  const auto follow = [&](const psId& id) {
    const pstHandle<psObj> moved(id);
    HandleProbe probe(moved, order);
    if (probe.failed()) return false;
    // A comparator most likely reads the object and not its identifier.
    const std::optional<bool> fits = probe.identifier() != nullptr ? false : fitsHere(probe);
    if (!fits) return false;
    return *fits ? replaceHere(moved) : reinsert(root, element, order, probe, moved);
  };
  return moveObject(element.oid(), near.oid(), std::cref(follow)).isNull() ? 0 : 1;
}

std::optional<bool> TreeWalk::fitsHere(KeyProbe& probe) const {
  const std::optional<Place> before = placeBefore();
  const std::optional<Place> after = placeAfter();
  if (!before || !after) return std::nullopt;
  const bool inOrder = (!before->hasElement || probe.compare(before->delivered) < 0) &&
                       (!after->hasElement || probe.compare(after->delivered) > 0);
  return probe.failed() ? std::nullopt : std::optional<bool>(inOrder);
}

bool TreeWalk::replaceHere(const pstRef<psObj>& element) {
  NodeEdit entries(*leaf_);
  if (!entries.isOpen() || (position_ == 0 && !entries.openMark())) return false;
  entries.put(position_, element);
  entries.renewMark();
  check_.forget();
  return true;
}

// Splits for the new element come first, since they may move the old one.
bool TreeWalk::reinsert(const pstHandle<psBTree>& root, const pstHandle<psObj>& old, const ComparatorChoice& order,
                        KeyProbe& probe, const pstRef<psObj>& element) {
  const std::optional<TreePosition> position = locateRoom(*root, probe);
  HandleProbe oldProbe(old, order);
  Search<TreeWalk> search(*this);
  check_.forget();
  if (!standAt(*root, oldProbe, search) || !position) return false;
  // A leaf that takes the element back stays, even if it was the only one.
  std::optional<Place> stand =
      position->leaf == leaf_ ? placeBefore() : placeAfterRemoval(ArrayView(delivered_.array()).count());
  if (!stand || !replaceElement(leaf_, position_, *position, element)) return false;
  if (stand->leaf == position->leaf && position->index <= stand->position) ++stand->position;
  stand->index = stand->position < 0 ? -1 : unknownIndex;
  stepTo(*stand, pscNoLock);
  return true;
}

}  // namespace ps::detail
