#include "tree/NewNode.h"

#include "store/base/NothingThrown.h"
#include "store/session/SeveralWriters.h"

namespace ps::detail {

bool NewNode::create(const pstHandle<psTreeAdmin>& admin, const psBTree& parent, const NodeEdit& beside) {
  // Where each page is a round trip and a change of it a conflict, a node is in the page of its elements.
  const bool isBesideElements = hasSeveralWriters();
  const pstRef<psContObj> nodeContainer = isBesideElements ? pstRef<psContObj>() : admin->provideNodeContainer();
  if (!isBesideElements && (nodeContainer.isNull() || !containers_.secure(nodeContainer))) return false;
  const pstRef<psContObj> arrayContainer = admin->provideVArrayContainer();
  if (arrayContainer.isNull() || !containers_.secure(arrayContainer)) return false;
  const Rows rows = (beside.hasAbbreviations() ? Rows::abbreviations : Rows::none) |
                    (beside.knowsNodes() ? Rows::nodes : Rows::none) |
                    (beside.isLeaf() || !beside.keepsCounts() ? Rows::none : Rows::counts);
  elementArray_ = kind_.createElements(arrayContainer, beside.capacity(), rows);
  if (elementArray_.isNull()) return false;
  if (beside.hasValues()) {
    valueArray_ = createValuesBeside(elementArray_, beside.capacity());
    if (valueArray_.isNull()) return false;
  }
  const pstRef<psObj> near = isBesideElements ? pstRef<psObj>(elementArray_) : pstRef<psObj>(nodeContainer);
  node_ = kind_.createNode(near, {parent.psOid(), elementArray_, valueArray_});
  if (node_.isNull()) return false;
  entries_.emplace(*node_);
  return entries_->isOpen() && entries_->capacity() >= beside.capacity();
}

void NewNode::take(const NodeEdit& source, const OpenChildren& children, int begin, int end) {
  kept_ = true;
  entries_->append(source, begin, end - begin);
  if (source.isLeaf()) NodeAccess::initFirst(*node_, kind_.leafMark(*node_, source[begin]));
  children.giveTo(node_, begin, end);
  name_ = source.isLeaf() ? pstRef<psObj>(node_) : source[begin];
  separator_ = begin > 0 ? source.abbreviationAt(begin) : Abbreviation{};
  elements_ = source.elementsIn(begin, end - begin);
}

void NewNode::take(const pstRef<psObj>& element, const pstRef<psObj>& value, const Abbreviation& abbreviation) {
  kept_ = true;
  entries_->insert(0, element, value, abbreviation);
  NodeAccess::initFirst(*node_, kind_.leafMark(*node_, element));
  name_ = node_;
  separator_ = abbreviation;
  elements_ = 1;
}

void NewNode::take(const NewNode& child) {
  kept_ = true;
  entries_->insertChild(0, child.node_.oid(), child.name_, {}, child.elements_);
  name_ = child.name_;
  separator_ = child.separator_;
  elements_ = child.elements_;
}

void NewNode::discard() {
  const NothingThrown here;
  entries_.reset();
  pstHandle<psObj>* const parts[] = {&elementArray_, &valueArray_, &node_};
  for (pstHandle<psObj>* const part : parts) {
    if (!part->isNull()) psDelete(*part);
  }
  containers_.release();
}

}  // namespace ps::detail
