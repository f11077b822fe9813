#include "list/psTreeList.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "core/KeyWalk.h"
#include "core/RawKey.h"
#include "list/psTreeListIterator.h"
#include "store/base/MemoryGuard.h"
#include "tree/ElementChange.h"
#include "tree/ElementCounts.h"
#include "tree/NodeLinks.h"
#include "tree/NodeSplit.h"
#include "tree/TreeAppender.h"
#include "tree/TreeRoot.h"

using ps::detail::ArrayView;
using ps::detail::InsertionPoint;
using ps::detail::NodeAccess;
using ps::detail::TreeAppender;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

// Where an element can be put, between two others or at an end: before the entry at index, counted from the start of
// the leaf and on into the leaves after it.
struct Gap {
  pstHandle<psBTree> leaf;  // or the root, when it was the leaf and has been split
  int index = 0;
  std::optional<int> room;  // how many entries the leaf still takes; nothing until the gap is known to lie in it
};

// Makes the gap name the leaf in which it lies: at a boundary the left one. False when there is no such gap, or it
// cannot be reached.
bool settle(Gap& gap) {
  if (gap.room) return true;
  if (gap.index < 0 || !ps::detail::isReadable(gap.leaf)) return false;
  ps::detail::visitLeaves(*gap.leaf, [&](const pstHandle<psBTree>& leaf, const pstHandle<psUnsortedArray>& array) {
    if (gap.index > array->usedSize()) {
      gap.index -= array->usedSize();
      return true;
    }
    gap.leaf = leaf;
    gap.room = array->size() - array->usedSize();
    return false;
  });
  return gap.room.has_value();
}

// A root that has lost all its leaves is a leaf again, and must be marked as one before it holds elements.
bool markAsLeaf(const pstHandle<psBTree>& leaf) {
  if (!NodeAccess::first(*leaf).isNull()) return true;
  if (leaf.open(pscUpdate) != 1) return false;
  NodeAccess::initFirst(*leaf, leaf);
  return true;
}

// Puts the element into the gap, splitting nodes until there is room, and moves the gap after it. False when there is
// no such gap, or on failure; then the element has not been added, though nodes may have been split.
bool insertAt(Gap& gap, const pstHandle<psObj>& element, InsertionPoint where) {
  for (;;) {
    if (!settle(gap)) return false;
    if (*gap.room > 0) break;
    gap.room.reset();
    if (gap.leaf->full(where) != 1) return false;
  }
  TreePosition position;
  position.leaf = gap.leaf;
  position.index = gap.index;
  if (!markAsLeaf(gap.leaf) || !ps::detail::insertElement(position, element)) return false;
  ++gap.index;
  --*gap.room;
  return true;
}

// When that place cannot be reached, a gap into which nothing can be put.
Gap gapAt(const psTreeList& list, int index) {
  if (index < 0) return {};
  const ps::detail::LeafAt at = ps::detail::leafAt(list, std::max(index - 1, 0));
  return {at.leaf, index - at.before, std::nullopt};
}

// When the end cannot be reached, a gap into which nothing can be put.
Gap gapAtEnd(const psTreeList& list) {
  const pstHandle<psBTree> leaf = ps::detail::rightmostLeaf(list).node;
  if (leaf.isNull()) return {};
  const ArrayView elements(NodeAccess::elements(*leaf));
  if (!elements.isOpen()) return {};
  return {leaf, elements.count(), elements.capacity() - elements.count()};
}

bool insertAll(Gap gap, pstHandle<psCollection>& other, InsertionPoint where) {
  return ps::detail::visitKeys(other, [&](const pstHandle<psObj>& element) { return insertAt(gap, element, where); });
}

// The first element of an empty list makes its root a leaf.
bool addThrough(TreeAppender& appender, psTreeList& list, const pstHandle<psObj>& element) {
  return appender.append(element) || (list.isEmpty() && list.addLast(element) == 1);
}

