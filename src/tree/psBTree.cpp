#include "tree/psBTree.h"

#include <memory>
#include <utility>

#include "core/RefusalWatch.h"
#include "core/psCollectionIterator.h"
#include "store/base/MemoryGuard.h"
#include "tree/Compaction.h"
#include "tree/CountChange.h"
#include "tree/ElementChange.h"
#include "tree/ElementCounts.h"
#include "tree/NodeLinks.h"
#include "tree/NodeRemoval.h"
#include "tree/NodeSplit.h"
#include "tree/TreeRefresh.h"
#include "tree/TreeShape.h"
#include "tree/psTreeIterator.h"

using ps::detail::ArrayView;
using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::NodeAnswer;
using ps::detail::RawProbe;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

// Where this very object is in the leaf where it belongs.
TreePosition findObject(const psBTree& tree, const pstHandle<psObj>& element) {
  HandleProbe probe(element, ps::detail::comparatorOf(tree));
  TreePosition found;
  found.leaf = ps::detail::leafFor(tree, probe);
  if (found.leaf.isNull()) return found;
  found.index = ArrayView(ps::detail::NodeAccess::elements(*found.leaf)).find(element.oid());
  found.matched = found.index >= 0;
  return found;
}

// Asks the node above, which passes on to its own parent what concerns the collection; the result type's default when
// there is none or it cannot be opened.
template <class Ask>
auto askAbove(const psBTree& node, Ask ask) -> decltype(ask(std::declval<psBTree&>())) {
  const pstHandle<psBTree> above = node.parent();
  if (above.open(pscRead) != 1) return {};
  return ask(*above);
}

}  // namespace

psBTree::~psBTree() noexcept {
  if (ps::detail::isInArena(this)) ps::detail::noteShapeChange();
}

bool psBTree::add(const pstHandle<psObj>& element) {
  return askAbove(*this, [&](psBTree& above) { return above.add(element); });
}

pstRef<psCompare> psBTree::comparator() const {
  return askAbove(*this, [](psBTree& above) { return above.comparator(); });
}

pstRef<psObj> psBTree::get(const void* key) const {
  return askAbove(*this, [&](psBTree& above) { return above.get(key); });
}

void psBTree::clear() {
  if (!parent().isNull()) return psCollection::clear();
  while (ps::detail::removeLastLeaf(*this)) {
  }
}

bool psBTree::contains(const void*) const { return false; }

bool psBTree::contains(const pstHandle<psObj>& element) const { return findObject(*this, element).matched; }

psCollectionIterator* psBTree::iterator() const {
  return ps::detail::guardMemory<psCollectionIterator*>(nullptr, [&] {
    pstHandle<psBTree> self(this);
    return new psTreeIterator(self);
  });
}

bool psBTree::isEmpty() const {
  const ArrayView entries(elements_);
  return entries.isOpen() && entries.count() == 0;
}

bool psBTree::refresh(psMode mode) const { return ps::detail::refreshTree(*this, mode); }

bool psBTree::remove(const pstHandle<psObj>& element) {
  const TreePosition found = findObject(*this, element);
  return found.matched && ps::detail::removeElement(found.leaf, found.index);
}

// Of a node, what there is from its first element on.
int psBTree::size() const {
  if (parent().isNull()) return ps::detail::elementsBelow(*this).value_or(-1);
  const pstHandle<psBTree> top = root();
  const std::optional<int> before = top.isNull() ? std::nullopt : ps::detail::elementsBefore(*this);
  const std::optional<int> all = before ? ps::detail::elementsBelow(*top) : std::nullopt;
  return all ? *all - *before : -1;
}

pstHandle<psBTree> psBTree::childOf(const pstHandle<psBTree>& ancestor) const {
  return ps::detail::climbBelow(ps::detail::handleTo(*this), ancestor.oid());
}

int psBTree::first(const pstHandle<psObj>& element) {
  if (psUpdate() != 1) return 0;
  ps::detail::NodeAccess::setFirst(*this, element);
  return 1;
}

int psBTree::full(int) { return ps::detail::splitRoot(*this, maxNumberOfChildren() / 2); }

int psBTree::newLow(pstHandle<psBTree>& oldLow) {
  return parent().isNull() || ps::detail::repairLow(*this, oldLow) ? 1 : 0;
}

pstHandle<psBTree> psBTree::parent() const { return pstHandle<psBTree>(); }

int psBTree::parent(const pstHandle<psBTree>&) { return 0; }

int psBTree::removeNode(pstHandle<psBTree>& node) {
  if (!parent().isNull()) return ps::detail::removeNode(node, ps::detail::handleTo(*this)) ? 1 : 0;
  return node != psOid() && ps::detail::deleteEmptyNode(node) ? 1 : 0;
}

pstRef<psBTree> psBTree::next() const { return ps::detail::nextNode(*this).node; }

bool psBTree::isLeaf() const { return !first_.isNull() || (parent().isNull() && isEmpty()); }

