#include "support/TreeChecker.h"

#include <unordered_set>

#include "arrays/ArrayView.h"
#include "core/psCompare.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/pstItr.h"
#include "support/HashChecker.h"
#include "tree/NodeAccess.h"
#include "tree/psTreeAdmin.h"

namespace ps::detail {

namespace {

using Faults = std::vector<std::string>;
using Ids = std::unordered_set<std::uint64_t>;

std::string text(const psId& id) {
  return std::to_string(id.get_DB()) + '-' + std::to_string(id.get_OC()) + '-' + std::to_string(id.get_page()) + '-' +
         std::to_string(id.get_slot());
}

// One walk over one tree.
class TreeWalk {
 public:
  explicit TreeWalk(const pstHandle<psBTree>& root) : root_(root) {}

  void run();

  Faults faults;
  Ids owned;  // nodes below the root, arrays, the administrator

 private:
  // Checks the subtree of a node and returns its leftmost leaf.
  psId visit(const pstHandle<psBTree>& node, const std::string& path, int level);
  void visitLeaf(const pstHandle<psBTree>& leaf, psUnsortedArray& entries, const std::string& path, int level);
  psId visitChildren(const pstHandle<psBTree>& node, psUnsortedArray& entries, const std::string& path, int level);
  // The child of node that the leaf lies below; null when the parents do not lead there.
  static pstHandle<psBTree> childAbove(const psId& leaf, const pstHandle<psBTree>& node);
  bool checkArray(const pstHandle<psUnsortedArray>& entries, const std::string& path, bool mayHoldNull);
  void checkValues(const pstHandle<psBTree>& node, psUnsortedArray& entries, const std::string& path, bool isLeaf);
  void checkAscending(const pstRef<psObj>& element, const std::string& path);
  void checkChain();
  void checkWhole();
  void checkAdmin();

  void complain(const std::string& path, const std::string& what) { faults.push_back(path + ": " + what); }
  void own(const psId& id, const std::string& path) {
    if (!owned.insert(id.bits()).second) complain(path, text(id) + " is owned twice");
  }

