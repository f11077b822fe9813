// What a look-up costs when comparing means opening an object: the sorted and the hash set beside each other, with
// objects that hold a number each, by a comparator that reads it. Keys are raw. The sets and their objects are in
// memory when they are measured.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "Workloads.h"
#include "core/psCompare.h"
#include "hash/psHashSet.h"
#include "sorted/psTreeSet.h"

namespace {

// Set once, before anything is measured.
int length = 1000000;

class Number : public psObj {
  PS_PERSISTENT_CLASS(Number, psObj, 20203)
 public:
  explicit Number(std::int64_t value) : value_(value) {}
  std::int64_t value() const { return value_; }

 private:
  std::int64_t value_;
};
PS_REGISTER_CLASS(Number)

// A raw key is the address of the number.
class NumberCompare : public psCompare {
  PS_PERSISTENT_CLASS(NumberCompare, psCompare, 20204)
 public:
  NumberCompare() = default;
  int compare(const pstHandle<psObj>& element, const void*& key) const override {
    return order(valueOf(element), *static_cast<const std::int64_t*>(key));
  }
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override {
    return order(valueOf(element), valueOf(other));
  }
  int hash(const void*& key) const override { return hashOf(*static_cast<const std::int64_t*>(key)); }
  int hash(const pstHandle<psObj>& element) const override { return hashOf(valueOf(element)); }

 private:
  static std::int64_t valueOf(const pstHandle<psObj>& element) {
    const pstHandle<Number> number(element);
    return number.open(pscRead) == 1 ? number->value() : 0;
  }
  static int order(std::int64_t a, std::int64_t b) { return (a > b) - (a < b); }
  static int hashOf(std::int64_t value) {
    return static_cast<int>(static_cast<std::uint64_t>(value) * 0x9E3779B97F4A7C15U >> 32);
  }
};
PS_REGISTER_CLASS(NumberCompare)

// Both sets, with the even numbers below twice the length, added in random order.
class Sets {
 public:
  static const Sets& instance() {
    static const Sets sets;
    return sets;
  }

  const psCollection& sorted() const { return *sorted_; }
  const psCollection& hashed() const { return *hashed_; }

 private:
  Sets() {
    psSessionOptions options;
    options.cacheLimit = std::size_t{1} << 30;
    if (session_.open(file_.path().string(), options) != 1 || session_.begin(pscUpdate) != 1)
      stop(session_.lastError());
    const pstHandle<psContObj> in = session_.container(session_.database("bench"), "numbers");
    pstHandle<psCompare> comparator(new (in) NumberCompare);
    sorted_ = new (in) psTreeSet(comparator, 200);
    hashed_ = new (in) psHashSet(comparator, 101, 1);
    for (const int i : shuffledPositions(length)) {
      const pstHandle<psObj> number(new (in) Number(2 * std::int64_t{i}));
      if (!sorted_->add(number) || !hashed_->add(number)) stop("a set does not take a number");
    }
  }

  ScratchFile file_;
  psSession session_;
  pstHandle<psTreeSet> sorted_;
  pstHandle<psHashSet> hashed_;
};

void find(benchmark::State& state, const psCollection& set, bool present) {
  const auto contains = [&](int i) {
    const std::int64_t key = 2 * std::int64_t{i} + (present ? 0 : 1);
    return set.contains(static_cast<const void*>(&key));
  };
  runGets(state, length, contains, [&](int) { return present; });
}

void compare(const std::string& what, bool present) {
  benchmark::RegisterBenchmark(("ref/" + what + ": psTreeSet").c_str(), [=](benchmark::State& state) {
    find(state, Sets::instance().sorted(), present);
  })->UseRealTime();
  benchmark::RegisterBenchmark((what + ": psHashSet").c_str(), [=](benchmark::State& state) {
    find(state, Sets::instance().hashed(), present);
  })->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
  length = takeElements(argc, argv, length);
  compare("contains by content, present", true);
  compare("contains by content, absent", false);
  return runWithRatios(argc, argv);
}
