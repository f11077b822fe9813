#include "check/TreeChecker.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "arrays/ArrayView.h"
#include "check/CheckedOpen.h"
#include "check/NodeClimb.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/base/IdText.h"
#include "tree/NodeAccess.h"
#include "tree/NodeKind.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {

CheckResult TreeChecker::check(const pstHandle<psBTree>& root, const ObjectSet& taken) {
  TreeChecker checker(root, taken);
  checker.run();
  return std::move(checker.result_);
}

void TreeChecker::run() {
  if (root_.open(pscRead) != 1) return complain(root_, "", "the root cannot be opened");
  sorted_ = !root_->psIsKindOf(psTreeList::pstTypeN);
  isMap_ = root_->psIsKindOf(psTreeMap::pstTypeN);
  if (!openComparator()) return;
  const pstHandle<psUnsortedArray> entries(NodeAccess::elements(*root_));
  if (!opensAs(entries)) return complain(root_, "", "the root has no entries");
  capacity_ = entries->size();
  visit(root_, "", 1);
  if (result_.faults.empty()) checkChain();
  if (result_.faults.empty()) checkWhole();
  checkAdmin();
}

bool TreeChecker::openComparator() {
  comparator_ = root_->comparator();
  const std::string complaint = complaintAbout(comparator_, canCompare_);
  if (!complaint.empty()) complain(root_, "", complaint);
  if (!canCompare_) result_.unchecked = "has a comparator that this program cannot open; its order was not checked";
  OpenComparator opened(comparator_);
  if (canCompare_ && !opened.isNull() && opened.open()) {
    tag_ = opened.tag();
    elementTypeN_ = opened->elementTypeN();
  }
  return complaint.empty();
}

psId TreeChecker::visit(const Node& node, const std::string& path, int level) {
  if (level > 1 && !own(node, path)) return psId();
  if (level > mostLevels || !opensAs(node)) {
    complain(node, path, level > mostLevels ? "has too many levels above it" : "is not a node");
    return psId();
  }
  if (level > 1 && NodeKind::of(*node) != NodeKind::below(*root_)) complain(node, path, "is a node of another class");
  const pstHandle<psUnsortedArray> entries(NodeAccess::elements(*node));
  if (!checkArray(entries, path, !sorted_)) return psId();
  if (level > 1 && entries->isEmpty()) complain(node, path, "it is empty");

  const bool isLeaf = !NodeAccess::first(*node).isNull() || entries->isEmpty();
  if (node->isLeaf() != isLeaf) complain(node, path, "isLeaf() is wrong");
  checkValues(node, *entries, path, isLeaf);
  if (!isLeaf) return visitChildren(node, *entries, path, level);
  visitLeaf(node, *entries, path, level);
  return node.oid();
}

// The leaves of a map have a value for each element, and its root has an array for them that is empty otherwise.
void TreeChecker::checkValues(const Node& node, psUnsortedArray& entries, const std::string& path, bool isLeaf) {
  const pstHandle<psUnsortedArray> values(node->values());
  if (!isMap_ || (!isLeaf && node != root_)) {
    if (!values.isNull()) complain(node, path, "it has values");
    return;
  }
  if (!checkArray(values, path, true)) return;
  if (values->usedSize() != (isLeaf ? entries.usedSize() : 0)) complain(node, path, "not a value for each key");
  if (values.containedIn() != NodeAccess::elements(*node).containedIn())
    complain(values, path, "the values do not lie in the container of the keys");
}

bool TreeChecker::checkArray(const pstHandle<psUnsortedArray>& entries, const std::string& path, bool mayHoldNull) {
  if (!opensAs(entries)) {
    complain(entries, path, "is not an array");
    return false;
  }
  if (!own(entries, path)) return false;
  if (entries->size() != capacity_) complain(entries, path, "its capacity is " + std::to_string(entries->size()));
  const int last = entries->lastIndex();
  if (!fits(*entries)) {
    complain(entries, path, "its last index is " + std::to_string(last));
    return false;
  }
  const ArrayView view(*entries);
  for (int i = 0; i < view.capacity(); ++i) {
    const bool isNull = view[i].isNull();
    if (isNull && i <= last && !mayHoldNull) complain(entries, path, "null at " + std::to_string(i));
    if (!isNull && i > last) complain(entries, path, "a rest at " + std::to_string(i));
  }
  return true;
}

void TreeChecker::visitLeaf(const Node& leaf, psUnsortedArray& entries, const std::string& path, int level) {
  if (depth_ == 0) depth_ = level;
  if (level != depth_)
    complain(leaf, path, "its depth is " + std::to_string(level) + ", not " + std::to_string(depth_));
  leaves_.push_back(leaf.oid());
  size_ += entries.usedSize();
  if (entries.isEmpty()) return;
  const ArrayView view(entries);
  countElements(view, path);
  if (!sorted_) {
    if (NodeAccess::first(*leaf) != leaf) complain(leaf, path, "it does not mark itself");
    return;
  }
  if (NodeAccess::first(*leaf) != entries.first()) complain(leaf, path, "its first is not its entry 0");
  for (int i = 0; i < view.count(); ++i) {
    if (!comparator_.isNull() && (!view[i].isValid() || !complaintAboutElement(view[i], elementTypeN_).empty()))
      continue;
    const std::string at = path + '/' + std::to_string(i);
    checkAscending(view[i], at);
    checkAbbreviation(view[i], view.abbreviationAt(i), at);
  }
}

