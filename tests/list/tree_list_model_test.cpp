#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "list/psTreeListIterator.h"
#include "sorted/psTreeSet.h"
#include "support/ListWorld.h"
#include "support/ModelDriver.h"

namespace ps::test {
namespace {

struct Setup {
  int capacity;
  int items;  // few, so that most occur more than once
  RunPlan plan;
};

class ListDriver final : public ModelDriver {
 public:
  ListDriver(const Setup& setup, std::uint64_t seed);

 private:
  TempStore& store() override { return world_.store; }
  const std::vector<Choice>& choices() const override { return choices_; }
  void verify() override;
  std::string complaintsIn(psSession& session) const override { return complaintsAbout(storedList(session), model_); }
  void find() override { world_.find(); }
  void keepModel() override;
  void restoreModel() override;
  void clear() override;

  void append();
  void prepend();
  void insert();
  void replace();
  void remove();
  void removeEnds();
  void removeRange();
  void lookUp();
  void walk();
  void combine();
  void forgetDeleted();
  void compact();

  int size() const { return static_cast<int>(model_.size()); }
  psId at(int i) const { return i >= 0 && i < size() ? model_[static_cast<std::size_t>(i)] : psId(); }
  // A position, or one next to those that exist.
  int anyPosition() { return below(size() + 5) - 2; }
  psId& anyItem() { return pool_[static_cast<std::size_t>(below(static_cast<int>(pool_.size())))]; }
  psId anyElement() { return below(10) == 0 ? psId() : anyItem(); }
  // Runs an operation on many elements. The last state is that in which it was done; when it was refused something, the
  // list may be left in any of the others, of which the first is that before.
  void changeMany(const std::vector<ListModel>& states, bool expected, const std::function<bool()>& act);
  // The list with the elements put in at a position: none of them, the first, and so on.
  std::vector<ListModel> withPartsPut(int i, const ListModel& elements) const;
  // The list without a range, of which the last elements go first.
  std::vector<ListModel> withPartsTaken(int from, int to) const;

  // The first position of the element from `from` on; -1 when there is none.
  int find(const psId& element, int from) const;
  bool eraseFirst(const psId& element);

