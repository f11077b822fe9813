#pragma once

#include "arrays/ArrayView.h"
#include "core/IdOrder.h"
#include "core/KeyProbe.h"

// The only binary search. It has two modes. In an array of elements it finds the first that is not less than the key.
// In an array of nodes it finds the first whose lowest element is greater.
namespace ps::detail {

struct SearchResult {
  int position = 0;
  bool matched = false;  // the element at position equals the key; in an array of elements only
  bool failed = false;   // position is then no answer
};

// Whether the first and the last entry are compared before the halving starts. The published binarySearch does this:
// its results for entries that cannot be read depend on it. The trees do not need the two comparisons.
enum class SearchEnds { asked, notAsked };

SearchResult searchElements(const ArrayView& elements, KeyProbe& probe, SearchEnds ends = SearchEnds::notAsked);

// Compares identifiers, without a call.
class IdComparison {
 public:
  static constexpr bool opensObjects = false;

  explicit IdComparison(const psId& key) : key_(orderOf(key)) {}
  int operator()(const pstRef<psObj>& stored) const {
    const std::uint64_t order = orderOf(stored.oid());
    return (order > key_) - (order < key_);
  }
  bool failed() const { return false; }

 private:
  std::uint64_t key_;
};

// Asks the probe.
class ProbeComparison {
 public:
  static constexpr bool opensObjects = true;

  explicit ProbeComparison(KeyProbe& probe) : probe_(probe) {}
  int operator()(const pstRef<psObj>& stored) const { return probe_.compare(stored); }
  bool failed() const { return probe_.failed(); }

 private:
  KeyProbe& probe_;
};

// Compares a stored element with the key, as a search does.
inline int compareStored(const pstRef<psObj>& stored, KeyProbe& probe) {
  return probe.identifier() != nullptr ? IdComparison(*probe.identifier())(stored) : probe.compare(stored);
}

// Reads elements as they are.
class ElementReader {
 public:
  static constexpr bool equalIsBehind = true;  // an equal element stands at or behind the position looked for

  explicit ElementReader(const ArrayView& elements) : elements_(elements) {}
  bool operator()(int i, pstRef<psObj>& value) const {
    value = elements_[i];
    return true;
  }
  PS_ALWAYS_INLINE void prefetch(int i) const { prefetchObject(elements_[i].oid()); }

 private:
  const ArrayView& elements_;
};

// One search. Reader says what is read for an entry of the array; it returns false for an entry that cannot be read.
// Its prefetch brings what the comparison will read into the processor's caches. Comparison compares it with the key.
template <class Reader, class Comparison>
class BinarySearch {
 public:
  BinarySearch(const ArrayView& array, Comparison comparison)
      : count_(array.count()), comparison_(comparison), reader_(array) {}

  // Invariant: entries up to low are below the wanted position, and entries from high on are not. The array is taken to
  // continue beyond both ends.
  SearchResult run(int low, int high) {
    for (int step = 0; high - low > 1; ++step) {
      if (Comparison::opensObjects && step % levelsAhead == 0) prefetch<levelsAhead>(low, high);
      const int middle = (low + high) / 2;
      const int result = compareAt(middle);
      if (result_.failed) return failure(-1);
      if (isBehind(result)) {
        high = middle;
        result_.matched = result == 0;
      } else {
        low = middle;
      }
    }
    result_.position = high;
    return result_;
  }

  SearchResult runWithEnds() {
    const int last = count_ - 1;
    if (last < 0) return result_;
    const int atFirst = compareAt(0);
    if (result_.failed) return failure(0);
    if (atFirst >= 0) {
      result_.matched = atFirst == 0;
      return result_;
    }
    const int atLast = compareAt(last);
    if (result_.failed || !isBehind(atLast)) {
      result_.position = last + 1;
      return result_;
    }
    result_.matched = atLast == 0;
    return run(0, last);
  }

 private:
  // Comparisons that open objects wait for memory, each for its own object. So the search prefetches everything that
  // the next 3 may need: 7 objects, of which 3 are used, in the time of one.
  static constexpr int levelsAhead = 3;

  template <int Levels>
  PS_ALWAYS_INLINE void prefetch(int low, int high) const {
    if (high - low <= 1) return;
    const int middle = (low + high) / 2;
    reader_.prefetch(middle);
    if constexpr (Levels > 1) {
      prefetch<Levels - 1>(low, middle);
      prefetch<Levels - 1>(middle, high);
    }
  }

  int compareAt(int i) {
    pstRef<psObj> value;
    if (!reader_(i, value)) {
      result_.failed = true;
      return 0;
    }
    const int result = comparison_(value);
    result_.failed = comparison_.failed();
    return result;
  }

  static bool isBehind(int result) { return Reader::equalIsBehind ? result >= 0 : result > 0; }

  SearchResult failure(int position) const { return {position, false, true}; }

  int count_;
  Comparison comparison_;
  Reader reader_;
  SearchResult result_;
};

template <class Reader, class Comparison>
SearchResult searchWith(const ArrayView& array, Comparison comparison, SearchEnds ends) {
  BinarySearch<Reader, Comparison> search(array, comparison);
  return ends == SearchEnds::asked ? search.runWithEnds() : search.run(-1, array.count());
}

template <class Reader>
SearchResult searchArray(const ArrayView& array, KeyProbe& probe, SearchEnds ends) {
  if (!array.isOpen() || probe.failed()) return {0, false, true};
  if (probe.identifier() != nullptr) return searchWith<Reader>(array, IdComparison(*probe.identifier()), ends);
  return searchWith<Reader>(array, ProbeComparison(probe), ends);
}

}  // namespace ps::detail
