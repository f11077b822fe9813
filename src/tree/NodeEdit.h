#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "arrays/ArrayEdit.h"
#include "store/session/SeveralWriters.h"
#include "tree/NodeAccess.h"
#include "tree/TreeShape.h"

namespace ps::detail {

// Whether nodes with such arrays keep how many elements there are below. Where every change of an ancestor is a
// conflict for all others, only lists do, whose elements are found by it.
inline bool keepsCounts(const ArrayEdit& elements) { return !hasSeveralWriters() || !elements.isSorted(); }

// The entries of a node, open for update: its elements and, in a leaf of a map, their values, which every operation
// keeps in step. Once isOpen() is true, no operation of the edit can be refused.
class NodeEdit {
 public:
  explicit NodeEdit(const psBTree& node) : node_(node), elements_(NodeAccess::elements(node)) {
    if (!elements_.isOpen()) return;
    isLeaf_ = !NodeAccess::first(node).isNull() || elements_.count() == 0;
    const pstRef<psUnsortedArray> values = isLeaf_ ? node.values() : pstRef<psUnsortedArray>();
    if (!values.isNull()) values_.emplace(values);
  }

  bool isOpen() const {
    return elements_.isOpen() && (!values_ || (values_->isOpen() && values_->count() == elements_.count()));
  }

  // See ArrayEdit::isCurrent.
  bool isCurrent() const { return elements_.isCurrent() && (!values_ || values_->isCurrent()); }

  bool isLeaf() const { return isLeaf_; }
  bool hasValues() const { return values_.has_value(); }
  int count() const { return elements_.count(); }
  int capacity() const { return values_ ? std::min(elements_.capacity(), values_->capacity()) : elements_.capacity(); }
  bool isFull() const { return elements_.isFull(); }
  const pstRef<psObj>& operator[](int i) const { return elements_[i]; }
  int find(const psId& object) const { return elements_.find(object); }
  // The value of an element; null where there are no values.
  pstRef<psObj> valueAt(int i) const { return values_ ? (*values_)[i] : pstRef<psObj>(); }

  // Opens a leaf for update when its mark is its lowest element. This must be done before that element changes. False
  // when it is refused. A list's leaf marks itself and needs nothing. The array tells the two apart, and not the mark,
  // since a set may be its own lowest element.
  bool openMark() {
    if (!elements_.isSorted()) return true;
    marked_ = pstHandle<psBTree>(&node_);
    return marked_.open(pscUpdate) == 1;
  }
  // Updates a mark that was opened.
  void renewMark() {
    if (!marked_.isNull()) NodeAccess::setFirst(*marked_, count() > 0 ? elements_[0] : pstRef<psObj>());
  }

  // See AbbreviationRow for abbreviations.
  Abbreviation abbreviationAt(int i) const { return elements_.abbreviationAt(i); }
  bool hasAbbreviations() const { return elements_.hasAbbreviations(); }

  // The number of elements in or below n of its entries, starting at i.
  ElementCount elementsIn(int i, int n) const {
    if (isLeaf_) return n;
    ElementCount sum = 0;
    for (int end = i + n; i < end && sum; ++i) {
      const std::uint32_t below = elements_.elementsBelow(i);
      sum = below != 0 ? ElementCount(*sum + below) : std::nullopt;
    }
    return sum;
  }
  void setElementsBelow(int i, const ElementCount& n) {
    elements_.setElementsBelow(i, keepsCounts() ? n : std::nullopt);
  }
  bool keepsCounts() const { return ps::detail::keepsCounts(elements_); }
  void changeElementsBelow(int i, const ElementCount& difference) { elements_.changeElementsBelow(i, difference); }
  // Makes room for these numbers in a node that has or is about to have children. Addresses of its entries end.
  bool provideCounts() { return !keepsCounts() || elements_.provide(Rows::counts); }

  // The child that an entry stands for, where it is known; see ArrayEdit::nodeAt. Only where reading the leaf that
  // names it costs a round trip is that kept.
  psId nodeAt(int i) const { return elements_.nodeAt(i); }
  void setNode(int i, const psId& node) { elements_.setNode(i, node); }
  bool knowsNodes() const {
    int i = 0;
    while (i < count() && nodeAt(i).isNull()) ++i;
    return i < count();
  }
  // The same for these.
  bool provideNodes() { return !hasSeveralWriters() || elements_.provide(Rows::nodes); }

  // For a leaf.
  void insert(int i, const pstRef<psObj>& element, const pstRef<psObj>& value, const Abbreviation& abbreviation) {
    elements_.insert(i, element, abbreviation);
    if (values_) values_->insert(i, value);
  }

  // For a node with children.
  void insertChild(int i, const psId& child, const pstRef<psObj>& name, const Abbreviation& separator,
                   const ElementCount& below) {
    noteShapeChange();
    elements_.insert(i, name, separator);
    setElementsBelow(i, below);
    if (name != child) setNode(i, child);
  }

  // For a leaf.
  void put(int i, const pstRef<psObj>& element) { elements_.put(i, element); }

  // Removes n entries, starting at i.
  void erase(int i, int n = 1) {
    if (!isLeaf_) noteShapeChange();
    elements_.erase(i, n);
    if (values_) values_->erase(i, n);
  }

  // Keeps only the first n entries.
  void truncate(int n) { erase(n, count() - n); }

  // Empties the node. From now on its entries name children.
  void becomeInterior() {
    truncate(0);
    values_.reset();
    isLeaf_ = false;
  }

  // Appends n entries of another node, starting at i. They stay in that node too.
  void append(const NodeEdit& source, int i, int n) {
    const int end = count();
    elements_.append(source.elements_, i, n);
    // That of a first child means nothing.
    if (!isLeaf_ && i == 0) elements_.abbreviate(end, {});
    if (values_) values_->append(*source.values_, i, n);
  }

 private:
  const psBTree& node_;
  ArrayEdit elements_;
  std::optional<ArrayEdit> values_;
  pstHandle<psBTree> marked_;
  bool isLeaf_ = false;
};

}  // namespace ps::detail
