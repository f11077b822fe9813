#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "store/base/psExport.h"
#include "store/base/psId.h"
#include "store/schema/OrderShape.h"

// The keys by which collections are ordered whose comparators this program lacks, and how to look up by them.
//
//   const std::vector<psOrderKey> keys = psOrderKeysOf(comparator.typeN());
//   psDescribedKey key;
//   if (psTakesDescribedKey(comparator.typeN()) && psParseKey("pear", keys[0], key.values.emplace_back(), complaint))
//     found = collection->get(&key);

// A value of an element by which it is ordered.
struct psOrderKey {
  // What the value is: a number, a text or an identifier.
  using Kind = ps::KeyKind;

  std::string field;  // empty when a function of the program makes the value
  Kind kind{};
  unsigned int bytes = 0;  // of a number
  bool descends = false;   // the greatest comes first
};

// What a key is compared as; std::int64_t for signed and std::uint64_t for unsigned numbers, of all sizes.
using psKeyValue = std::variant<std::int64_t, std::uint64_t, double, std::string, psId>;

// The raw key of collections for which psTakesDescribedKey holds: pass its address as `const void*`. A value of another
// kind than its key has is refused.
struct psDescribedKey {
  // Where a search in a sorted collection ends among elements that match: at one of them, before the first, or behind
  // the last.
  enum class End : std::int8_t { anyMatch = 0, beforeFirst = 1, behindLast = -1 };

  std::vector<psKeyValue> values;  // of the first keys; of all in a hash collection
  bool isPrefix = false;           // the last of these, a text, is only how it begins; not in a hash collection
  End end = End::anyMatch;
};

// The keys of the comparators of a class, as the current session's store describes them; the session must be in a
// transaction. Empty when the store does not describe any.
PS_API std::vector<psOrderKey> psOrderKeysOf(unsigned int comparatorTypeN);

// Whether comparators of a class take a psDescribedKey as their raw key: psInspector::adoptClasses has made the class
// known. Those that a program registers itself take keys of their own.
PS_API bool psTakesDescribedKey(unsigned int comparatorTypeN);

// Reads a value of a key: a number, any text, or an identifier as in "1-2-3-4". False, with a sentence, when the text
// is none.
PS_API bool psParseKey(const std::string& text, const psOrderKey& key, psKeyValue& value, std::string& complaint);