int psBTree::removeKeyValueAt(int index) const {
  ps::detail::NodeEdit entries(*this);
  if (!entries.isOpen() || index < 0 || index >= entries.count()) return 0;
  ps::detail::CountChange counts;
  if (!counts.planFewer(*this, entries.isLeaf() ? psOid() : entries[0].oid(), entries.elementsIn(index, 1))) return 0;
  entries.erase(index);
  counts.carryOut();
  return 1;
}

pstHandle<psBTree> psBTree::root() const { return ps::detail::rootOf(*this); }

pstRef<psUnsortedArray> psBTree::values() const { return pstRef<psUnsortedArray>(); }

// Levels can be taken away only below the root, or leaves would lie at different depths. Packing may delete
// the node that was asked.
void psBTree::compact() {
  const pstHandle<psBTree> top = root();
  if (top.isNull()) return;
  if (top != psOid()) {
    top->compact();
  } else if (ps::detail::packLeaves(*this)) {
    compactPart2();
  }
}

void psBTree::compactPart2() {
  if (const pstHandle<psBTree> top = root(); !top.isNull()) ps::detail::packInterior(*top);
}

pstRef<psObj> psBTree::first() const {
  if (!first_.isNull()) return first_;
  const NodeAnswer low = ps::detail::leftmostLeaf(*this);
  return low.failed ? pstRef<psObj>() : ps::detail::NodeAccess::first(*low.node);
}

int psBTree::indexOf(const pstHandle<psObj>& element, int from) const {
  const std::unique_ptr<psCollectionIterator> it(keyIterator());
  if (it == nullptr) return -1;
  if (from > 0) it->goToIndex(from - 1, pscNoLock);
  if (!it->goTo(element)) return -1;
  const int index = it->currentIndex();
  return index >= from ? index : -1;
}

pstRef<psBTree> psBTree::atFirst() const { return ps::detail::leftmostLeaf(*this).node; }

pstRef<psBTree> psBTree::atLast() const { return ps::detail::rightmostLeaf(*this).node; }

int psBTree::depth(int d) const {
  const int height = ps::detail::heightOf(*this);
  return height > 0 ? height + d - 1 : 0;
}

pstRef<psObj> psBTree::get(int i) const {
  const pstHandle<psBTree> top = parent().isNull() ? ps::detail::handleTo(*this) : root();
  if (i < 0 || top.isNull()) return pstRef<psObj>();
  const ps::detail::LeafAt at = ps::detail::leafAt(*top, i);
  if (at.leaf.isNull()) return pstRef<psObj>();
  const ArrayView elements(ps::detail::NodeAccess::elements(*at.leaf));
  return i - at.before < elements.count() ? elements[i - at.before] : pstRef<psObj>();
}

bool psBTree::isFull() const {
  const ArrayView entries(elements_);
  return entries.isOpen() && entries.isFull();
}

pstRef<psObj> psBTree::last() const {
  const NodeAnswer high = ps::detail::rightmostLeaf(*this);
  if (high.failed) return pstRef<psObj>();
  const ArrayView elements(ps::detail::NodeAccess::elements(*high.node));
  return elements.count() > 0 ? elements.last() : pstRef<psObj>();
}

int psBTree::lastIndexOf(const pstHandle<psObj>& element, int to) const {
  // In a sorted tree goTo finds the one occurrence again and again, in a list the next one.
  const ps::detail::RefusalWatch watch;
  const std::unique_ptr<psCollectionIterator> it(keyIterator());
  int found = -1;
  while (it != nullptr && it->goTo(element)) {
    const int i = it->currentIndex();
    if (i <= found || i > to) break;
    found = i;
  }
  return watch.refused() ? -1 : found;
}

int psBTree::maxNumberOfChildren() const { return ArrayView(elements_).capacity(); }

pstHandle<psBTree> psBTree::potentialParentOf(const pstHandle<psObj>& key) const {
  return ps::detail::leafFor(*this, HandleProbe(key, ps::detail::comparatorOf(*this)));
}

pstHandle<psBTree> psBTree::potentialParentOf(const void* key) const {
  return ps::detail::leafFor(*this, RawProbe(key, ps::detail::comparatorOf(*this)));
}

pstHandle<psBTree> psBTree::potentialParentOf(psCompareFunction compare) const {
  return ps::detail::leafFor(*this, CallbackProbe(compare));
}

pstHandle<psBTree> psBTree::potentialParentOf(_jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  JavaProbe probe(key, callee, env);
  // While an exception is pending there is no answer, not even where nothing would have to be compared.
  return probe.failed() ? pstHandle<psBTree>() : ps::detail::leafFor(*this, probe);
}

pstRef<psBTree> psBTree::previous() const { return ps::detail::previousLeaf(*this).node; }

void psBTree::removeFirst() { remove(pstHandle<psObj>(first())); }

void psBTree::removeLast() { remove(pstHandle<psObj>(last())); }

int psBTree::treeIndex(const pstHandle<psBTree>& leaf) const {
  return ps::detail::isReadable(leaf) ? ps::detail::elementsBefore(*leaf).value_or(-1) : -1;
}
