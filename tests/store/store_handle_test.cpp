#include <gtest/gtest.h>

#include <array>
#include <type_traits>

#include "store/StoreObjects.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

// Counts the calls that the store makes around copies and moves.
class Watched : public Blob {
  PS_PERSISTENT_CLASS(Watched, Blob, 20240)

 public:
  using Blob::Blob;
  void psCopyInit() override { ++copies; }
  void psPreMoveInit() override { ++departures; }
  void psPostMoveInit() override { arrivals += psOid() != left ? 1 : 0; }

  int copies = 0;
  int departures = 0;
  int arrivals = 0;
  psId left;
  pstVArray<char> marks{4};
};
PS_REGISTER_CLASS(Watched)

static_assert(!std::is_convertible_v<pstRef<Flat>, int>, "a reference is no position");

TEST(StoreArrays, LiveOnTheHeapWithoutASession) {
  Linked object(1, "abc");
  EXPECT_TRUE(object.psOid().isNull());
  EXPECT_EQ(object.psUpdate(), 1);
  EXPECT_EQ(contentOf(pstHandle<psObj>(&object)).typeN, 0U) << "a transient object has no handle";
  EXPECT_EQ(object.bytes.extend(object.bytes[0]), 1);
  EXPECT_EQ(std::string(object.bytes.head(), object.bytes.size()), "abca");
  EXPECT_EQ(object.bytes.resize(100000), 1);
  EXPECT_EQ(object.bytes[99999], '\0');
  EXPECT_EQ(object.bytes.resize(2), 1);
  EXPECT_EQ(object.bytes.iset(2, 'x'), 0);
  EXPECT_EQ(object.bytes.resize(3), 1);
  EXPECT_EQ(object.bytes[2], '\0') << "what was dropped does not come back";
  EXPECT_EQ(object.bytes.resize(0), 1);
  EXPECT_EQ(object.bytes.head(), nullptr);
  EXPECT_EQ(object.bytes.update(), 1);
  const pstVArray<pstRef<psObj>> references(3);
  EXPECT_EQ(references.size(), 3U);
  EXPECT_TRUE(references[2].isNull());
  EXPECT_FALSE((std::is_assignable_v<decltype(*references.head()), psId>));
  EXPECT_FALSE((std::is_assignable_v<decltype(*references.elem(0)), psId>));
  pstVArray<std::array<char, 5000>> wide(1);
  wide[1].fill('x');
  EXPECT_EQ(wide[1], (std::array<char, 5000>{})) << "the dummy element has a wide one's room, and is null each time";
}

class StoreHandles : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(session_->begin(pscUpdate), 1);
    in_ = session_.container("handles");
  }
  TempStore session_{TempStore::Place::memory};
  pstHandle<psContObj> in_;
};

TEST_F(StoreHandles, FollowTheClassTree) {
  pstHandle<Linked> linked(new (in_) Linked(1, "x"));
  pstHandle<Blob>& blob = linked;
  const pstHandle<psObj>& object = linked;
  EXPECT_EQ(static_cast<const void*>(&blob), static_cast<const void*>(&linked));
  EXPECT_EQ(static_cast<const void*>(&object), static_cast<const void*>(&linked));
  EXPECT_EQ(static_cast<const void*>(&*object), static_cast<const void*>(&*linked));
  EXPECT_TRUE(linked->psIsKindOf(Blob::pstTypeN) && linked->psIsKindOf(psObj::pstTypeN));
  EXPECT_FALSE(linked->psIsKindOf(Flat::pstTypeN));

  pstHandle<Linked> self;
  EXPECT_EQ(&linked->psThis(self, pscNoOpen), &self);
  EXPECT_EQ(self, linked);
  pstRef<Linked> reference;
  EXPECT_EQ(&linked->psThis(reference, pscRead), &reference);
  EXPECT_EQ(reference, linked);
  EXPECT_EQ(linked->psThis(pscUpdate)->number, 1);
  EXPECT_EQ(reference->number, 1);
  EXPECT_EQ(reference.containedIn(), in_);
  pstHandle<psDBObj> database;
  pstHandle<psFDObj> federation;
  reference.containedIn(database);
  database.containedIn(federation);
  EXPECT_STREQ(database.name(), "test");
  EXPECT_EQ(federation, session_->federation());

  const pstHandle<psDBObj> again(new (federation) psDBObj("test", 0, 0, nullptr, nullptr, 1, 0));
  EXPECT_TRUE(again.isNull());
  EXPECT_TRUE(database.exist(federation, "test", pscRead));
  EXPECT_FALSE(database.exist(federation, "none", pscRead));
}

// A handle is an identifier, which can be assigned to without the handle's knowledge.
TEST_F(StoreHandles, NameWhatTheirIdentifierSays) {
  const pstHandle<Flat> one(new (in_) Flat(1));
  const pstHandle<Flat> two(new (in_) Flat(2));
  const pstHandle<Flat> elsewhere(new (session_.container("other")) Flat(3));
  pstHandle<Flat> handle(one);
  psId& id = handle;
  for (const pstHandle<Flat>& named : {two, elsewhere, one}) {
    EXPECT_EQ(handle.update(), 1);
    id = named.oid();
    EXPECT_EQ(handle.operator->(), named.operator->());
    const pstHandle<Flat> copy(handle);
    EXPECT_EQ(copy->number, named->number);
  }
  id = two.oid();
  pstHandle<psObj>& victim = handle;
  EXPECT_EQ(psDelete(victim), 1);
  EXPECT_TRUE(one.isValid());
  EXPECT_FALSE(two.isValid());
  EXPECT_EQ(elsewhere.update(), 1);
  handle = elsewhere;
  id = psId();
  EXPECT_EQ(handle.operator->(), nullptr);
}