  pstHandle<psBTree> root_;
  pstHandle<psCompare> comparator_;
  bool sorted_ = false;
  bool isMap_ = false;
  int capacity_ = 0;
  int depth_ = 0;
  int size_ = 0;
  pstRef<psObj> previous_;
  std::vector<psId> leaves_;
};

void TreeWalk::run() {
  if (root_.open(pscRead) != 1) return complain("/", "the root cannot be opened");
  sorted_ = !root_->psIsKindOf(psTreeList::pstTypeN);
  isMap_ = root_->psIsKindOf(psTreeMap::pstTypeN);
  comparator_ = root_->comparator();
  const pstHandle<psUnsortedArray> entries(NodeAccess::elements(*root_));
  if (entries.open(pscRead) != 1) return complain("/", "the root has no entries");
  capacity_ = entries->size();
  visit(root_, "", 1);
  if (faults.empty()) checkChain();
  if (faults.empty()) checkWhole();
  checkAdmin();
}

psId TreeWalk::visit(const pstHandle<psBTree>& node, const std::string& path, int level) {
  if (level > 1) own(node.oid(), path);
  if (node.open(pscRead) != 1 || !node->psIsKindOf(psBTree::pstTypeN)) {
    complain(path, text(node.oid()) + " is not a node");
    return psId();
  }
  const pstHandle<psUnsortedArray> entries(NodeAccess::elements(*node));
  if (!checkArray(entries, path, !sorted_)) return psId();
  if (level > 1 && entries->isEmpty()) complain(path, "it is empty");

  const bool isLeaf = !NodeAccess::first(*node).isNull() || entries->isEmpty();
  if (node->isLeaf() != isLeaf) complain(path, "isLeaf() is wrong");
  checkValues(node, *entries, path, isLeaf);
  if (!isLeaf) return visitChildren(node, *entries, path, level);
  visitLeaf(node, *entries, path, level);
  return node.oid();
}

// The leaves of a map have a value for each element, and its root has an array for them that is empty otherwise.
void TreeWalk::checkValues(const pstHandle<psBTree>& node, psUnsortedArray& entries, const std::string& path,
                           bool isLeaf) {
  const pstHandle<psUnsortedArray> values(node->values());
  if (!isMap_ || (!isLeaf && node != root_)) {
    if (!values.isNull()) complain(path, "it has values");
    return;
  }
  if (!checkArray(values, path, true)) return;
  if (values->usedSize() != (isLeaf ? entries.usedSize() : 0)) complain(path, "not a value for each key");
  if (values.containedIn() != NodeAccess::elements(*node).containedIn()) complain(path, "values are not near keys");
}

bool TreeWalk::checkArray(const pstHandle<psUnsortedArray>& entries, const std::string& path, bool mayHoldNull) {
  if (ptmIsKindOf(entries.typeN(), psUnsortedArray::pstTypeN) == 0 || entries.open(pscRead) != 1) {
    complain(path, text(entries.oid()) + " is not an array");
    return false;
  }
  own(entries.oid(), path);
  if (entries->size() != capacity_) complain(path, "its capacity is " + std::to_string(entries->size()));
  if (entries->lastIndex() < -1 || entries->lastIndex() >= entries->size()) {
    complain(path, "its last index is " + std::to_string(entries->lastIndex()));
    return false;
  }
  for (int i = 0; i < entries->size(); ++i) {
    if ((*entries)[i].isNull() && i <= entries->lastIndex() && !mayHoldNull)
      complain(path, "null at " + std::to_string(i));
    if (!(*entries)[i].isNull() && i > entries->lastIndex()) complain(path, "a rest at " + std::to_string(i));
  }
  return true;
}

void TreeWalk::visitLeaf(const pstHandle<psBTree>& leaf, psUnsortedArray& entries, const std::string& path, int level) {
  if (depth_ == 0) depth_ = level;
  if (level != depth_) complain(path, "its depth is " + std::to_string(level) + ", not " + std::to_string(depth_));
  leaves_.push_back(leaf.oid());
  size_ += entries.usedSize();
  if (!sorted_ && NodeAccess::first(*leaf) != leaf && !entries.isEmpty()) complain(path, "it does not mark itself");
  if (sorted_) {
    if (!entries.isEmpty() && NodeAccess::first(*leaf) != entries.first())
      complain(path, "its first is not its entry 0");
    for (int i = 0; i <= entries.lastIndex(); ++i) checkAscending(entries[i], path + '/' + std::to_string(i));
  }
}

void TreeWalk::checkAscending(const pstRef<psObj>& element, const std::string& path) {
  if (!comparator_.isNull() && !element.isValid()) return;
  if (!previous_.isNull()) {
    const pstHandle<psObj> before(previous_);
    const pstHandle<psObj> here(element);
    const int order = comparator_.isNull() ? psCompare::comparePsId(before, here) : comparator_->compare(before, here);
    if (order >= 0) complain(path, text(element) + " does not come after " + text(previous_));
  }
  previous_ = element;
}

psId TreeWalk::visitChildren(const pstHandle<psBTree>& node, psUnsortedArray& entries, const std::string& path,
                             int level) {
  for (int i = 0; i <= entries.lastIndex(); ++i) {
    const std::string at = path + '/' + std::to_string(i);
    const pstHandle<psBTree> child = childAbove(entries[i], node);
    if (child.isNull()) {
      complain(at, "no way up from " + text(entries[i]));
    } else if (const psId leftmost = visit(child, at, level + 1); leftmost != entries[i]) {
      complain(at, "the entry is " + text(entries[i]) + ", the leftmost leaf " + text(leftmost));
    }
  }
  return entries.first();
}

pstHandle<psBTree> TreeWalk::childAbove(const psId& leaf, const pstHandle<psBTree>& node) {
  pstHandle<psBTree> child(leaf);
  for (int steps = 0; steps < 64; ++steps) {
    if (child.open(pscRead) != 1 || !child->psIsKindOf(psBTree::pstTypeN)) break;
    const pstHandle<psBTree> above = child->parent();
    if (above == node) return child;
    child = above;
  }
  return {};
}

// The leaves know their neighbours.
void TreeWalk::checkChain() {
  for (std::size_t i = 0; i < leaves_.size(); ++i) {
    const pstHandle<psBTree> leaf(leaves_[i]);
    if (leaf.open(pscRead) != 1) return complain(text(leaves_[i]), "cannot be opened");
    const psId before = i > 0 ? leaves_[i - 1] : psId();
    const psId after = i + 1 < leaves_.size() ? leaves_[i + 1] : psId();
    if (leaf->previous() != before) complain(text(leaves_[i]), "previous() is " + text(leaf->previous()));
    if (leaf->next() != after) complain(text(leaves_[i]), "next() is " + text(leaf->next()));
  }
}

void TreeWalk::checkWhole() {
  if (root_->size() != size_)
    complain("/", "size() is " + std::to_string(root_->size()) + ", not " + std::to_string(size_));
  if (root_->depth() != depth_) complain("/", "depth() is " + std::to_string(root_->depth()));
  if (root_->atFirst() != leaves_.front()) complain("/", "atFirst() is " + text(root_->atFirst()));
  if (root_->atLast() != leaves_.back()) complain("/", "atLast() is " + text(root_->atLast()));
}

void TreeWalk::checkAdmin() {
  const pstHandle<psObj> admin(root_->admin());
  if (admin.open(pscRead) != 1 || !admin->psIsKindOf(psTreeAdmin::pstTypeN)) {
    return complain("/", text(admin.oid()) + " is not an administrator");
  }
  own(admin.oid(), "/");
}

// What is found in one federation.
class Census {
 public:
  Faults take(const pstHandle<psFDObj>& federation);