  ListWorld world_;
  ListModel& model_ = world_.model;
  std::vector<psId> pool_;  // all items that exist
  ListModel committedModel_;
  std::vector<psId> committedPool_;
  const std::vector<Choice> choices_ = {
      {"append", [this] { append(); }, 30, 5},
      {"prepend", [this] { prepend(); }, 10, 5},
      {"insert", [this] { insert(); }, 30, 10},
      {"replace", [this] { replace(); }, 5, 5},
      {"remove", [this] { remove(); }, 10, 30},
      {"remove the ends", [this] { removeEnds(); }, 2, 10},
      {"remove a range", [this] { removeRange(); }, 2, 6},
      {"look up", [this] { lookUp(); }, 20, 20},
      {"walk", [this] { walk(); }, 4, 6},
      {"combine", [this] { combine(); }, 2, 2},
      {"forget deleted", [this] { forgetDeleted(); }, 1, 1},
      {"compact", [this] { compact(); }, 1, 2},
      {"clear", [this] { clear(); }, 0, 1},
  };
};

ListDriver::ListDriver(const Setup& setup, std::uint64_t seed)
    : ModelDriver(setup.plan, seed), world_(setup.plan.place, setup.capacity) {
  for (int i = 0; i < setup.items; ++i) pool_.push_back(world_.newItem(i));
  if (setup.plan.refuses) world_.list->admin()->setMaxNodesPerContainer(1);
}

void ListDriver::changeMany(const std::vector<ListModel>& states, bool expected, const std::function<bool()>& act) {
  if (happens(expected, act) || !wasRefused()) {
    model_ = states.back();
    return;
  }
  const auto isHeld = [this](const ListModel& state) { return complaintsAbout(world_.list, state).empty(); };
  const auto state = std::find_if(states.begin(), states.end(), isHeld);
  ASSERT_TRUE(state != states.end()) << complaintsAbout(world_.list, states.front());
  model_ = *state;
}

std::vector<ListModel> ListDriver::withPartsPut(int i, const ListModel& elements) const {
  std::vector<ListModel> states = {model_};
  for (auto end = elements.begin(); end != elements.end();) {
    states.push_back(model_);
    states.back().insert(states.back().begin() + i, elements.begin(), ++end);
  }
  return states;
}

std::vector<ListModel> ListDriver::withPartsTaken(int from, int to) const {
  std::vector<ListModel> states = {model_};
  for (int i = to; i >= from; --i) {
    states.push_back(states.back());
    states.back().erase(states.back().begin() + i);
  }
  return states;
}

int ListDriver::find(const psId& element, int from) const {
  const auto found = std::find(model_.begin() + std::clamp(from, 0, size()), model_.end(), element);
  return found != model_.end() ? static_cast<int>(found - model_.begin()) : -1;
}

bool ListDriver::eraseFirst(const psId& element) {
  const int i = find(element, 0);
  if (i >= 0) model_.erase(model_.begin() + i);
  return i >= 0;
}

void ListDriver::verify() {
  ASSERT_EQ(world_.complaints(), "");
  ASSERT_EQ(world_.list->isEmpty(), model_.empty());
  ASSERT_EQ(world_.list->first(), at(0));
  ASSERT_EQ(world_.list->last(), at(size() - 1));
}

void ListDriver::keepModel() {
  committedModel_ = model_;
  committedPool_ = pool_;
}

void ListDriver::restoreModel() {
  model_ = committedModel_;
  pool_ = committedPool_;
}

void ListDriver::append() {
  for (int i = below(8); i > 0; --i) {
    const psId element = anyElement();
    const bool last = below(2) == 0;
    const auto act = [&] { return last ? world_.list->addLast(element) == 1 : world_.list->add(element); };
    if (happens(true, act)) model_.push_back(element);
  }
}

void ListDriver::prepend() {
  for (int i = below(8); i > 0; --i) {
    const psId element = anyElement();
    if (happens(true, [&] { return world_.list->addFirst(element) == 1; })) model_.insert(model_.begin(), element);
  }
}

void ListDriver::insert() {
  const int i = anyPosition();
  const psId element = anyElement();
  const bool exists = i >= 0 && i <= size();
  SCOPED_TRACE(std::to_string(i) + " of " + std::to_string(size()));
  if (happens(exists, [&] { return world_.list->add(i, element) == 1; })) model_.insert(model_.begin() + i, element);
}

void ListDriver::replace() {
  const int i = anyPosition();
  const psId element = anyElement();
  const bool exists = i >= 0 && i < size();
  SCOPED_TRACE(std::to_string(i) + " of " + std::to_string(size()));
  if (happens(exists, [&] { return world_.list->set(i, element) == 1; })) model_[static_cast<std::size_t>(i)] = element;
}

void ListDriver::remove() {
  const psId element = model_.empty() || below(4) == 0 ? anyElement() : at(below(size()));
  if (happens(find(element, 0) >= 0, [&] { return world_.list->remove(element); })) eraseFirst(element);
}

void ListDriver::removeEnds() {
  if (!model_.empty()) model_.erase(model_.begin() + find(at(0), 0));
  world_.list->removeFirst();
  if (!model_.empty()) eraseFirst(model_.back());
  world_.list->removeLast();
  verify();
}

void ListDriver::removeRange() {
  const int from = anyPosition();
  const int to = from - 1 + below(12);
  const bool exists = from >= 0 && from <= to && to < size();
  SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to) + " of " + std::to_string(size()));
  changeMany(exists ? withPartsTaken(from, to) : std::vector<ListModel>{model_}, exists,
             [&] { return world_.list->removeRange(from, to) == 1; });
}

