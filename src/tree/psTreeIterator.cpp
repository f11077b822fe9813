#include "tree/psTreeIterator.h"

#include <algorithm>
#include <utility>

#include "arrays/ArrayEdit.h"
#include "core/RefusalWatch.h"
#include "store/Relocation.h"
#include "tree/NodeLinks.h"
#include "tree/TreePosition.h"
#include "tree/TreeShape.h"
#include "tree/psTreeList.h"

using ps::detail::ArrayEdit;
using ps::detail::ArrayView;
using ps::detail::CallbackProbe;
using ps::detail::ComparatorChoice;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::NodeAccess;
using ps::detail::NodeAnswer;
using ps::detail::NodeEdit;
using ps::detail::RawProbe;
using ps::detail::TreePosition;

namespace {

constexpr int unknownIndex = -2;

// How far ahead of a walk that reads the objects these are asked for.
constexpr int objectsAhead = 8;

}  // namespace

psTreeIterator::psTreeIterator(pstHandle<psBTree>& tree) : psTreeIterator(tree, Delivery::elements) {}

psTreeIterator::psTreeIterator(pstHandle<psBTree>& tree, Delivery delivery) : delivery_(delivery) {
  tree_ = tree;
  if (tree.open(pscRead) == 1) {
    if (const pstHandle<psBTree> root = ps::detail::rootOf(*tree); !root.isNull()) tree_ = root;
    standIn(ps::detail::leftmostLeaf(*tree).node);
  }
  if (leaf_.isNull()) index_ = unknownIndex;
}

psTreeIterator::~psTreeIterator() = default;

pstRef<psUnsortedArray> psTreeIterator::deliveredFrom(const pstHandle<psBTree>& leaf) const {
  if (!ps::detail::isReadable(leaf)) return pstRef<psUnsortedArray>();
  return delivery_ == Delivery::values ? leaf->values() : NodeAccess::elements(*leaf);
}

void psTreeIterator::Entries::use(const pstRef<psUnsortedArray>& array) {
  const std::uint64_t notes = ps::detail::currentSession->noteStamp;
  if (array_ == array && notes_ == notes) return;
  forget();
  array_ = array;
  notes_ = notes;
}

void psTreeIterator::Entries::forget() {
  array_.close();
  first_ = nullptr;
  pin_.reset();
}

const pstRef<psObj>* psTreeIterator::Entries::at(int i) {
  const psUnsortedArray* const array = array_.isNull() ? nullptr : array_.operator->();
  if (array == nullptr || i > array->lastIndex()) return nullptr;
  if (first_ == nullptr) {
    const ArrayView entries(array_);
    if (entries.count() == 0) return nullptr;
    first_ = &entries[0];
    pin_.emplace(first_);
  }
  return first_ + i;
}

psTreeIterator::Time psTreeIterator::now() {
  const ps::detail::SessionHead& session = *ps::detail::currentSession;
  return {session.noteStamp, ps::detail::shapeNumber(), session.readStamp, session.updateStamp};
}

bool psTreeIterator::isUpToDate() const {
  return seen_.notes == ps::detail::currentSession->noteStamp && seen_.shape == ps::detail::shapeNumber();
}

bool psTreeIterator::standsInLeaf() { return PS_LIKELY(isUpToDate()) ? !leaf_.isNull() : lookAgain(); }

bool psTreeIterator::isInTree() const {
  if (!leaf_.isValid() || ptmIsKindOf(leaf_.typeN(), psBTree::pstTypeN) == 0) return false;
  if (!ps::detail::isReadable(leaf_)) return false;
  // A root that has got leaves below it holds these.
  const bool isLeaf = !NodeAccess::first(*leaf_).isNull() || ArrayView(NodeAccess::elements(*leaf_)).count() == 0;
  return isLeaf && ps::detail::rootOf(*leaf_) == tree_;
}

