#pragma once

#include "arrays/ArrayView.h"
#include "core/KeyProbe.h"

// The only binary search. It has two modes. In an array of elements it finds the first that is not less than the key.
// In an array of nodes it finds the first whose lowest element is greater.
namespace ps::detail {

struct SearchResult {
  int position = 0;
  bool matched = false;  // the element at position equals the key; only in an array of elements
  bool failed = false;   // position is then no answer
  bool usedAbbreviations = false;
};

// Whether the first and the last entry are compared before the halving starts. The published binarySearch does this:
// its results for entries that cannot be read depend on it. The trees do not need the two comparisons.
enum class SearchEnds { asked, notAsked };

// Where in an array a search expects the key, as a part of the array's length. Negative when nothing is known.
using ExpectedPart = double;
constexpr ExpectedPart notExpected = -1;

SearchResult searchElements(const ArrayView& elements, KeyProbe& probe, SearchEnds ends = SearchEnds::notAsked,
                            ExpectedPart part = notExpected);

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
  int operator()(const pstRef<psObj>& stored) const {
    const int result = probe_.compare(stored);
    if (isChecked) probe_.checkAbbreviation(stored, result);
    return result;
  }
  bool failed() const { return probe_.failed(); }
  KeyProbe& probe() const { return probe_; }

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
  static constexpr bool equalIsBehind = true;  // an equal element is at or after the wanted position

  explicit ElementReader(const ArrayView& elements) : elements_(elements) {}
  bool operator()(int i, pstRef<psObj>& value) const {
    value = elements_[i];
    return true;
  }
  PS_ALWAYS_INLINE void prefetch(int i) const { prefetchObject(elements_[i].oid()); }
  std::uint64_t* abbreviations(std::uint64_t tag) const { return elements_.abbreviations(tag); }
  // Whether an abbreviation that was found may be noted.
  bool mayNote() const { return mayNoteInRow(&elements_[0]); }

 private:
  const ArrayView& elements_;
};

// The abbreviations of an array, in a search for a key that has one.
class AbbreviationSearch {
 public:
  AbbreviationSearch() = default;
  AbbreviationSearch(std::uint64_t* row, std::uint64_t key) : row_(row), key_(key) {}

  // Narrows the range between low and high to what the abbreviations cannot tell. Does nothing when one that it needs
  // is not known.
  void narrow(int& low, int& high, ExpectedPart part) const {
    if (row_ == nullptr || high - low <= 1) return;
    const std::uint64_t* const begin = row_ + low + 1;
    const std::uint64_t* const end = row_ + high;
    const std::uint64_t* const first = lowerBound(begin, end, part);
    if (first == nullptr) return;
    const std::uint64_t* behind = first;
    while (behind != end && *behind == key_) ++behind;
    if (behind != end && *behind == 0) return;
    low += static_cast<int>(first - begin);
    high -= static_cast<int>(end - behind);
  }

  // How entry i compares with the key; 0 when that must be found out.
  int compare(int i) const {
    const std::uint64_t known = row_ != nullptr ? row_[i] : 0;
    return known == 0 || known == key_ ? 0 : (known > key_) - (known < key_);
  }

  std::uint64_t* unknownAt(int i) const { return row_ != nullptr && row_[i] == 0 ? row_ + i : nullptr; }

 private:
  // How far from the expected place the key may be.
  static constexpr std::ptrdiff_t tolerance = 20;

  // The first entry that is not less than the key; null when an entry that was looked at is not known.
  const std::uint64_t* lowerBound(const std::uint64_t* begin, const std::uint64_t* end, ExpectedPart part) const {
    if (part >= 0) expect(begin, end, part);
    bool isKnown = true;
    std::ptrdiff_t n = end - begin;
    while (n > 0) {
      const std::ptrdiff_t half = n / 2;
      const std::uint64_t middle = begin[half];
      isKnown &= middle != 0;
      // Without a branch, which half of the time would be mispredicted.
      begin = middle < key_ ? begin + half + 1 : begin;
      n = middle < key_ ? n - half - 1 : half;
    }
    return isKnown ? begin : nullptr;
  }

