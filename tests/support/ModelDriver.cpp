#include "support/ModelDriver.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/psAdmin.h"
#include "store/pstItr.h"
#include "support/Faults.h"
#include "support/Item.h"

namespace ps::test {

void ModelDriver::run() {
  troubles_ = troubles();
  endTransaction();
  const int steps = ScratchFolder::stepsOr(plan_.steps, plan_.steps / 10);
  for (int step = 1; step <= steps && !testing::Test::HasFailure(); ++step) {
    if (step % 300 == 0) growing_ = !growing_;
    const Choice& choice = choose();
    SCOPED_TRACE("step " + std::to_string(step) + ": " + choice.name);
    isTroubled_ = plan_.refuses && below(2) == 0;
    // In a transaction of its own an action opens everything for update anew, and an abort shows what it wrote without.
    const bool isAlone = plan_.refuses && below(4) == 0;
    if (isAlone) endTransaction();
    const int refusalsBefore = refusals_;
    choice.action();
    isTroubled_ = false;
    if (isAlone && (refusals_ != refusalsBefore || below(2) == 0)) abort();
    if (step % 10 == 0 || refusals_ != refusalsBefore) verify();
    if (step % 40 == 0) endTransaction();
    if (plan_.reopenEvery > 0 && step % plan_.reopenEvery == 0) reopen();
  }
  if (testing::Test::HasFailure()) return;
  clear();
  EXPECT_EQ(refusals_ > steps / 16, plan_.refuses) << refusals_;
}

bool ModelDriver::happens(bool expected, const std::function<bool()>& act) {
  wasRefused_ = false;
  if (!isTroubled_ || below(2) == 0) {
    const bool result = act();
    EXPECT_EQ(result, expected);
    return result;
  }
  const Trouble& trouble = troubles_[static_cast<std::size_t>(below(static_cast<int>(troubles_.size())))];
  const int k = 1 + below(1 << below(9));
  SCOPED_TRACE(trouble.name + ", at " + std::to_string(k));
  const std::function<bool()> endTrouble = trouble.cause(static_cast<std::uint64_t>(k));
  const bool result = resultOf(act);
  wasRefused_ = endTrouble();
  EXPECT_TRUE(result == expected || (wasRefused_ && !result)) << result;
  if (!wasRefused_) return result;
  ++refusals_;
  EXPECT_FALSE(trouble.alwaysFails && result);
  EXPECT_EQ(leftoversOf(store().session()), "");
  removeEmptyContainers();
  return result;
}

// A container that was made for an operation and then not used is what an administrator hands out next, or leaves
// empty.
void ModelDriver::removeEmptyContainers() {
  pstItr<psContObj> container;
  for (container.scan(store()->database("test"), pscNoOpen); container.next();)
    psAdmin::deleteIfEmptyUnnamedNonGC(container);
}

const ModelDriver::Choice& ModelDriver::choose() {
  std::vector<int> weights;
  for (const Choice& choice : choices()) weights.push_back(growing_ ? choice.growing : choice.shrinking);
  return choices()[std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random_)];
}

void ModelDriver::endTransaction() {
  if (plan_.abortEvery > 0 && transactions_++ % plan_.abortEvery == plan_.abortEvery - 1) return abort();
  ASSERT_EQ(leftoversOf(store().session()), "");
  ASSERT_EQ(store()->commit(), 1) << store()->lastError();
  ASSERT_EQ(findingsIn(store().session()), "");
  keepModel();
  begin();
}

void ModelDriver::abort() {
  ASSERT_EQ(store()->abort(), 1);
  restoreModel();
  begin();
}

void ModelDriver::begin() {
  ItemCompare::abbreviateAnyhow(begins_++);
  ASSERT_EQ(store()->begin(pscUpdate), 1) << store()->lastError();
  verify();
}

// Another process finds all that was committed, and so does this one.
void ModelDriver::reopen() {
  restoreModel();
  ASSERT_EQ(store().inChild([this](psSession& session) { return complaintsIn(session) + findingsIn(session); }), "");
  ASSERT_EQ(store()->begin(pscUpdate), 1) << store()->lastError();
  find();
  verify();
}

// A step that is refused can be taken again.
void IteratorWalk::step(bool forward) {
  const int before = at;
  if (!forward || random_() % 2 == 0) {
    ASSERT_EQ(forward ? iterator_.hasNext() : iterator_.hasPrevious(), forward ? at + 1 < size() : at > 0);
  }
  if (size() > 0 || leavesEmptyStart) at = std::clamp(at + (forward ? 1 : -1), -1, size());
  driver_.answers(here(), psId(),
                  [&]() -> psId { return forward ? iterator_.next(anyLock()) : iterator_.previous(anyLock()); });
  if (!driver_.wasRefused()) return;
  const int now = iterator_.currentIndex();
  if (at == size() && now < -1) return;  // after the end some iterators do not know their place
  ASSERT_TRUE(now == at || (now == before && iterator_.current(pscNoLock) == (at = before, here()))) << now;
}

void IteratorWalk::jump() {
  const int target = std::uniform_int_distribution<int>(-2, size() + 2)(random_);
  at = std::clamp(target, -1, size());
  const auto go = [&]() -> psId { return iterator_.goToIndex(target, anyLock()); };
  driver_.answers(here(), psId(), go);
  if (driver_.wasRefused()) {
    ASSERT_EQ(go(), here());
  }
}

int IteratorWalk::remove() {
  if (!driver_.happens(isOnElement(), [this] { return iterator_.remove() == 1; })) return -1;
  elements.erase(elements.begin() + at);
  return at--;
}

void IteratorWalk::verify() {
  ASSERT_EQ(iterator_.current(pscNoLock), here());
  ASSERT_EQ(*iterator_.currentP(anyLock()), here());
  if (random_() % 4 == 0) {
    ASSERT_EQ(iterator_.hasNext(), at + 1 < size());
  }
  if (random_() % 2 == 0) {
    ASSERT_EQ(iterator_.currentIndex(), at);
  }
}

}  // namespace ps::test