TEST_F(StoreHandles, ScansStandOnWhatIsLeft) {
  for (int n = 0; n < 6; ++n) {
    ASSERT_NE(n % 2 == 0 ? static_cast<psObj*>(new (in_) Flat(n)) : new (in_) Linked(n, "x"), nullptr);
  }
  pstItr<Blob> blob;
  EXPECT_EQ(blob.scan(in_, pscUpdate), 1);
  std::vector<std::int64_t> numbers;
  while (blob.next()) {
    numbers.push_back(blob->number);
    if (blob->number == 1) {
      // The object that comes next goes, and a new one comes after it.
      pstHandle<psObj> gone(scanned<Blob>(in_).at(1));
      ASSERT_EQ(psDelete(gone), 1);
      ASSERT_NE(new (in_) Blob(9), nullptr);
    }
  }
  EXPECT_EQ(numbers, (std::vector<std::int64_t>{1, 5, 9}));
  EXPECT_TRUE(blob.isNull());
  EXPECT_FALSE(blob.next());
  pstHandle<psObj> container(in_);
  ASSERT_EQ(psDelete(container), 1);
  EXPECT_EQ(blob.scan(container, pscNoOpen), 0);
  EXPECT_FALSE(blob.next());
}

TEST_F(StoreHandles, TheGuardIsAskedBeforeEveryOpenAndNothingElse) {
  pstHandle<Linked> object(new (in_) Linked(1, pattern(1, 9000)));
  const psId id = object.oid();
  object.close();
  std::vector<psMode> asked;
  bool admit = true;
  session_->openGuard([&](const psId&, psMode mode) {
    asked.push_back(mode);
    return admit;
  });
  EXPECT_EQ(object->number, 1);
  EXPECT_EQ(object->bytes.size(), 9000U);
  EXPECT_TRUE(id.isValid());
  EXPECT_EQ(object.typeN(), Linked::pstTypeN);
  EXPECT_EQ(object.containedIn(), in_);
  const Flat* const made = new (in_) Flat(1);
  EXPECT_EQ(asked, std::vector<psMode>{pscRead});
  EXPECT_EQ(pstRef<Linked>(id)->number, 1);
  EXPECT_EQ(object->psUpdate(), 1);
  EXPECT_EQ(object->bytes.update(), 1);
  EXPECT_EQ(asked, (std::vector<psMode>{pscRead, pscRead, pscUpdate, pscUpdate}));

  pstHandle<psObj> fresh(made);
  EXPECT_EQ(object.update(), 1);
  const std::uint64_t refusals = ps::detail::refusalCount();
  admit = false;
  EXPECT_EQ(object->number, 1) << "it is open";
  EXPECT_EQ(object->psUpdate(), 0);
  EXPECT_EQ(object->bytes.extend('x'), 0);
  EXPECT_EQ(object->links.resize(1), 0);
  EXPECT_EQ(pstHandle<Linked>(id).open(pscRead), 0);
  EXPECT_EQ(pstHandle<Linked>(id).operator->(), nullptr);
  EXPECT_FALSE(pstRef<Linked>(id).operator->());
  EXPECT_EQ(ps::detail::refusalCount(), refusals + 6);
  pstHandle<psObj> closed(id);
  EXPECT_EQ(psDelete(closed), 0);
  EXPECT_TRUE(id.isValid());
  pstItr<psObj> any;
  any.scan(in_, pscRead);
  EXPECT_FALSE(any.next());
  EXPECT_EQ(psDelete(fresh), 1) << "a new object is open for update";
  pstHandle<psObj> open(object);
  EXPECT_EQ(psDelete(open), 1) << "secured before";
  session_->openGuard(nullptr);
  EXPECT_FALSE(id.isValid());
  EXPECT_EQ(scanned<psObj>(in_).size(), 0U);
}

TEST_F(StoreHandles, CopiesAndMovesTellTheObject) {
  pstHandle<Watched> original(new (in_) Watched(1, "text"));
  original->left = original.oid();
  const pstHandle<Watched> copy = original.copy(in_);
  EXPECT_EQ(copy->copies, 1);
  EXPECT_EQ(original->copies, 0);
  EXPECT_EQ(copy->bytes.iset(0, 'T'), 1);
  EXPECT_EQ(copy->marks.iset(0, 'x'), 1);
  EXPECT_EQ(contentOf(original).bytes, "text") << "a copy has storage of its own";
  EXPECT_EQ(original->marks[0], '\0') << "also for an array that has elements from the start";
  ASSERT_EQ(original->marks.iset(3, 'y'), 1);
  const psId before = original.oid();
  ASSERT_EQ(original.move(session_.container("other")), 1);
  EXPECT_FALSE(before.isValid());
  EXPECT_EQ(original->departures, 1);
  EXPECT_EQ(original->arrivals, 1);
  EXPECT_EQ(original->marks[3], 'y');
  pstHandle<Watched> nowhere(original);
  EXPECT_EQ(nowhere.move(pstHandle<psObj>()), 0);
  EXPECT_EQ(nowhere, original);
  EXPECT_TRUE(nowhere.copy(pstHandle<psObj>()).isNull());
  EXPECT_EQ(nowhere->departures, 1) << "a move that fails has changed nothing";
}

}  // namespace
}  // namespace ps::test
