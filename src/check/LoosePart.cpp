#include "check/LoosePart.h"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "arrays/ArrayView.h"
#include "check/NodeClimb.h"
#include "hash/HashAccess.h"
#include "store/base/IdText.h"
#include "tree/NodeAccess.h"

namespace ps::detail {

namespace {

// Even when each level above keeps as many, the numbers of elements add up to an int.
constexpr std::int64_t mostElements = std::numeric_limits<int>::max() / mostLevels;

bool leadsInCircle(const pstHandle<psBTree>& node) {
  pstHandle<psBTree> above = node;
  for (int steps = 0; steps < mostLevels; ++steps) {
    if (!opensAs(above)) return false;
    above = above->parent();
  }
  return true;
}

bool canCount(const psHashBucket& bucket) {
  const int chained = HashAccess::chained(bucket);
  const int unchained = HashAccess::unchained(bucket);
  return chained >= 0 && unchained >= 0 && std::int64_t{chained} + unchained <= mostElements;
}

}  // namespace

template <class T>
bool LoosePart::leadsTo(const psId& node, const pstHandle<T>& to) {
  const std::string complaint = complaintAboutClass(to, T::pstTypeN);
  if (!complaint.empty()) complain(node, "it leads to " + textOf(to) + ", which " + complaint);
  return opensAs(to);
}

CheckResult LoosePart::check(const psId& part, const ObjectSet& taken) {
  LoosePart checker(taken);
  const pstHandle<psUnsortedArray> array(part);
  if (opensAs(array) && !fits(*array))
    checker.complain(part, "its last index is " + std::to_string(array->lastIndex()));
  const pstHandle<psHashBucket> bucket(part);
  if (opensAs(bucket) && !canCount(*bucket)) checker.complain(part, "it miscounts its elements");
  const pstHandle<psBTree> node(part);
  if (opensAs(node)) checker.checkNode(node);
  return std::move(checker.result_);
}

void LoosePart::checkNode(const pstHandle<psBTree>& node) {
  if (leadsInCircle(node)) return complain(node, "has too many levels above it");
  leadsTo(node, node->parent());
  leadsTo(node, pstHandle<psUnsortedArray>(node->values()));
  // Whether the array has room for its elements is found where it is a part itself.
  const pstHandle<psUnsortedArray> array(NodeAccess::elements(*node));
  if (!leadsTo(node, array) || !fits(*array) || !NodeAccess::first(*node).isNull()) return;
  if (taken_.contains(array)) return complain(node, complaintAboutTaken);
  result_.owned.insert(array);
  checkChildren(node, array);
}

// Children that exist lie below this node, each once, so that there are no more ways through them than nodes.
void LoosePart::checkChildren(const pstHandle<psBTree>& node, const pstHandle<psUnsortedArray>& array) {
  const ArrayView entries(array);
  ObjectSet children;
  std::int64_t elements = 0;
  for (int i = 0; i < entries.count(); ++i) {
    elements += entries.elementsBelow(i);
    if (!leadsTo(node, pstHandle<psBTree>(entries[i]))) continue;
    const pstHandle<psBTree> child = childAbove(entries[i], node);
    if (child.isNull() || !children.insert(child)) complain(entries[i], "no way up, or a second one");
  }
  if (elements > mostElements) complain(node, "it miscounts its elements");
}

void LoosePart::complain(const psId& id, const std::string& what) { result_.complain({id, textOf(id) + ": " + what}); }

}  // namespace ps::detail
