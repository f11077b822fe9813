#include "tree/psTreeIterator.h"

#include <algorithm>

#include "arrays/ArrayEdit.h"
#include "tree/NodeLinks.h"
#include "tree/TreePosition.h"

using ps::detail::ArrayEdit;
using ps::detail::ArrayView;
using ps::detail::CallbackProbe;
using ps::detail::ComparatorChoice;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::NodeAccess;
using ps::detail::NodeAnswer;
using ps::detail::RawProbe;
using ps::detail::TreePosition;

namespace {

constexpr int unknownIndex = -2;

// The elements of the leaf; none when there is no leaf or it cannot be read.
ArrayView elementsOf(const pstHandle<psBTree>& leaf) {
  return ArrayView(ps::detail::isReadable(leaf) ? NodeAccess::elements(*leaf) : pstRef<psUnsortedArray>());
}

// The value that a map keeps beside an element; null in a set. False when it cannot be read.
bool readValue(const psBTree& leaf, int position, pstRef<psObj>& value) {
  const pstRef<psUnsortedArray> array = leaf.values();
  if (array.isNull()) return true;
  const ArrayView values(array);
  if (position >= values.count()) return false;
  value = values[position];
  return true;
}

}  // namespace

psTreeIterator::psTreeIterator(pstHandle<psBTree>& tree) {
  if (tree.open(pscRead) == 1) standIn(ps::detail::leftmostLeaf(*tree).node);
}

psTreeIterator::~psTreeIterator() = default;

void psTreeIterator::standIn(const pstHandle<psBTree>& leaf) {
  if (leaf == leaf_) return;
  leaf_ = leaf;
  elements_ = ps::detail::isReadable(leaf) ? NodeAccess::elements(*leaf) : pstRef<psUnsortedArray>();
}

pstHandle<psBTree> psTreeIterator::openRoot() const {
  return leaf_.isValid() && ps::detail::isReadable(leaf_) ? ps::detail::rootOf(*leaf_) : pstHandle<psBTree>();
}

pstHandle<psCollection> psTreeIterator::collection() { return openRoot(); }

pstRef<psObj>* psTreeIterator::entryAddress(const pstRef<psUnsortedArray>& array, int i, psLockMode mode) {
  pin_.reset();
  const ArrayView entries(array);
  if (i < 0 || i >= entries.count()) return nullptr;
  if (mode != pscNoLock && !ArrayEdit(entries.array()).isOpen()) return nullptr;
  pin_.emplace(&entries[i]);
  return const_cast<pstRef<psObj>*>(&entries[i]);
}

pstRef<psObj>* psTreeIterator::currentP(psLockMode mode) {
  nothing_ = pstRef<psObj>();
  if (!ps::detail::isReadable(leaf_)) return &nothing_;
  pstRef<psObj>* const entry = entryAddress(NodeAccess::elements(*leaf_), position_, mode);
  return entry != nullptr ? entry : &nothing_;
}

pstRef<psObj> psTreeIterator::current(psLockMode mode) {
  const pstRef<psObj> element = *psTreeIterator::currentP(mode);
  pin_.reset();
  return element;
}

int psTreeIterator::currentIndex() {
  if (index_ < -1) {
    const pstHandle<psBTree> root = openRoot();
    const int before = root.isNull() ? -1 : root->treeIndex(leaf_);
    if (before >= 0) index_ = before + position_;
  }
  return index_;
}

std::optional<psTreeIterator::Place> psTreeIterator::placeAfter() const {
  const ArrayView elements(elements_);
  if (elements.count() == 0) return std::nullopt;
  if (position_ + 1 < elements.count()) {
    return Place{leaf_, position_ + 1, indexAfter(1), true, elements[position_ + 1]};
  }
  const NodeAnswer next = ps::detail::nextNode(*leaf_);
  if (next.failed) return std::nullopt;
  if (next.node.isNull()) {
    const bool isAtLast = position_ == elements.count() - 1;
    return Place{leaf_, elements.count(), isAtLast ? indexAfter(1) : index_, false, pstRef<psObj>()};
  }
  const ArrayView following = elementsOf(next.node);
  if (following.count() == 0) return std::nullopt;
  return Place{next.node, 0, indexAfter(1), true, following[0]};
}

