#include "support/ModelDriver.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/Faults.h"

namespace ps::test {

void ModelDriver::run() {
  endTransaction();
  for (int step = 1; step <= plan_.steps && !testing::Test::HasFailure(); ++step) {
    if (step % 300 == 0) growing_ = !growing_;
    const Choice& choice = choose();
    SCOPED_TRACE("step " + std::to_string(step) + ": " + choice.name);
    choice.action();
    if (step % 10 == 0) verify();
    if (step % 40 == 0) endTransaction();
    if (plan_.reopenEvery > 0 && step % plan_.reopenEvery == 0) reopen();
  }
  if (testing::Test::HasFailure()) return;
  clear();
}

const ModelDriver::Choice& ModelDriver::choose() {
  std::vector<int> weights;
  for (const Choice& choice : choices()) weights.push_back(growing_ ? choice.growing : choice.shrinking);
  return choices()[std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random_)];
}

void ModelDriver::endTransaction() {
  if (plan_.abortEvery > 0 && transactions_++ % plan_.abortEvery == plan_.abortEvery - 1) {
    ASSERT_EQ(store()->abort(), 1);
    restoreModel();
  } else {
    ASSERT_EQ(orphansOf(store().session()), "");
    ASSERT_EQ(store()->commit(), 1) << store()->lastError();
    keepModel();
  }
  ASSERT_EQ(store()->begin(pscUpdate), 1) << store()->lastError();
  verify();
}

// Another process finds all that was committed, and so does this one.
void ModelDriver::reopen() {
  restoreModel();
  ASSERT_EQ(store().inChild([this](psSession& session) { return complaintsIn(session) + orphansOf(session); }), "");
  ASSERT_EQ(store()->begin(pscUpdate), 1) << store()->lastError();
  find();
  verify();
}

void IteratorWalk::step(bool forward) {
  if (forward) {
    if (random_() % 2 == 0) {
      ASSERT_EQ(iterator_.hasNext(), at + 1 < size());
    }
    if (size() > 0 || leavesEmptyStart) at = std::min(at + 1, size());
    ASSERT_EQ(iterator_.next(anyLock()), here());
  } else {
    ASSERT_EQ(iterator_.hasPrevious(), at > 0);
    if (size() > 0 || leavesEmptyStart) at = std::max(at - 1, -1);
    ASSERT_EQ(iterator_.previous(anyLock()), here());
  }
}

void IteratorWalk::jump() {
  const int target = std::uniform_int_distribution<int>(-2, size() + 2)(random_);
  at = std::clamp(target, -1, size());
  ASSERT_EQ(iterator_.goToIndex(target, anyLock()), here());
}

int IteratorWalk::remove() {
  const bool removes = isOnElement();
  EXPECT_EQ(iterator_.remove(), removes ? 1 : 0);
  if (!removes) return -1;
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
