#pragma once

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "core/psCollectionIterator.h"
#include "support/Sweep.h"
#include "support/TempStore.h"

namespace ps::test {

// How long a random run is, and what comes between its steps.
struct RunPlan {
  TempStore::Place place;
  int steps;
  int reopenEvery;       // steps; 0 never
  int abortEvery;        // transactions; 0 never
  bool refuses = false;  // whether operations are refused something on their way
};

// Drives a collection and its model side by side, at random, through commits, aborts, reopenings and refusals. Which
// operations there are, and what the model is, is up to a derived class.
class ModelDriver {
 public:
  ModelDriver(const ModelDriver&) = delete;
  ModelDriver& operator=(const ModelDriver&) = delete;
  void run();

 protected:
  struct Choice {
    const char* name;
    std::function<void()> action;
    int growing;  // weights while the collection is to grow, and while it is to shrink
    int shrinking;
  };

  ModelDriver(const RunPlan& plan, std::uint64_t seed) : plan_(plan), random_(seed) {}
  virtual ~ModelDriver() = default;

  virtual TempStore& store() = 0;
  virtual const std::vector<Choice>& choices() const = 0;
  // Compares the collection with the model.
  virtual void verify() = 0;
  // What another process finds wrong with the stored collection.
  virtual std::string complaintsIn(psSession& session) const = 0;
  // Takes up the collection anew after a reopening.
  virtual void find() = 0;
  // Remembers the model as committed; goes back to it.
  virtual void keepModel() = 0;
  virtual void restoreModel() = 0;
  // Empties collection and model, at the end.
  virtual void clear() = 0;

  // What may happen to an operation at one of its points.
  virtual std::vector<Trouble> troubles() { return refusals(store().session()); }

  // Commits, or aborts when it is time to.
  void endTransaction();

  // Runs an operation, in some steps with trouble at a random point. Returns whether it says that it was done, which it
  // must as expected; when there was trouble it may also say that it was not.
  bool happens(bool expected, const std::function<bool()>& act);
  // Whether there was trouble in the last operation.
  bool wasRefused() const { return wasRefused_; }

  // Asks for something. When there was trouble the answer may also be the one that says that nothing was found.
  template <class T, class Ask>
  void answers(const T& expected, const T& nothing, Ask ask) {
    T found = nothing;
    happens(!(expected == nothing), [&] { return !((found = ask()) == nothing); });
    EXPECT_TRUE(found == expected || (wasRefused_ && found == nothing));
  }

  int below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(random_); }

  std::mt19937_64& random() { return random_; }

 private:
  friend class IteratorWalk;

  const Choice& choose();
  void abort();
  void begin();
  void removeEmptyContainers();
  void reopen();

  RunPlan plan_;
  std::vector<Trouble> troubles_;
  bool isTroubled_ = false;  // this step
  bool wasRefused_ = false;
  int refusals_ = 0;
  std::mt19937_64 random_;
  int transactions_ = 0;
  unsigned begins_ = 0;
  bool growing_ = true;
};

// An iterator, and the place in a sequence where it ought to be: -1 before the first element, the size after the last.
class IteratorWalk {
 public:
  IteratorWalk(psCollectionIterator& iterator, std::vector<psId> sequence, ModelDriver& driver)
      : elements(std::move(sequence)), iterator_(iterator), driver_(driver), random_(driver.random_) {}

  // Takes a step, forward or back, or jumps to a position.
  void step(bool forward);
  void jump();
  // Removes the current element. The place where it was, -1 when there was none, or it is still there.
  int remove();
  // Compares everything that the iterator says about its place.
  void verify();

  int size() const { return static_cast<int>(elements.size()); }
  bool isOnElement() const { return at >= 0 && at < size(); }
  psId here() const { return isOnElement() ? elements[static_cast<std::size_t>(at)] : psId(); }

  std::vector<psId> elements;
  int at = -1;
  bool leavesEmptyStart = false;  // whether next, on an empty collection, goes past its end

 private:
  psLockMode anyLock() { return random_() % 3 == 0 ? pscLockUpdate : pscNoLock; }

  psCollectionIterator& iterator_;
  ModelDriver& driver_;
  std::mt19937_64& random_;
};

}  // namespace ps::test