std::optional<psTreeIterator::Place> psTreeIterator::placeBefore() const {
  const ArrayView elements(elements_);
  if (elements.count() == 0) return std::nullopt;
  if (position_ > 0) {
    const int position = std::min(position_, elements.count()) - 1;
    return Place{leaf_, position, indexAfter(-1), true, elements[position]};
  }
  const NodeAnswer previous = ps::detail::previousLeaf(*leaf_);
  if (previous.failed) return std::nullopt;
  if (previous.node.isNull()) return Place{leaf_, -1, -1, false, pstRef<psObj>()};
  const ArrayView preceding = elementsOf(previous.node);
  if (preceding.count() == 0) return std::nullopt;
  return Place{previous.node, preceding.count() - 1, indexAfter(-1), true, preceding.last()};
}

pstRef<psObj> psTreeIterator::stepTo(const Place& place, psLockMode mode) {
  if (place.hasElement && mode != pscNoLock && !ArrayEdit(NodeAccess::elements(*place.leaf)).isOpen()) {
    return pstRef<psObj>();
  }
  standIn(place.leaf);
  position_ = place.position;
  index_ = place.index;
  return place.element;
}

pstRef<psObj> psTreeIterator::next(psLockMode mode) {
  if (mode == pscNoLock) {
    if (const pstRef<psObj>* const element = ArrayView::peek(elements_, position_ + 1)) {
      ++position_;
      index_ = indexAfter(1);
      return *element;
    }
  }
  const std::optional<Place> place = placeAfter();
  return place ? stepTo(*place, mode) : pstRef<psObj>();
}

pstRef<psObj> psTreeIterator::previous(psLockMode mode) {
  if (position_ == -1) return pstRef<psObj>();
  const std::optional<Place> place = placeBefore();
  return place ? stepTo(*place, mode) : pstRef<psObj>();
}

bool psTreeIterator::hasNext() {
  if (ArrayView::peek(elements_, position_ + 1) != nullptr) return true;
  const ArrayView elements(elements_);
  if (elements.count() == 0) return false;
  return position_ + 1 < elements.count() || !ps::detail::nextNode(*leaf_).node.isNull();
}

bool psTreeIterator::hasPrevious() { return position_ > 0 || currentIndex() > 0; }

pstRef<psObj> psTreeIterator::goToIndex(int i, psLockMode mode) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return pstRef<psObj>();
  if (i < 0) {
    const NodeAnswer low = ps::detail::leftmostLeaf(*root);
    return low.failed ? pstRef<psObj>() : stepTo(Place{low.node, -1, -1, false, pstRef<psObj>()}, mode);
  }
  Place place;
  int count = 0;
  const bool complete = ps::detail::visitLeaves(*root, [&](const pstHandle<psBTree>& leaf, const ArrayView& elements) {
    const int position = i - count;
    if (position < elements.count()) {
      place = {leaf, position, i, true, elements[position]};
      return false;
    }
    count += elements.count();
    place = {leaf, elements.count(), count, false, pstRef<psObj>()};
    return true;
  });
  return complete ? stepTo(place, mode) : pstRef<psObj>();
}

bool psTreeIterator::goTo(const psBTree& root, ps::detail::KeyProbe& probe) {
  // Only an empty root is an empty leaf: there is nowhere to go.
  if (ArrayView(elements_).count() == 0) return false;
  const TreePosition at = ps::detail::locate(root, probe);
  if (at.failed) return false;
  stepTo(Place{at.leaf, at.matched ? at.index : at.index - 1, unknownIndex, at.matched, at.element}, pscNoLock);
  return at.matched;
}

bool psTreeIterator::goTo(const void* key) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return false;
  RawProbe probe(key, ps::detail::comparatorOf(*root));
  return goTo(*root, probe);
}

bool psTreeIterator::goTo(const pstHandle<psObj>& element) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return false;
  HandleProbe probe(element, ps::detail::comparatorOf(*root));
  return goTo(*root, probe);
}

bool psTreeIterator::goTo(unsigned int, int (*compare)(unsigned int, unsigned int)) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return false;
  CallbackProbe probe(compare);
  return goTo(*root, probe);
}