 private:
  template <class Visit>
  void forEachContainer(const pstHandle<psFDObj>& federation, Visit visit);
  void noteOwned(const psId& container);
  void complainOfOrphans(const psId& container);

  Faults faults_;
  Ids owned_;
  Ids current_;  // containers that administrators will fill next
};

Faults Census::take(const pstHandle<psFDObj>& federation) {
  forEachContainer(federation, [this](const psId& container) { noteOwned(container); });
  forEachContainer(federation, [this](const psId& container) { complainOfOrphans(container); });
  return faults_;
}

template <class Visit>
void Census::forEachContainer(const pstHandle<psFDObj>& federation, Visit visit) {
  pstItr<psDBObj> database;
  for (database.scan(federation, pscNoOpen); database.next();) {
    pstItr<psContObj> container;
    for (container.scan(database, pscNoOpen); container.next();) visit(container.oid());
  }
}

void Census::noteOwned(const psId& container) {
  pstItr<psBTree> root;
  for (root.scan(pstHandle<psObj>(container), pscRead); root.next();) {
    if (!root->psIsKindOf(psTreeSet::pstTypeN) && !root->psIsKindOf(psTreeList::pstTypeN)) continue;
    TreeWalk walk(root);
    walk.run();
    owned_.merge(walk.owned);
    owned_.insert(root.oid().bits());
    const pstHandle<psTreeAdmin> admin(root->admin());
    if (admin.open(pscRead) != 1) continue;
    current_.insert(admin->nodeContainer().oid().bits());
    current_.insert(admin->vArrayContainer().oid().bits());
  }
  pstItr<psHashSet> table;
  for (table.scan(pstHandle<psObj>(container), pscRead); table.next();) {
    checkTable(table, &owned_);
    owned_.insert(table.oid().bits());
    const pstHandle<psHashAdmin> admin(table->admin());
    if (admin.open(pscRead) == 1) current_.insert(admin->bucketContainer().oid().bits());
  }
}

void Census::complainOfOrphans(const psId& container) {
  bool empty = true;
  pstItr<psObj> object;
  for (object.scan(pstHandle<psObj>(container), pscNoOpen); object.next();) {
    empty = false;
    const unsigned int type = object.typeN();
    const bool isOurs = (type >= 4010 && type <= 4029 && type != psCompare::pstTypeN);
    if (isOurs && owned_.count(object.oid().bits()) == 0) {
      faults_.push_back(text(object.oid()) + ": nobody owns this object of class " + std::to_string(type));
    }
  }
  const pstHandle<psContObj> handle(container);
  if (empty && handle.name() == nullptr && ptmIsKindOf(handle.typeN(), psGCContObj::pstTypeN) == 0 &&
      current_.count(container.bits()) == 0) {
    faults_.push_back(text(container) + ": an empty container without a name");
  }
}

}  // namespace

Faults checkTree(const pstHandle<psBTree>& root) {
  TreeWalk walk(root);
  walk.run();
  return walk.faults;
}

Faults checkOrphans(const pstHandle<psFDObj>& federation) { return Census().take(federation); }

}  // namespace ps::detail

namespace ps::test {

namespace {

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

}  // namespace

std::string faultsOf(const pstHandle<psBTree>& root) { return joined(ps::detail::checkTree(root)); }

std::string slackOf(const pstHandle<psBTree>& root) {
  std::string slack;
  int height = 1;
  for (pstHandle<psBTree> level(root->atFirst()); !level.isNull(); level = level->parent(), ++height) {
    for (pstHandle<psBTree> node = level, next; !node.isNull(); node = next) {
      next = node->next();
      if (!next.isNull() && !node->isFull()) slack += "a node of height " + std::to_string(height) + " has room\n";
    }
  }
  const ps::detail::ArrayView top(ps::detail::NodeAccess::elements(*root));
  if (root->depth() > 2 && top.count() == 1) slack += "the root has one child\n";
  return slack;
}

std::string orphansOf(const psSession& session) { return joined(ps::detail::checkOrphans(session.federation())); }

int containersOf(psSession& session) {
  int count = 0;
  pstItr<psContObj> container;
  for (container.scan(session.database("test"), pscNoOpen); container.next();) ++count;
  return count;
}

}  // namespace ps::test