bool psTreeIterator::lookAgain() {
  if (leaf_.isNull()) return false;
  const ps::detail::RefusalWatch watch;
  leaf_.close();
  delivered_.forget();
  const bool isThere = isInTree();
  if (watch.refused()) return false;
  if (!isThere) return fail();
  const Time before = std::exchange(seen_, now());
  if (before.read != seen_.read || before.update != seen_.update) index_ = unknownIndex;
  delivered_.use(deliveredFrom(leaf_));
  return true;
}

void psTreeIterator::standIn(const pstHandle<psBTree>& leaf) {
  if (leaf == leaf_ && isUpToDate()) return;
  leaf_ = leaf;
  delivered_.forget();
  delivered_.use(deliveredFrom(leaf));
  seen_ = now();
}

void psTreeIterator::standNowhere() {
  leaf_ = pstHandle<psBTree>();
  delivered_.use(pstRef<psUnsortedArray>());
  position_ = -1;
}

bool psTreeIterator::fail() {
  standNowhere();
  index_ = unknownIndex;
  return false;
}

bool psTreeIterator::isBehindLast() const {
  const ArrayView entries(delivered_.array());
  return entries.count() > 0 && position_ >= entries.count();
}

pstHandle<psBTree> psTreeIterator::openRoot() const {
  const pstHandle<psBTree> tree(tree_);
  return tree.isValid() && ps::detail::isReadable(tree) ? ps::detail::rootOf(*tree) : pstHandle<psBTree>();
}

pstHandle<psCollection> psTreeIterator::collection() { return openRoot(); }

pstRef<psObj>* psTreeIterator::currentAddress(psLockMode mode) {
  pin_.reset();
  if (!standsInLeaf()) return nullptr;
  const ArrayView entries(delivered_.array());
  if (position_ < 0 || position_ >= entries.count()) return nullptr;
  if (mode != pscNoLock && !ArrayEdit(entries.array()).isOpen()) return nullptr;
  pin_.emplace(&entries[position_]);
  return const_cast<pstRef<psObj>*>(&entries[position_]);
}

pstRef<psObj>* psTreeIterator::currentP(psLockMode mode) {
  nothing_ = pstRef<psObj>();
  pstRef<psObj>* const reference = currentAddress(mode);
  return reference != nullptr ? reference : &nothing_;
}

int psTreeIterator::replaceCurrent(const pstRef<psObj>& reference) {
  pstRef<psObj>* const current = currentAddress(pscLockUpdate);
  if (current == nullptr) return 0;
  *current = reference;
  return 1;
}

int psTreeIterator::moveInPlace(const pstHandle<psObj>& near) {
  pstRef<psObj>* const current = currentAddress(pscLockUpdate);
  if (current == nullptr || current->isNull()) return 0;
  pstHandle<psObj> object(*current);
  if (object.move(near) != 1) return 0;
  *current = object;
  return 1;
}

pstRef<psObj> psTreeIterator::current(psLockMode mode) {
  const pstRef<psObj> element = *psTreeIterator::currentP(mode);
  pin_.reset();
  return element;
}

int psTreeIterator::currentIndex() {
  if (standsInLeaf() && index_ < -1) {
    const pstHandle<psBTree> root = openRoot();
    const int before = root.isNull() ? -1 : root->treeIndex(leaf_);
    if (before >= 0) index_ = before + position_;
  }
  return index_;
}

bool psTreeIterator::objectsAreRead() {
  const std::uint64_t before = std::exchange(opens_, ps::detail::currentSession->opens);
  return opens_ != before;
}

std::optional<psTreeIterator::Place> psTreeIterator::placeAfter() const {
  const ArrayView entries(delivered_.array());
  if (entries.count() == 0) return std::nullopt;
  if (position_ + 1 < entries.count()) {
    return Place{leaf_, position_ + 1, indexAfter(1), true, entries[position_ + 1]};
  }
  const NodeAnswer next = ps::detail::nextNode(*leaf_);
  if (next.failed) return std::nullopt;
  if (next.node.isNull()) {
    const bool isAtLast = position_ == entries.count() - 1;
    return Place{leaf_, entries.count(), isAtLast ? indexAfter(1) : index_, false, pstRef<psObj>()};
  }
  const ArrayView following(deliveredFrom(next.node));
  if (following.count() == 0) return std::nullopt;
  return Place{next.node, 0, indexAfter(1), true, following[0]};
}