void TreeChecker::countElements(const ArrayView& elements, const std::string& path) {
  result_.elements += static_cast<unsigned>(elements.count());
  for (int i = 0; i < elements.count(); ++i) {
    if (!elements[i].isNull() && !elements[i].isValid()) ++result_.deleted;
    const std::string complaint = complaintAboutElement(elements[i], elementTypeN_);
    if (!complaint.empty()) complain(elements[i], path, complaint + ", but an element");
  }
}

// An element that was changed in place has another abbreviation than when it was added.
void TreeChecker::checkAbbreviation(const pstRef<psObj>& element, const Abbreviation& noted, const std::string& path) {
  if (tag_ == 0) return;
  const RefusalWatch watch;
  const std::uint64_t made = comparator_->abbreviation(pstHandle<psObj>(element));
  if (watch.metAny()) return;
  if (isOfComparator(noted) && noted.value != made)
    complain(element, path,
             "its abbreviation is " + std::to_string(made) + ", but " + std::to_string(noted.value) + " is kept");
  if (made != 0 && made < separator_) complain(element, path, "a node above keeps a higher abbreviation");
  highest_ = std::max(highest_, made);
}

void TreeChecker::checkSeparator(const Node& node, const Abbreviation& noted, const std::string& path) {
  if (!isOfComparator(noted)) return;
  if (noted.value < highest_) complain(node, path, "the abbreviation that is kept is less than one before");
  separator_ = std::max(separator_, noted.value);
}

void TreeChecker::checkAscending(const pstRef<psObj>& element, const std::string& path) {
  if (!canCompare_) return;
  if (!previous_.isNull()) {
    const pstHandle<psObj> before(previous_);
    const pstHandle<psObj> here(element);
    const RefusalWatch watch;
    const int order = comparator_.isNull() ? psCompare::comparePsId(before, here) : comparator_->compare(before, here);
    if (watch.metAny())
      result_.unchecked = "has elements that cannot be opened; their order was not checked";
    else if (order >= 0)
      complain(element, path, "does not come after " + textOf(previous_));
  }
  previous_ = element;
}

psId TreeChecker::visitChildren(const Node& node, psUnsortedArray& array, const std::string& path, int level) {
  const ArrayView entries(array);
  for (int i = 0; i < entries.count(); ++i) {
    const std::string at = path + '/' + std::to_string(i);
    if (i > 0) checkSeparator(node, entries.abbreviationAt(i), at);
    const Node child = childAbove(entries[i], node);
    if (const psId kept = entries.nodeAt(i); !kept.isNull() && kept != child.oid())
      complain(node, at, "the child is " + textOf(child) + ", but " + textOf(kept) + " is kept");
    const std::int64_t before = size_;
    if (child.isNull()) {
      complain(entries[i], at, "no way up");
    } else if (const psId leftmost = visit(child, at, level + 1); leftmost != entries[i]) {
      complain(node, at, "the entry is " + textOf(entries[i]) + ", the leftmost leaf " + textOf(leftmost));
    }
    const std::uint32_t kept = entries.elementsBelow(i);
    const std::int64_t below = size_ - before;
    if (kept != 0 && kept != below)
      complain(node, at, std::to_string(below) + " elements are below, but " + std::to_string(kept) + " are kept");
  }
  return entries[0];
}

// The leaves know their neighbours.
void TreeChecker::checkChain() {
  for (std::size_t i = 0; i < leaves_.size(); ++i) {
    const Node leaf(leaves_[i]);
    if (leaf.open(pscRead) != 1) return complain(leaf, "", "cannot be opened");
    const psId before = i > 0 ? leaves_[i - 1] : psId();
    const psId after = i + 1 < leaves_.size() ? leaves_[i + 1] : psId();
    if (leaf->previous() != before) complain(leaf, "", "previous() is " + textOf(leaf->previous()));
    if (leaf->next() != after) complain(leaf, "", "next() is " + textOf(leaf->next()));
  }
}

void TreeChecker::checkWhole() {
  if (size_ > std::numeric_limits<int>::max()) return complain(root_, "", "it has more elements than can be counted");
  if (root_->size() != size_)
    complain(root_, "", "size() is " + std::to_string(root_->size()) + ", not " + std::to_string(size_));
  if (root_->depth() != depth_) complain(root_, "", "depth() is " + std::to_string(root_->depth()));
  if (root_->atFirst() != leaves_.front()) complain(root_, "", "atFirst() is " + textOf(root_->atFirst()));
  if (root_->atLast() != leaves_.back()) complain(root_, "", "atLast() is " + textOf(root_->atLast()));
}

void TreeChecker::checkAdmin() {
  const pstHandle<psTreeAdmin> admin(root_->admin().oid());
  if (!opensAs(admin)) return complain(root_, "", textOf(admin) + " is not an administrator");
  own(admin, "");
}

void TreeChecker::complain(const psId& id, const std::string& path, const std::string& what) {
  result_.complain({id, textOf(id) + (path.empty() ? "" : " at " + path) + ": " + what});
}

bool TreeChecker::own(const psId& id, const std::string& path) {
  if (taken_.contains(id)) {
    complain(id, path, complaintAboutTaken);
    return false;
  }
  const bool isFirst = result_.owned.insert(id);
  if (!isFirst) complain(id, path, "is owned twice");
  return isFirst;
}

}  // namespace ps::detail