bool psTreeIterator::goTo(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return false;
  JavaProbe probe(key, callee, env);
  return goTo(*root, probe);
}

// Where the iterator stands after the current element has gone: the removal of the leaf's last element takes the leaf
// with it.
std::optional<psTreeIterator::Place> psTreeIterator::placeAfterRemoval(int count) const {
  std::optional<Place> back = placeBefore();
  if (!back || back->hasElement || count > 1) return back;
  const NodeAnswer next = ps::detail::nextNode(*leaf_);
  const pstHandle<psBTree> stand = next.node.isNull() ? openRoot() : next.node;
  if (next.failed || stand.isNull()) return std::nullopt;
  return Place{stand, -1, -1, false, pstRef<psObj>()};
}

int psTreeIterator::remove() {
  if (!leaf_.isValid()) return 0;
  const int count = ArrayView(elements_).count();
  if (position_ < 0 || position_ >= count) return 0;
  const std::optional<Place> stand = placeAfterRemoval(count);
  if (!stand || !ps::detail::removeElement(leaf_, position_)) return 0;
  stepTo(*stand, pscNoLock);
  return 1;
}

int psTreeIterator::moveCurrentTo(const pstHandle<psObj>& near) {
  const pstHandle<psBTree> root = openRoot();
  const pstHandle<psObj> element(psTreeIterator::current(pscNoLock));
  if (root.isNull() || element.isNull()) return 0;
  const HandleProbe probe(element, ps::detail::comparatorOf(*root));
  if (probe.failed()) return 0;
  return probe.identifier() != nullptr ? moveAndPlaceAnew(root, element, near) : moveInPlace(root, element, near);
}

// The order is that of identifiers. The new reference goes in before the old one leaves, so that the worst that a
// refused open can do is leave the collection as it was.
int psTreeIterator::moveAndPlaceAnew(const pstHandle<psBTree>& root, pstHandle<psObj> moved,
                                     const pstHandle<psObj>& near) {
  const pstHandle<psObj> old(moved.oid());
  const ComparatorChoice choice = ps::detail::comparatorOf(*root);
  pstRef<psObj> value;
  if (choice.refused || !readValue(*leaf_, position_, value) || moved.move(near) != 1) return 0;

  HandleProbe newProbe(moved, choice);
  const bool added = ps::detail::addElement(*root, newProbe, moved, value);
  HandleProbe oldProbe(old, choice);
  const bool stands = goTo(*root, oldProbe);
  if (!added) return 0;
  if (stands && psTreeIterator::remove() == 1) return 1;

  HandleProbe undoProbe(moved, choice);
  const TreePosition at = ps::detail::locate(*root, undoProbe);
  if (!at.failed && at.matched) ps::detail::removeElement(at.leaf, at.index);
  return 0;
}

// The order is a comparator's, which most likely reads the object and not its identifier: then the element stays in its
// place.
int psTreeIterator::moveInPlace(const pstHandle<psBTree>& root, pstHandle<psObj> moved, const pstHandle<psObj>& near) {
  const ComparatorChoice choice = ps::detail::comparatorOf(*root);
  const std::optional<Place> before = placeBefore();
  const std::optional<Place> after = placeAfter();
  pstRef<psObj> value;
  ArrayEdit elements(NodeAccess::elements(*leaf_));
  if (choice.refused || !before || !after || !readValue(*leaf_, position_, value) || !elements.isOpen()) return 0;
  if (leaf_.open(pscUpdate) != 1 || moved.move(near) != 1) return 0;

  elements.put(position_, moved);
  if (position_ == 0) NodeAccess::setFirst(*leaf_, moved);
  HandleProbe probe(moved, choice);
  if (probe.failed()) return 0;
  const bool inOrder = (!before->hasElement || probe.compare(before->element) < 0) &&
                       (!after->hasElement || probe.compare(after->element) > 0);
  if (probe.failed()) return 0;
  if (inOrder) return 1;
  HandleProbe placing(moved, choice);
  return psTreeIterator::remove() == 1 && ps::detail::addElement(*root, placing, moved, value) ? 1 : 0;
}