std::optional<psTreeIterator::Place> psTreeIterator::placeBefore() const {
  const ArrayView entries(delivered_.array());
  if (entries.count() == 0) return std::nullopt;
  if (position_ > 0) {
    const int position = std::min(position_, entries.count()) - 1;
    return Place{leaf_, position, indexAfter(-1), true, entries[position]};
  }
  const NodeAnswer previous = ps::detail::previousLeaf(*leaf_);
  if (previous.failed) return std::nullopt;
  if (previous.node.isNull()) return Place{leaf_, -1, -1, false, pstRef<psObj>()};
  const ArrayView preceding(deliveredFrom(previous.node));
  if (preceding.count() == 0) return std::nullopt;
  return Place{previous.node, preceding.count() - 1, indexAfter(-1), true, preceding.last()};
}

bool psTreeIterator::canStep(const Place& place, psLockMode mode) const {
  return !place.hasElement || mode == pscNoLock || ArrayEdit(deliveredFrom(place.leaf)).isOpen();
}

pstRef<psObj> psTreeIterator::stepTo(const Place& place, psLockMode mode) {
  if (!canStep(place, mode)) return pstRef<psObj>();
  standIn(place.leaf);
  position_ = place.position;
  index_ = place.index;
  return place.delivered;
}

pstRef<psObj> psTreeIterator::next(psLockMode mode) {
  if (!standsInLeaf()) return pstRef<psObj>();
  if (mode == pscNoLock) {
    if (const pstRef<psObj>* const element = delivered_.at(position_ + 1)) {
      ++position_;
      index_ = indexAfter(1);
      if (objectsAreRead() && delivered_.at(position_ + objectsAhead) != nullptr) {
        delivered_.prefetch(position_ + objectsAhead);
      }
      return *element;
    }
  }
  const std::optional<Place> place = placeAfter();
  return place ? stepTo(*place, mode) : pstRef<psObj>();
}

pstRef<psObj> psTreeIterator::previous(psLockMode mode) {
  if (position_ == -1 || !standsInLeaf()) return pstRef<psObj>();
  if (mode == pscNoLock && position_ > 0) {
    if (const pstRef<psObj>* const element = delivered_.at(position_ - 1)) {
      --position_;
      index_ = indexAfter(-1);
      return *element;
    }
  }
  const std::optional<Place> place = placeBefore();
  return place ? stepTo(*place, mode) : pstRef<psObj>();
}

bool psTreeIterator::hasNext() {
  if (!standsInLeaf()) return false;
  if (delivered_.at(position_ + 1) != nullptr) return true;
  const ArrayView entries(delivered_.array());
  if (entries.count() == 0) return false;
  return position_ + 1 < entries.count() || !ps::detail::nextNode(*leaf_).node.isNull();
}

bool psTreeIterator::hasPrevious() { return standsInLeaf() && (position_ > 0 || currentIndex() > 0); }

pstRef<psObj> psTreeIterator::goToIndex(int i, psLockMode mode) {
  const std::optional<Place> place = placeOf(i);
  if (place && canStep(*place, mode)) return stepTo(*place, pscNoLock);
  fail();
  return pstRef<psObj>();
}

std::optional<psTreeIterator::Place> psTreeIterator::placeOf(int i) const {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return std::nullopt;
  if (i < 0) {
    const NodeAnswer low = ps::detail::leftmostLeaf(*root);
    if (low.failed) return std::nullopt;
    return Place{low.node, -1, -1, false, pstRef<psObj>()};
  }
  Place place;
  int count = 0;
  const bool complete =
      ps::detail::visitLeaves(*root, [&](const pstHandle<psBTree>& leaf, const pstHandle<psUnsortedArray>& array) {
        const int inLeaf = array->usedSize();
        place = {leaf, std::min(i - count, inLeaf), std::min(i, count + inLeaf), i < count + inLeaf, pstRef<psObj>()};
        count += inLeaf;
        return !place.hasElement;
      });
  if (!complete) return std::nullopt;
  if (place.hasElement) {
    const ArrayView entries(deliveredFrom(place.leaf));
    if (place.position >= entries.count()) return std::nullopt;
    place.delivered = entries[place.position];
  }
  return place;
}

