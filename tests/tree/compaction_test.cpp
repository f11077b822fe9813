#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "core/psCollectionIterator.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "support/Item.h"
#include "support/Sweep.h"

namespace ps::test {
namespace {

enum class Kind { list, set, map };
enum class Shape { oneToALeaf, randomHoles };

using Elements = std::vector<psId>;

// The elements, each with its value: itself, but in a map.
Elements elementsOf(const psBTree& tree) {
  Elements elements;
  const std::unique_ptr<psCollectionIterator> it(tree.iterator());
  while (it->hasNext()) {
    elements.push_back(it->next(pscNoLock).oid());
    elements.push_back(it->currentValue().oid());
  }
  return elements;
}

// A sparse list, set or map of a certain depth.
class SparseTree {
 public:
  SparseTree(Kind kind, int depth, Shape shape) : store(TempStore::Place::memory) {
    EXPECT_EQ(store->begin(pscUpdate), 1);
    const pstHandle<psContObj> in = store.container("trees");
    if (kind == Kind::list) {
      tree = pstHandle<psBTree>(new (in) psTreeList(4));
    } else if (kind == Kind::set) {
      tree = pstHandle<psBTree>(new (in) psTreeSet(4));
    } else {
      tree = pstHandle<psBTree>(new (in) psTreeMap(4));
    }
    EXPECT_EQ(store->name(tree, store->database("test"), "tree"), 1);
    for (int n = 0; n == 0 || tree->depth() < depth; ++n) add(n);
    EXPECT_EQ(tree->depth(), depth);
    thinOut(shape);
    elements = elementsOf(*tree);
    EXPECT_EQ(tree->depth(), depth) << "removal lowers no tree";
    EXPECT_EQ(complaints(), "");
  }

  void add(int number) {
    const pstHandle<psObj> item(makeItem(store.container("items"), number).id);
    if (tree->psIsKindOf(psTreeMap::pstTypeN)) {
      EXPECT_EQ(static_cast<psTreeMap&>(*tree).put(item, makeItem(store.container("values"), number).id), 1);
    } else {
      EXPECT_TRUE(tree->add(item));
    }
  }
  void find() { static_cast<void>(tree.lookupObj(store->database("test"), "tree", pscRead)); }
  std::string complaints() const {
    return faultsOf(tree) + (elementsOf(*tree) == elements ? "" : "the elements have changed\n") +
           (isSorted() && !findsAll() ? "an element is not found where it is\n" : "");
  }

  TempStore store;
  pstHandle<psBTree> tree;
  Elements elements;

 private:
  bool isSorted() const { return tree->psIsKindOf(psTreeSet::pstTypeN); }
  bool findsAll() const {
    for (std::size_t i = 0; i < elements.size(); i += 2) {
      if (!tree->contains(pstHandle<psObj>(elements[i]))) return false;
    }
    return true;
  }
  void thinOut(Shape shape) {
    std::mt19937_64 random(seedOr(5));
    for (pstHandle<psBTree> leaf(tree->atFirst()); !leaf.isNull(); leaf = leaf->next()) {
      while (true) {
        const pstHandle<psObj> last(leaf->last());
        if (last == leaf->first() || (shape == Shape::randomHoles && random() % 3 == 0)) break;
        EXPECT_TRUE(tree->remove(last));
      }
    }
  }
};

void expectPacked(const SparseTree& sparse) {
  ASSERT_EQ(sparse.complaints(), "");
  ASSERT_EQ(slackOf(sparse.tree), "");
  ASSERT_EQ(orphansOf(sparse.store.session()), "");
}

std::string nameOf(Kind kind, int depth, Shape shape) {
  const char* const names[] = {"a list", "a set", "a map"};
  return std::string(names[static_cast<int>(kind)]) + " of depth " + std::to_string(depth) +
         (shape == Shape::oneToALeaf ? ", one element to a leaf" : ", with random holes");
}

TEST(Compaction, PacksEveryLevelAndLowersTheTree) {
  for (const Kind kind : {Kind::list, Kind::set, Kind::map}) {
    for (const Shape shape : {Shape::oneToALeaf, Shape::randomHoles}) {
      for (const int depth : {1, 2, 3, 4, 5}) {
        if (depth > ScratchFolder::stepsOr(5, 3)) continue;
        SCOPED_TRACE(nameOf(kind, depth, shape));
        SparseTree sparse(kind, depth, shape);
        const int height = sparse.tree->depth();
        sparse.tree->compact();
        expectPacked(sparse);
        if (depth >= 4 && shape == Shape::oneToALeaf) {
          EXPECT_LT(sparse.tree->depth(), height);
        }
        // It is a tree like any other afterwards.
        for (int n = 0; n < 30; ++n) {
          sparse.add(n);
          ASSERT_EQ(faultsOf(sparse.tree), "");
        }
        sparse.elements = elementsOf(*sparse.tree);
        sparse.tree->compact();
        expectPacked(sparse);
        sparse.tree->clear();
        ASSERT_EQ(faultsOf(sparse.tree), "");
        ASSERT_EQ(orphansOf(sparse.store.session()), "");
        if (HasFailure()) return;
      }
    }
  }
}

TEST(Compaction, OfANodeIsThatOfTheTree) {
  for (const Kind kind : {Kind::list, Kind::set, Kind::map}) {
    for (const int levels : {1, 2, 3}) {
      SparseTree sparse(kind, 5, Shape::oneToALeaf);
      pstHandle<psBTree> node(sparse.tree->atLast());
      for (int level = 1; level < levels; ++level) node = node->parent();
      node->compact();
      expectPacked(sparse);
    }
    SparseTree sparse(kind, 5, Shape::oneToALeaf);
    pstHandle<psBTree>(sparse.tree->atFirst())->parent()->parent()->compactPart2();
    ASSERT_EQ(sparse.complaints(), "");
  }
}

// Whatever is refused, the tree is sound and complete, and can be compacted another time.
TEST(Compaction, MayBeRefusedHalfwayAndTakenUpAgain) {
  for (const Kind kind : {Kind::list, Kind::set, Kind::map}) {
    for (const Shape shape : {Shape::oneToALeaf, Shape::randomHoles}) {
      for (const int depth : {2, 3, 4}) {
        if (depth > ScratchFolder::stepsOr(4, 2)) continue;
        SCOPED_TRACE(nameOf(kind, depth, shape));
        SparseTree sparse(kind, depth, shape);
        const auto act = [&] { return sparse.tree->compact(), true; };
        const auto verify = [&](bool, bool refused) {
          if (refused) {
            ASSERT_EQ(sparse.complaints(), "");
            ASSERT_EQ(orphansOf(sparse.store.session()), "");
            sparse.tree->compact();
          }
          expectPacked(sparse);
        };
        sweep(sparse, {act, verify});
        if (HasFailure()) return;
      }
    }
  }
}

}  // namespace
}  // namespace ps::test
