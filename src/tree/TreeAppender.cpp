#include "tree/TreeAppender.h"

#include <algorithm>
#include <memory>

#include "store/base/MemoryGuard.h"
#include "store/session/SessionCore.h"
#include "tree/InsertionSearch.h"
#include "tree/NewNode.h"
#include "tree/NodeLinks.h"
#include "tree/NodeSplit.h"

namespace ps::detail {

bool TreeAppender::open() {
  if (!levels_.empty() && openedAt_ == changeStamp()) return true;
  levels_.clear();
  if (guardMemory(false, [&] { return openAnew(); })) return true;
  levels_.clear();
  return false;
}

bool TreeAppender::openAnew() {
  pstHandle<psBTree> node = root_;
  for (;;) {
    if (!isReadable(node)) return false;
    const NodeEdit& entries = levels_.emplace_back(std::make_unique<Level>(node))->entries;
    if (!entries.isOpen() || entries.count() == 0) return false;
    if (entries.isLeaf()) break;
    node = childAt(entries, entries.count() - 1, *node);
  }
  openedAt_ = changeStamp();
  return true;
}

void TreeAppender::countOneMore(std::size_t levels) {
  for (std::size_t i = 0; i < levels; ++i) {
    NodeEdit& entries = levels_[i]->entries;
    entries.changeElementsBelow(entries.count() - 1, 1);
  }
}

bool TreeAppender::append(const pstRef<psObj>& element, const pstRef<psObj>& value, const Abbreviation& abbreviation) {
  if (!open()) return false;
  if (leaf().count() >= leaf().capacity()) return appendLeaf(element, value, abbreviation);
  leaf().insert(leaf().count(), element, value, abbreviation);
  countOneMore(levels_.size() - 1);
  return true;
}

bool TreeAppender::appendLeaf(const pstRef<psObj>& element, const pstRef<psObj>& value,
                              const Abbreviation& abbreviation) {
  return guardMemory(false, [&] {
    std::size_t stays = levels_.size() - 1;  // levels whose last node stays the last one
    while (stays > 0 && levels_[stays - 1]->entries.isFull()) --stays;
    if (stays == 0) {
      const int kept = levels_.front()->entries.count() - 1;
      levels_.clear();
      return splitRoot(*root_, kept) == 1 && append(element, value, abbreviation);
    }
    const pstHandle<psTreeAdmin> admin = administratorOf(*root_);
    if (admin.isNull()) return false;
    std::vector<std::unique_ptr<NewNode>> made;
    for (std::size_t level = stays; level < levels_.size(); ++level) {
      const pstHandle<psBTree>& parent = level == stays ? levels_[level - 1]->node : made.back()->node();
      const pstHandle<psBTree> above = parent;
      made.push_back(std::make_unique<NewNode>(*NodeKind::below(*root_)));
      if (!made.back()->create(admin, *above, levels_[level]->entries)) return false;
    }
    made.back()->take(element, value, abbreviation);
    for (std::size_t i = made.size() - 1; i > 0; --i) made[i - 1]->take(*made[i]);
    countOneMore(stays - 1);
    NodeEdit& siblings = levels_[stays - 1]->entries;
    made.front()->insertInto(siblings, siblings.count());
    levels_.clear();
    return true;
  });
}

bool TreeAppender::appendInOrder(KeyProbe& probe, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  if (probe.failed() || element.isNull() || !expectsAscent(*root_)) return false;
  if (!open()) {
    probe.disregardRefusals();  // the last leaf need not concern the key
    return false;
  }
  return appendBehind(probe, element, value);
}

bool TreeAppender::appendBehind(KeyProbe& probe, const pstRef<psObj>& element, const pstRef<psObj>& value) {
  const int count = leaf().count();
  const bool isBehind = count > 0 && isLess(leaf()[count - 1], leaf().abbreviationAt(count - 1), probe);
  Abbreviation abbreviation;
  if (isBehind && leaf().hasAbbreviations()) abbreviation = probe.abbreviation();
  // A comparator is the application's, and may have changed the tree.
  const bool isAsBefore = openedAt_ == changeStamp() && leaf().count() == count;
  if (probe.failed() || !isBehind || !isAsBefore) {
    probe.disregardRefusals();
    return false;
  }
  return append(element, value, abbreviation);
}

bool TreeAppender::isCurrent() const {
  return std::all_of(levels_.begin(), levels_.end(), [](const auto& level) { return level->entries.isCurrent(); });
}

void TreeAppender::restart(psBTree& root) {
  levels_.clear();
  root_ = pstHandle<psBTree>(&root);
  openedAt_ = changeStamp();
}

// The way is opened when nothing has changed since the element before. A comparator may come back here, or end the
// transaction and with it the session's hold on the appender.
bool TreeAppender::appendSingly(psBTree& root, KeyProbe& probe, const pstRef<psObj>& element,
                                const pstRef<psObj>& value) {
  if (probe.failed() || element.isNull() || !expectsAscent(root)) return false;
  SessionCore* const session = SessionCore::current();
  if (session == nullptr) return false;
  const auto kept = std::static_pointer_cast<TreeAppender>(session->transient);
  const bool isInUse = kept.use_count() > 2;
  if (kept == nullptr || isInUse) {
    guardMemory(false, [&] {
      session->transient = std::make_shared<TreeAppender>(root);
      return true;
    });
    return false;
  }
  if (kept->root_ != root.psOid() || kept->openedAt_ != changeStamp() || !kept->isCurrent()) {
    kept->restart(root);
    return false;
  }
  if (!kept->open()) {
    kept->openedAt_ = 0;  // never now: it is not tried again at once
    probe.disregardRefusals();
    return false;
  }
  return kept->leaf().count() < kept->leaf().capacity() && kept->appendBehind(probe, element, value);
}

}  // namespace ps::detail
