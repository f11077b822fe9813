#include <gtest/gtest.h>

#include <functional>

#include "arrays/ArrayEdit.h"
#include "sorted/psBTreeNode.h"
#include "support/SetWorld.h"
#include "support/TreeChecker.h"
#include "tree/NodeAccess.h"

// A checker that finds nothing proves nothing: here it must find.
namespace ps::test {
namespace {

using ps::detail::ArrayEdit;
using ps::detail::NodeAccess;
using Node = pstHandle<psBTree>;

ArrayEdit entriesOf(const Node& node) { return ArrayEdit(NodeAccess::elements(*node)); }

struct Damage {
  const char* complaint;
  std::function<void(SetWorld& world, const Node& leaf)>
      inflict;  // on a leaf in the middle of a tree of three levels or more
};

const Damage damages[] = {
    {"does not come after",
     [](SetWorld&, const Node& leaf) {
       ArrayEdit entries = entriesOf(leaf);
       const pstRef<psObj> second = entries[1];
       entries.erase(1);
       entries.insert(0, second);
       NodeAccess::setFirst(*leaf, second);
     }},
    {"does not come after", [](SetWorld&, const Node& leaf) { entriesOf(leaf).append(leaf->first()); }},
    {"no way up", [](SetWorld&, const Node& leaf) { leaf->parent(leaf); }},
    {"no way up", [](SetWorld& world, const Node& leaf) { leaf->parent()->parent(world.set->atLast()); }},
    {"its depth is",
     [](SetWorld& world, const Node& leaf) {
       const Node top = leaf->childOf(world.set);
       const pstHandle<psBTree> low(top->atFirst());
       low->parent(world.set);
     }},
    {"the leftmost leaf",
     [](SetWorld&, const Node& leaf) { entriesOf(leaf->parent()->parent()).put(1, pstRef<psObj>(leaf)); }},
    {"its first is not",
     [](SetWorld&, const Node& leaf) {
       const pstRef<psObj> second = entriesOf(leaf)[1];
       leaf->first(pstHandle<psObj>(second));
     }},
    {"it is empty",
     [](SetWorld&, const Node& leaf) {
       ArrayEdit entries = entriesOf(leaf);
       entries.erase(0, entries.count());
     }},
    {"null at 1", [](SetWorld&, const Node& leaf) { entriesOf(leaf).put(1, pstRef<psObj>()); }},
    {"a rest at",
     [](SetWorld&, const Node& leaf) {
       const pstHandle<psUnsortedArray> array(NodeAccess::elements(*leaf));
       array.open(pscUpdate);
       (*array)[array->lastIndex() + 1] = leaf->first();
     }},
    {"its capacity is",
     [](SetWorld&, const Node& leaf) { pstHandle<psUnsortedArray>(NodeAccess::elements(*leaf))->resize(9); }},
    {"is not an array",
     [](SetWorld&, const Node& leaf) { NodeAccess::setElements(*leaf, pstRef<psUnsortedArray>(leaf->first())); }},
    {"is owned twice",
     [](SetWorld&, const Node& leaf) {
       NodeAccess::setElements(*leaf, NodeAccess::elements(*pstHandle<psBTree>(leaf->previous())));
     }},
    {"not a value for each key",
     [](SetWorld&, const Node& leaf) { pstHandle<psUnsortedArray>(leaf->values())->removeIndex(1); }},
    {"not a value for each key",
     [](SetWorld& world, const Node& leaf) { ArrayEdit(world.set->values()).append(leaf->first()); }},
    {"is not an administrator",
     [](SetWorld& world, const Node&) {
       pstHandle<psObj> admin(world.set->admin());
       psDelete(admin);
     }},
};

TEST(TreeChecker, ComplainsOfEachKindOfDamage) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4, Kind::map);
  for (int number = 0; number < 80; ++number) world.put(number);
  ASSERT_GE(world.set->depth(), 4);
  ASSERT_EQ(world.complaints(), "");
  ASSERT_EQ(world.store->commit(), 1);
  for (const Damage& damage : damages) {
    SCOPED_TRACE(damage.complaint);
    ASSERT_EQ(world.store->begin(pscUpdate), 1);
    world.find();
    Node leaf(world.set->potentialParentOf(pstHandle<psObj>(world.model.list()[41].id)));
    while (leaf->parent()->atFirst() == leaf) leaf = leaf->next();
    ASSERT_EQ(leaf.open(pscUpdate), 1);
    damage.inflict(world, leaf);
    std::string complaints;
    for (const std::string& complaint : ps::detail::checkTree(world.set)) complaints += complaint + '\n';
    EXPECT_NE(complaints.find(damage.complaint), std::string::npos) << complaints;
    ASSERT_EQ(world.store->abort(), 1);
  }
  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  EXPECT_EQ(world.complaints(), "");
}

TEST(TreeChecker, FindsWhatNobodyOwns) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4);
  for (int number = 0; number < 20; ++number) world.put(number);
  ASSERT_EQ(orphansOf(world.store.session()), "");
  const pstHandle<psContObj> place = world.store.container("sets");
  Node root(world.set);

  pstHandle<psObj> node(new (place) psBTreeNode(root));
  EXPECT_NE(orphansOf(world.store.session()).find("class 4016"), std::string::npos);
  ASSERT_EQ(psDelete(node), 1);
  pstHandle<psObj> array(new (place) psSortedArray(4));
  EXPECT_NE(orphansOf(world.store.session()).find("class 4026"), std::string::npos);
  ASSERT_EQ(psDelete(array), 1);
  const Node last(world.set->atLast());
  ArrayEdit(NodeAccess::elements(*last->parent())).erase(1);
  EXPECT_NE(orphansOf(world.store.session()).find("class 4016"), std::string::npos);
}

TEST(TreeChecker, FindsEmptyContainersThatNobodyNames) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4);
  world.store.container("named");
  const pstHandle<psDBObj> database = world.store->database("test");
  new (nullptr, 0, 1, 0, database) psGCContObj;
  ASSERT_EQ(orphansOf(world.store.session()), "");
  new (nullptr, 0, 1, 0, database) psContObj;
  EXPECT_NE(orphansOf(world.store.session()).find("an empty container"), std::string::npos);
}

}  // namespace
}  // namespace ps::test