  // Narrows the range to what is about the expected place, if the key is there.
  void expect(const std::uint64_t*& begin, const std::uint64_t*& end, ExpectedPart part) const {
    const std::ptrdiff_t n = end - begin;
    const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(n));
    const std::ptrdiff_t from = std::max<std::ptrdiff_t>(place - tolerance, 0);
    const std::ptrdiff_t to = std::min(place + tolerance, n);
    if (from >= to) return;
    const bool isBehind = from == 0 || (begin[from - 1] != 0 && begin[from - 1] < key_);
    const bool isBefore = to == n || begin[to] >= key_;
    if (isBefore) end = begin + to;
    if (isBehind) begin += from;
  }

  std::uint64_t* row_ = nullptr;
  std::uint64_t key_ = 0;
};

// One search. Reader says what is read for an entry of the array; it returns false for an entry that cannot be read.
// Its prefetch brings what the comparison will read into the processor's caches. Comparison compares it with the key.
template <class Reader, class Comparison>
class BinarySearch {
 public:
  BinarySearch(const ArrayView& array, Comparison comparison, bool usesAbbreviations)
      : count_(array.count()), comparison_(comparison), reader_(array) {
    if constexpr (Comparison::opensObjects) {
      if (!usesAbbreviations || count_ == 0 || !array.keepsAbbreviations()) return;
      const Abbreviation& key = comparison_.probe().abbreviation();
      std::uint64_t* const row = key.isKnown() && !comparison_.failed() ? reader_.abbreviations(key.tag) : nullptr;
      abbreviations_ = AbbreviationSearch(row, key.value);
      result_.usedAbbreviations = row != nullptr;
    }
  }

  // Invariant: entries up to low are below the wanted position, and entries from high on are not. The array is taken to
  // continue beyond both ends.
  SearchResult run(int low, int high, ExpectedPart part = notExpected) {
    if (Comparison::opensObjects) abbreviations_.narrow(low, high, part);
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
    if constexpr (Comparison::opensObjects) {
      if (const int known = abbreviations_.compare(i); known != 0) return known;
    }
    pstRef<psObj> value;
    if (!reader_(i, value)) {
      result_.failed = true;
      return 0;
    }
    const int result = comparison_(value);
    result_.failed = comparison_.failed();
    if constexpr (Comparison::opensObjects) {
      if (!result_.failed) noteAbbreviation(i, value);
    }
    return result;
  }

  // Notes the abbreviation of what an entry was found to be.
  void noteAbbreviation(int i, const pstRef<psObj>& value) {
    std::uint64_t* const entry = abbreviations_.unknownAt(i);
    if (entry == nullptr || !reader_.mayNote()) return;
    *entry = comparison_.probe().abbreviationOf(value);
    result_.failed = comparison_.failed();
    if (result_.failed) *entry = 0;
  }

  static bool isBehind(int result) { return Reader::equalIsBehind ? result >= 0 : result > 0; }

  static SearchResult failure(int position) { return {position, false, true}; }

  int count_;
  Comparison comparison_;
  Reader reader_;
  AbbreviationSearch abbreviations_;
  SearchResult result_;
};

template <class Reader, class Comparison>
SearchResult searchWith(const ArrayView& array, Comparison comparison, SearchEnds ends, ExpectedPart part) {
  // What is asked for in an array of nodes are the lowest elements, and abbreviations only separate.
  const bool areExact = Reader::equalIsBehind;
  BinarySearch<Reader, Comparison> search(array, comparison, areExact || ends == SearchEnds::notAsked);
  if (ends == SearchEnds::asked) return search.runWithEnds();
  // What is less than every node belongs in the first, whose lowest element need not be looked at.
  const int low = areExact || array.count() == 0 ? -1 : 0;
  SearchResult result = search.run(low, array.count(), part);
  result.failed = result.failed || comparison.failed();
  return result;
}

template <class Reader>
SearchResult searchArray(const ArrayView& array, KeyProbe& probe, SearchEnds ends, ExpectedPart part = notExpected) {
  if (!array.isOpen() || probe.failed()) return {0, false, true};
  if (probe.identifier() != nullptr) return searchWith<Reader>(array, IdComparison(*probe.identifier()), ends, part);
  return searchWith<Reader>(array, ProbeComparison(probe), ends, part);
}

}  // namespace ps::detail