void ListDriver::lookUp() {
  const psTreeList& list = *world_.list;
  const pstHandle<psObj> element(anyElement());
  const void* const rawKey = element.isNull() ? nullptr : &element;
  const int i = anyPosition();
  const int first = find(element.oid(), 0);
  int last = -1;
  int lastUpTo = -1;
  for (int at = first; at >= 0; at = find(element.oid(), at + 1)) {
    last = at;
    if (at <= i) lastUpTo = at;
  }
  SCOPED_TRACE(std::to_string(i) + " of " + std::to_string(size()));
  answers(first >= 0, false, [&] { return list.contains(element); });
  answers(first >= 0, false, [&] { return list.contains(rawKey); });
  ASSERT_TRUE(list.get(rawKey).isNull());
  answers(at(i), psId(), [&]() -> psId { return list.get(i); });
  answers(find(element.oid(), i), -1, [&] { return list.indexOf(element, i); });
  answers(last, -1, [&] { return list.lastIndexOf(element); });
  answers(lastUpTo, -1, [&] { return list.lastIndexOf(element, i); });
  answers(size(), -1, [&] { return list.size(); });
}

void ListDriver::walk() {
  const std::unique_ptr<psCollectionIterator> it(world_.list->iterator());
  IteratorWalk walk(*it, model_, *this);
  const bool forward = below(2) == 0;
  if (!forward) walk.jump();
  for (int move = below(60); move > 0 && !testing::Test::HasFailure(); --move) {
    const int kind = below(18);
    SCOPED_TRACE("move of kind " + std::to_string(kind) + " from " + std::to_string(walk.at) + " of " +
                 std::to_string(walk.size()));
    if (kind == 0) {
      const pstHandle<psObj> element(anyElement());
      const int next = find(element.oid(), walk.at + 1);
      ASSERT_EQ(below(2) == 0 ? it->goTo(element) : it->goTo(static_cast<const void*>(&element)), next >= 0);
      walk.at = next >= 0 ? next : std::max(walk.at, walk.size() - 1);
    } else if (kind == 1) {
      walk.jump();
    } else if (kind <= 4) {
      walk.remove();
    } else if (kind == 5) {
      const psId element = anyElement();
      if (happens(walk.isOnElement(), [&] { return it->set(element) == 1; }))
        walk.elements[static_cast<std::size_t>(walk.at)] = element;
    } else if (kind == 6) {
      // The element keeps its position; what else named the object is left with the old name.
      const auto item = std::find(pool_.begin(), pool_.end(), walk.here());
      if (item != pool_.end()) {
        const pstHandle<psContObj> place = world_.store.container("moved");
        const bool isMoved = happens(true, [&] { return it->moveCurrentTo(place) == 1; });
        ASSERT_EQ(item->isValid(), !isMoved);
        *item = it->current(pscNoLock).oid();
        ASSERT_TRUE(item->isValid());
        walk.elements[static_cast<std::size_t>(walk.at)] = *item;
      }
    } else {
      walk.step(forward == (kind <= 14));
    }
    model_ = walk.elements;
    walk.verify();
  }
}