bool psTreeIterator::standAt(const psBTree& root, ps::detail::KeyProbe& probe) {
  const TreePosition at = ps::detail::locateMatch(root, probe);
  if (at.failed) return fail();
  // Only an empty root is an empty leaf: there is nowhere else to go.
  if (standsInLeaf() && leaf_ == at.leaf && ArrayView(delivered_.array()).count() == 0) return false;
  stepTo(Place{at.leaf, at.matched ? at.index : at.index - 1, unknownIndex, at.matched, at.element}, pscNoLock);
  return at.matched;
}

bool psTreeIterator::goTo(const void* key) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return fail();
  RawProbe probe(key, ps::detail::comparatorOf(*root));
  return standAt(*root, probe);
}

bool psTreeIterator::goTo(const pstHandle<psObj>& element) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return fail();
  HandleProbe probe(element, *root);
  return standAt(*root, probe);
}

bool psTreeIterator::goTo(unsigned int, int (*compare)(unsigned int, unsigned int)) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull()) return fail();
  CallbackProbe probe(compare);
  return standAt(*root, probe);
}

bool psTreeIterator::goTo(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  const pstHandle<psBTree> root = openRoot();
  if (root.isNull() || root->psIsKindOf(psTreeList::pstTypeN)) return fail();
  JavaProbe probe(key, callee, env);
  return standAt(*root, probe);
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
  if (!standsInLeaf()) return 0;
  const int count = ArrayView(delivered_.array()).count();
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
  const ComparatorChoice order = ps::detail::comparatorOf(*root);
  const auto follow = [&](const psId& id) {
    const pstHandle<psObj> moved(id);
    HandleProbe probe(moved, order);
    if (probe.failed()) return false;
    // A comparator most likely reads the object and not its identifier.
    const std::optional<bool> fits = probe.identifier() != nullptr ? false : fitsHere(probe);
    if (!fits) return false;
    return *fits ? replaceHere(moved) : placeAnew(root, element, order, probe, moved);
  };
  return ps::detail::moveObject(element.oid(), near.oid(), follow).isNull() ? 0 : 1;
}

std::optional<bool> psTreeIterator::fitsHere(ps::detail::KeyProbe& probe) const {
  const std::optional<Place> before = placeBefore();
  const std::optional<Place> after = placeAfter();
  if (!before || !after) return std::nullopt;
  const bool inOrder = (!before->hasElement || probe.compare(before->delivered) < 0) &&
                       (!after->hasElement || probe.compare(after->delivered) > 0);
  return probe.failed() ? std::nullopt : std::optional<bool>(inOrder);
}

bool psTreeIterator::replaceHere(const pstRef<psObj>& element) {
  NodeEdit entries(*leaf_);
  if (!entries.isOpen() || (position_ == 0 && !entries.openMark())) return false;
  entries.put(position_, element);
  entries.renewMark();
  return true;
}

// Splits for the new element come first, since they may move the old one.
bool psTreeIterator::placeAnew(const pstHandle<psBTree>& root, const pstHandle<psObj>& old,
                               const ComparatorChoice& order, ps::detail::KeyProbe& probe,
                               const pstRef<psObj>& element) {
  const std::optional<TreePosition> position = ps::detail::locateRoom(*root, probe);
  HandleProbe oldProbe(old, order);
  if (!standAt(*root, oldProbe) || !position) return false;
  // A leaf that takes the element back stays, even if it was the only one.
  std::optional<Place> stand =
      position->leaf == leaf_ ? placeBefore() : placeAfterRemoval(ArrayView(delivered_.array()).count());
  if (!stand || !ps::detail::replaceElement(leaf_, position_, *position, element)) return false;
  if (stand->leaf == position->leaf && position->index <= stand->position) ++stand->position;
  stand->index = stand->position < 0 ? -1 : unknownIndex;
  stepTo(*stand, pscNoLock);
  return true;
}
