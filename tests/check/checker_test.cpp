#include <gtest/gtest.h>

#include <functional>

#include "arrays/ArrayEdit.h"
#include "check/LoosePart.h"
#include "hash/HashPosition.h"
#include "sorted/psBTreeNode.h"
#include "support/Faults.h"
#include "support/HashWorld.h"
#include "support/SetWorld.h"
#include "tree/NodeAccess.h"

// A checker that finds nothing proves nothing: here it must find.
namespace ps::test {
namespace {

using ps::detail::ArrayEdit;
using ps::detail::HashAccess;
using ps::detail::NodeAccess;
using Node = pstHandle<psBTree>;

ArrayEdit entriesOf(const Node& node) { return ArrayEdit(NodeAccess::elements(*node)); }

template <class World, class Spot>
struct Damage {
  const char* complaint;
  std::function<void(World& world, const Spot& spot)> inflict;
};

// Inflicts each damage at the spot that find opens for update, and aborts it.
template <class World, class Spot, std::size_t count>
void expectComplaints(World& world, const Damage<World, Spot> (&damages)[count], Spot (*find)(World&)) {
  ASSERT_EQ(world.complaints(), "");
  ASSERT_EQ(world.store->commit(), 1);
  for (const Damage<World, Spot>& damage : damages) {
    SCOPED_TRACE(damage.complaint);
    ASSERT_EQ(world.store->begin(pscUpdate), 1);
    world.find();
    damage.inflict(world, find(world));
    const std::string complaints = faultsOf(world.set);
    EXPECT_NE(complaints.find(damage.complaint), std::string::npos) << complaints;
    EXPECT_EQ(complaints.substr(0, 8), "object (") << complaints;
    ASSERT_EQ(world.store->abort(), 1);
  }
  ASSERT_EQ(world.store->begin(pscRead), 1);
  world.find();
  EXPECT_EQ(world.complaints(), "");
}

// On a leaf in the middle of a tree of three levels or more.
const Damage<SetWorld, Node> damagesToATree[] = {
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
    {"is a node of a tree", [](SetWorld&, const Node& leaf) { entriesOf(leaf).put(1, pstRef<psObj>(leaf->parent())); }},
    {"a rest at",
     [](SetWorld&, const Node& leaf) {
       const pstHandle<psUnsortedArray> array(NodeAccess::elements(*leaf));
       static_cast<void>(array.open(pscUpdate));
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
  expectComplaints<SetWorld, Node>(world, damagesToATree, [](SetWorld& of) {
    Node leaf(of.set->potentialParentOf(pstHandle<psObj>(of.model.list()[41].id)));
    while (leaf->parent()->atFirst() == leaf) leaf = leaf->next();
    EXPECT_EQ(leaf.open(pscUpdate), 1);
    return leaf;
  });
}

// A bucket that no other shares its bits with, so that it stands once in the directory, with a chain.
struct Bucket {
  unsigned int index = 0;  // in the directory
  pstHandle<psHashBucket> bucket;
  pstHandle<psHashChain> chain;
  unsigned int alone = 0;  // a slot with one entry

  HashAccess::Entries& entries() const { return HashAccess::entries(*bucket); }
};

Bucket bucketOf(HashWorld& world) {
  EXPECT_EQ(world.set.open(pscUpdate), 1);
  Bucket found;
  ps::detail::visitBuckets(*world.set, [&](const ps::detail::BucketRange& range) {
    if (range.end - range.first > 1) return true;
    found = Bucket();
    found.index = static_cast<unsigned int>(range.first);
    found.bucket = range.bucket;
    for (unsigned int slot = 0; slot < 5; ++slot) {
      const pstHandle<psObj> held(found.entries()[slot]);
      if (held.typeN() == psHashChain::pstTypeN) found.chain = pstHandle<psHashChain>(held);
      if (held.typeN() == psHashMapEntry::pstTypeN) found.alone = slot;
    }
    return found.index % 2 == 0 || found.chain.isNull() || found.entries()[found.alone].isNull();
  });
  EXPECT_TRUE(found.bucket.open(pscUpdate) == 1 && found.chain.open(pscUpdate) == 1);
  return found;
}

const Damage<HashWorld, Bucket> damagesToATable[] = {
    {"does not match its depth", [](HashWorld& world, const Bucket&) { ++HashAccess::depth(*world.set); }},
    {"its buckets have 0 slots", [](HashWorld& world, const Bucket&) { HashAccess::slotsPerBucket(*world.set) = 0; }},
    {"is not a bucket",
     [](HashWorld& world, const Bucket& at) {
       static_cast<void>(HashAccess::directory(*world.set).iset(at.index, pstRef<psHashBucket>(at.chain.oid())));
     }},
    {"its depth is out of range", [](HashWorld&, const Bucket& at) { HashAccess::depth(*at.bucket) = 30; }},
    {"out of line", [](HashWorld&, const Bucket& at) { --HashAccess::depth(*at.bucket); }},
    {"another bucket stands in its range",
     [](HashWorld& world, const Bucket& at) {
       const pstHandle<psHashBucket> before(HashAccess::directory(*world.set)[at.index - 1]);
       static_cast<void>(before.open(pscUpdate));
       --HashAccess::depth(*before);
     }},
    {"is in a wrong bucket",
     [](HashWorld& world, const Bucket& at) {
       HashAccess::Directory& directory = HashAccess::directory(*world.set);
       const pstRef<psHashBucket> before = directory[at.index - 1];
       static_cast<void>(directory.iset(at.index - 1, directory[at.index]));
       static_cast<void>(directory.iset(at.index, before));
     }},
    {"it has 6 slots", [](HashWorld&, const Bucket& at) { static_cast<void>(at.entries().resize(6)); }},
    {"it miscounts what is chained", [](HashWorld&, const Bucket& at) { ++HashAccess::chained(*at.bucket); }},
    {"it miscounts what is not chained", [](HashWorld&, const Bucket& at) { --HashAccess::unchained(*at.bucket); }},
    {"a chain of less than two",
     [](HashWorld&, const Bucket& at) { static_cast<void>(HashAccess::entries(*at.chain).resize(1)); }},
    {"is not an entry",
     [](HashWorld&, const Bucket& at) {
       pstHandle<psObj> entry(at.entries()[at.alone]);
       psDelete(entry);
     }},
    {"is in a wrong slot",
     [](HashWorld&, const Bucket& at) {
       const unsigned int other = (at.alone + 1) % 5;
       const pstRef<psObj> entry = at.entries()[at.alone];
       static_cast<void>(at.entries().iset(at.alone, at.entries()[other]));
       static_cast<void>(at.entries().iset(other, entry));
     }},
    {"is owned twice",
     [](HashWorld&, const Bucket& at) {
       static_cast<void>(HashAccess::entries(*at.chain).iset(0, at.entries()[at.alone]));
     }},
    {"a key is null",
     [](HashWorld&, const Bucket& at) {
       const pstRef<psObj> none(new (at.bucket) psHashMapEntry(pstRef<psObj>(), pstRef<psObj>()));
       static_cast<void>(at.entries().iset(at.alone, none));
     }},
    {"is there twice",
     [](HashWorld&, const Bucket& at) {
       const pstHandle<psHashMapEntry> entry(HashAccess::entries(*at.chain)[0]);
       const pstRef<psObj> twin(new (at.bucket) psHashMapEntry(entry->key(), entry->value()));
       static_cast<void>(HashAccess::entries(*at.chain).iset(1, twin));
     }},
    {"does not lie in its bucket's container",
     [](HashWorld& world, const Bucket& at) {
       const pstHandle<psHashMapEntry> entry(at.entries()[at.alone]);
       const pstHandle<psContObj> place = world.store.container("elsewhere");
       static_cast<void>(
           at.entries().iset(at.alone, pstRef<psObj>(new (place) psHashMapEntry(entry->key(), entry->value()))));
     }},
    {"is not an administrator",
     [](HashWorld& world, const Bucket&) {
       pstHandle<psObj> admin(world.set->admin());
       psDelete(admin);
     }},
};

TEST(HashChecker, ComplainsOfEachKindOfDamage) {
  HashWorld world(TempStore::Place::memory, Flavour::handle, Hashing::content, 5, Kind::map);
  for (int number = 0; number < 60; ++number) world.put(number);
  expectComplaints<HashWorld, Bucket>(world, damagesToATable, bucketOf);
}

// As a part of no collection.
TEST(LoosePart, IsAtFaultWhereItsOperationsWouldNotEnd) {
  SetWorld world(TempStore::Place::memory, Flavour::handle, true, 4);
  for (int number = 0; number < 40; ++number) world.put(number);
  ASSERT_EQ(world.store->commit(), 1);
  const std::pair<const char*, std::function<void(const Node& leaf)>> damages[] = {
      {"", [](const Node&) {}},
      {"too many levels", [](const Node& leaf) { leaf->parent()->parent(leaf); }},
      {"which is of class", [](const Node& leaf) { leaf->parent(Node(leaf->parent()->root()->admin().oid())); }},
      {"a second one", [](const Node& leaf) { entriesOf(leaf->parent()).put(1, pstRef<psObj>(leaf)); }},
  };
  for (const auto& [complaint, inflict] : damages) {
    SCOPED_TRACE(complaint);
    ASSERT_EQ(world.store->begin(pscUpdate), 1);
    world.find();
    const Node leaf(world.set->atFirst());
    const Node above = leaf->parent();
    inflict(leaf);
    std::string faults;
    for (const Node& node : {leaf, above}) {
      for (const auto& fault : ps::detail::LoosePart::check(node.oid(), {}).faults) faults += fault.text;
    }
    EXPECT_EQ(faults.empty(), *complaint == '\0') << faults;
    EXPECT_NE(faults.find(complaint), std::string::npos) << faults;
    ASSERT_EQ(world.store->abort(), 1);
  }
}

TEST(OrphanChecker, FindsWhatNobodyOwns) {
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

TEST(OrphanChecker, FindsEmptyContainersThatNobodyNames) {
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