// The operations with another collection: a list with nulls and duplicates, or a set.
void ListDriver::combine() {
  psTreeList& list = *world_.list;
  const pstHandle<psContObj> place = world_.store.container("others");
  const bool isSet = below(3) == 0;
  pstHandle<psCollection> other(isSet ? pstHandle<psCollection>(new (place) psTreeSet(4))
                                      : pstHandle<psCollection>(new (place) psTreeList(4 + below(4))));
  ListModel others;
  for (int i = below(12); i > 0; --i) {
    const psId element = anyElement();
    if (other->add(element)) others.push_back(element);
  }
  if (isSet)
    std::sort(others.begin(), others.end(),
              [](const psId& a, const psId& b) { return ps::detail::orderOf(a) < ps::detail::orderOf(b); });
  const auto isIn = [](const ListModel& elements, const psId& element) {
    return std::find(elements.begin(), elements.end(), element) != elements.end();
  };
  const int before = size();
  const int i = anyPosition();
  switch (below(5)) {
    case 0:
      ASSERT_EQ(list.containsAll(other),
                std::all_of(others.begin(), others.end(), [&](const psId& element) { return isIn(model_, element); }));
      break;
    case 1:
      changeMany(withPartsPut(before, others), true, [&] {
        if (below(2) == 0) return list.addAll(other);
        const std::vector<pstRef<psObj>> elements(others.begin(), others.end());
        return list.append(elements.data(), static_cast<int>(elements.size())) == static_cast<int>(elements.size());
      });
      break;
    case 2:
      for (const psId& element : others) eraseFirst(element);
      ASSERT_EQ(list.removeAll(other), size() != before);
      break;
    case 3:
      model_.erase(
          std::remove_if(model_.begin(), model_.end(), [&](const psId& element) { return !isIn(others, element); }),
          model_.end());
      ASSERT_EQ(list.retainAll(other), size() != before);
      break;
    default: {
      const bool exists = i >= 0 && i <= before;
      changeMany(exists ? withPartsPut(i, others) : std::vector<ListModel>{model_}, exists || others.empty(),
                 [&] { return list.addAll(i, other) == 1; });
    }
  }
  pstHandle<psCollection> self(world_.list);
  ASSERT_FALSE(list.addAll(self));
  ASSERT_EQ(list.addAll(0, self), 0);
  ASSERT_TRUE(list.containsAll(self));
  ASSERT_FALSE(list.retainAll(self));
  verify();
  ASSERT_EQ(psDelete(other), 1);
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void ListDriver::forgetDeleted() {
  for (int i = below(5); i > 0; --i) {
    psId& item = anyItem();
    pstHandle<psObj> object(item);
    ASSERT_EQ(psDelete(object), 1);
    item = world_.newItem(i);
  }
  model_.erase(std::remove_if(model_.begin(), model_.end(),
                              [](const psId& element) { return !element.isNull() && !element.isValid(); }),
               model_.end());
  world_.list->removeAllDeleted();
  verify();
}

void ListDriver::compact() {
  happens(true, [this] { return world_.list->compact(), true; });
  verify();
  if (wasRefused()) world_.list->compact();
  verify();
  ASSERT_EQ(slackOf(world_.list), "");
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

void ListDriver::clear() {
  pstHandle<psCollection> self(world_.list);
  if (below(2) == 0) {
    changeMany(withPartsTaken(0, size() - 1), true, [this] { return world_.list->clear(), world_.list->size() == 0; });
  } else {
    ASSERT_EQ(world_.list->removeAll(self), !model_.empty());
    model_.clear();
  }
  verify();
  ASSERT_EQ(orphansOf(world_.store.session()), "");
}

class TreeListModel : public testing::TestWithParam<Setup> {};

TEST_P(TreeListModel, DoesWhatAStandardVectorWouldDo) {
  const std::uint64_t seed = seedOr(static_cast<std::uint64_t>(GetParam().capacity) * 7919 + GetParam().items);
  SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed));
  ListDriver(GetParam(), seed).run();
}

constexpr TempStore::Place memory = TempStore::Place::memory;
constexpr TempStore::Place file = TempStore::Place::file;

INSTANTIATE_TEST_SUITE_P(, TreeListModel,
                         testing::Values(Setup{4, 30, {memory, 2000, 0, 3, true}}, Setup{4, 500, {file, 2000, 300, 0}},
                                         Setup{5, 100, {memory, 2000, 0, 0, true}}, Setup{6, 60, {file, 2000, 400, 2}},
                                         Setup{7, 100, {memory, 2000, 0, 4}}, Setup{200, 300, {file, 3000, 600, 5}}),
                         [](const testing::TestParamInfo<Setup>& setup) {
                           return "Capacity" + std::to_string(setup.param.capacity) + "Of" +
                                  std::to_string(setup.param.items);
                         });

}  // namespace
}  // namespace ps::test