TreePosition firstOccurrence(const psTreeList& list, const psId& element) {
  TreePosition found;
  ps::detail::visitLeaves(list, [&](const pstHandle<psBTree>& leaf, const pstHandle<psUnsortedArray>& array) {
    const ArrayView elements(array);
    found.leaf = leaf;
    found.index = elements.find(element);
    found.matched = found.index >= 0;
    return !found.matched && elements.isOpen();
  });
  return found;
}

}  // namespace

psTreeList::psTreeList(int maxNumberOfChildren, pstHandle<psContObj> adminContainer,
                       pstHandle<psContObj> arrayContainer)
    : admin_(
          ps::detail::constructRoot(*this, maxNumberOfChildren, std::move(adminContainer), std::move(arrayContainer))) {
  if (!admin_.isNull()) NodeAccess::initFirst(*this, psOid());
}

psTreeList::~psTreeList() noexcept { ps::detail::destroyRoot(*this); }

bool psTreeList::add(const pstHandle<psObj>& element) { return addLast(element) == 1; }

bool psTreeList::addAll(pstHandle<psCollection>& other) {
  if (other == psOid()) return false;
  TreeAppender appender(*this);
  return ps::detail::visitKeys(other,
                               [&](const pstHandle<psObj>& element) { return addThrough(appender, *this, element); });
}

int psTreeList::append(const pstRef<psObj>* elements, int n) {
  TreeAppender appender(*this);
  int added = 0;
  while (added < n && addThrough(appender, *this, pstHandle<psObj>(elements[added]))) ++added;
  return added;
}

const pstRef<psTreeAdmin>& psTreeList::admin() const { return admin_; }

pstRef<psCompare> psTreeList::comparator() const { return pstRef<psCompare>(); }

bool psTreeList::contains(const void* key) const { return contains(ps::detail::handleOfRawKey(key)); }

bool psTreeList::contains(const pstHandle<psObj>& element) const {
  return firstOccurrence(*this, element.oid()).matched;
}

pstRef<psObj> psTreeList::get(const void*) const { return pstRef<psObj>(); }

psCollectionIterator* psTreeList::iterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(nullptr, [&] {
    pstHandle<psTreeList> self(this);
    return new psTreeListIterator(self);
  });
}

bool psTreeList::remove(const pstHandle<psObj>& element) {
  const TreePosition found = firstOccurrence(*this, element.oid());
  return found.matched && ps::detail::removeElement(found.leaf, found.index);
}

int psTreeList::first(const pstHandle<psObj>&) { return 1; }

int psTreeList::full(int where) {
  return ps::detail::splitRoot(*this, ps::detail::keptInList(where, maxNumberOfChildren(), 2));
}

pstRef<psObj> psTreeList::first() const { return ps::detail::firstOf(*this); }

int psTreeList::add(int index, const pstHandle<psObj>& element) {
  Gap gap = gapAt(*this, index);
  return insertAt(gap, element, index == 0 ? ps::detail::atStart : ps::detail::within) ? 1 : 0;
}

int psTreeList::addAll(int index, pstHandle<psCollection>& other) {
  return other != psOid() && insertAll(gapAt(*this, index), other, ps::detail::within) ? 1 : 0;
}

int psTreeList::addFirst(const pstHandle<psObj>& element) { return add(0, element); }

int psTreeList::addLast(const pstHandle<psObj>& element) {
  Gap gap = gapAtEnd(*this);
  return insertAt(gap, element, ps::detail::atEnd) ? 1 : 0;
}

int psTreeList::removeRange(int from, int to) {
  if (from < 0 || to < from) return 0;
  const std::unique_ptr<psCollectionIterator> it(iterator());
  if (it == nullptr) return 0;
  it->goToIndex(to, pscNoLock);
  for (int i = to; i >= from; --i) {
    if (it->remove() != 1) return 0;
  }
  return 1;
}

int psTreeList::set(int index, const pstHandle<psObj>& element) {
  const std::unique_ptr<psCollectionIterator> it(iterator());
  if (it == nullptr) return 0;
  it->goToIndex(index, pscNoLock);
  return it->set(element);
}
