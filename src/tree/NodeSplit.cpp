#include "tree/NodeSplit.h"

#include <optional>

#include "core/Containers.h"
#include "store/base/NothingThrown.h"
#include "tree/NodeEdit.h"
#include "tree/NodeLinks.h"
#include "tree/OpenChildren.h"

namespace ps::detail {

namespace {

// A full node about to be split, with all that leaves it: open for update.
class SplitSource {
 public:
  explicit SplitSource(const psBTree& node) : node_(node), entries_(node) {}

  // Opens the children that the entries from `moved` on stand for. False when something is refused, or when the node is
  // not full or has nothing to move.
  bool open(int moved) {
    if (!entries_.isOpen() || !entries_.isFull() || moved >= entries_.count()) return false;
    return children_.open(node_, entries_, moved, entries_.count());
  }

  NodeEdit& entries() { return entries_; }
  const OpenChildren& children() const { return children_; }

  // What the node is named by in its parent.
  psId name() const { return entries_.isLeaf() ? node_.psOid() : entries_[0].oid(); }

 private:
  const psBTree& node_;
  NodeEdit entries_;
  OpenChildren children_;
};

// A node made for a split. It is deleted again, with its arrays and the containers that this leaves empty, unless the
// split keeps it. Its handles are made from addresses, so that neither use nor deletion opens anything but the
// edits.
class NewNode {
 public:
  explicit NewNode(const NodeKind& kind) : kind_(kind) {}
  NewNode(const NewNode&) = delete;
  NewNode& operator=(const NewNode&) = delete;
  ~NewNode() {
    if (!kept_) discard();
  }

  // Makes a node that can take over from source.
  bool create(const pstHandle<psTreeAdmin>& admin, const psBTree& parent, const NodeEdit& source) {
    const pstRef<psContObj> nodeContainer = admin->provideNodeContainer();
    if (nodeContainer.isNull() || !containers_.secure(nodeContainer)) return false;
    const pstRef<psContObj> arrayContainer = admin->provideVArrayContainer();
    if (arrayContainer.isNull() || !containers_.secure(arrayContainer)) return false;
    const Rows rows =
        (source.hasAbbreviations() ? Rows::abbreviations : Rows::none) | (source.isLeaf() ? Rows::none : Rows::counts);
    elementArray_ = kind_.createElements(arrayContainer, source.capacity(), rows);
    if (elementArray_.isNull()) return false;
    if (source.hasValues()) {
      valueArray_ = createValuesBeside(elementArray_, source.capacity());
      if (valueArray_.isNull()) return false;
    }
    node_ = kind_.createNode(nodeContainer, {parent.psOid(), elementArray_, valueArray_});
    if (node_.isNull()) return false;
    entries_.emplace(*node_);
    return entries_->isOpen() && entries_->capacity() >= source.capacity();
  }

  // Takes over the entries from begin to end, which source then gives up; nothing in it can be refused.
  void take(SplitSource& source, int begin, int end) {
    kept_ = true;
    const NodeEdit& entries = source.entries();
    entries_->append(entries, begin, end - begin);
    if (entries.isLeaf()) NodeAccess::initFirst(*node_, kind_.leafMark(*node_, entries[begin]));
    source.children().giveTo(node_, begin, end);
    name_ = entries.isLeaf() ? pstRef<psObj>(node_) : entries[begin];
    separator_ = begin > 0 ? entries.abbreviationAt(begin) : Abbreviation{};
    elements_ = entries.elementsIn(begin, end - begin);
  }

  // Inserts it among the entries of its parent.
  void insertInto(NodeEdit& parent, int i) const { parent.insertChild(i, name_, separator_, elements_); }

 private:
  void discard() {
    const NothingThrown here;
    entries_.reset();
    pstHandle<psObj>* const parts[] = {&elementArray_, &valueArray_, &node_};
    for (pstHandle<psObj>* const part : parts) {
      if (!part->isNull()) psDelete(*part);
    }
    containers_.release();
  }

  const NodeKind& kind_;
  pstHandle<psUnsortedArray> elementArray_;
  pstHandle<psUnsortedArray> valueArray_;
  pstHandle<psBTree> node_;
  std::optional<NodeEdit> entries_;
  ContainerRelease containers_;
  pstRef<psObj> name_;      // what the parent names the node by
  Abbreviation separator_;  // the abbreviation beside that name
  ElementCount elements_;   // in or below the node
  bool kept_ = false;
};

}  // namespace

int keptInList(int where, int capacity, int keptAtStart) {
  if (where == within) return capacity / 2;
  return where == atEnd ? capacity - 1 : keptAtStart;
}

int splitRoot(psBTree& root, int kept) {
  const pstHandle<psBTree> self = handleTo(root);
  SplitSource source(root);
  NodeEdit& entries = source.entries();
  if (kept < 1 || !source.open(0) || kept >= entries.count() || self.open(pscUpdate) != 1) return 0;
  const pstHandle<psTreeAdmin> admin = administratorOf(root);
  if (admin.isNull()) return 0;
  const NodeKind& kind = *NodeKind::below(root);
  NewNode left(kind);
  NewNode right(kind);
  if (!left.create(admin, root, entries) || !right.create(admin, root, entries) || !entries.provideCounts()) return 0;

  left.take(source, 0, kept);
  right.take(source, kept, entries.count());
  NodeAccess::initFirst(root, pstRef<psObj>());
  entries.becomeInterior();
  left.insertInto(entries, 0);
  right.insertInto(entries, 1);
  return 1;
}

int splitNode(psBTree& node, int kept, const NodeKind& kind) {
  const pstHandle<psBTree> self = handleTo(node);
  const pstHandle<psBTree> parent = node.parent();
  if (kept < 1 || !isReadable(parent)) return 0;
  const ArrayView above(NodeAccess::elements(*parent));
  if (!above.isOpen()) return 0;
  if (above.isFull()) return parent->full(0);

  SplitSource source(node);
  NodeEdit& entries = source.entries();
  NodeEdit siblings(*parent);
  if (!source.open(kept) || !siblings.isOpen()) return 0;
  const int index = siblings.find(source.name());
  if (index < 0) return 0;
  const pstHandle<psTreeAdmin> admin = administratorOf(node);
  if (admin.isNull()) return 0;
  NewNode sibling(kind);
  if (!sibling.create(admin, *parent, entries) || (!entries.isLeaf() && !entries.provideCounts())) return 0;

  sibling.take(source, kept, entries.count());
  entries.truncate(kept);
  siblings.setElementsBelow(index, entries.elementsIn(0, kept));
  sibling.insertInto(siblings, index + 1);
  return 1;
}

}  // namespace ps::detail
