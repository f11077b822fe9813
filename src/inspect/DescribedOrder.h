#pragma once

#include <cstdint>
#include <vector>

#include "core/psCompare.h"
#include "store/cache/ClassTable.h"
#include "store/schema/OrderShape.h"

struct psDescribedKey;

namespace ps::detail {

// Where the value of a key is in an element.
struct KeyPlace {
  FieldKind kind{};  // character for a fixed array of them, array for other texts
  bool isText = false;
  bool descends = false;
  std::uint32_t offset = 0;
  std::uint32_t size = 0;  // of a number, or of a fixed array
};

// The order that the newest layout of a comparator's class describes; without keys when it describes none.
OrderShape storedOrder(const StoredClass& comparator);

// Where the keys are in objects that keep so much. Empty when a key is a function, or is not there, or could be either
// of 2 fields, or is of another kind.
std::vector<KeyPlace> placesOf(const OrderShape& order, const std::vector<ClassLevel>& levels);

// Orders as a comparator of PS_ORDER does that the program lacks, by what the store says of it. Comparators whose
// classes were adopted get the virtual table of this class, and find their keys by the class number that they are
// stored with. Its abbreviations are none, and those that the real comparator has made have another tag.
//
// A raw key is the address of a psDescribedKey.
class DescribedOrder : public psCompare {
  PS_PERSISTENT_CLASS(DescribedOrder, psCompare, 4030)

 public:
  int compare(const pstHandle<psObj>& element, const void*& key) const override;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override;
  int hash(const void*& key) const override;
  int hash(const pstHandle<psObj>& element) const override;
  unsigned int elementTypeN() const override;

 private:
  const ClassInfo* info() const;
  const std::vector<KeyPlace>* placesIn(const psObj& element) const;
  int compareWith(const psObj& element, const psDescribedKey& key) const;
  int compareObjects(const psObj& a, const psObj& b) const;
  int hashOf(const psObj& element) const;
};

}  // namespace ps::detail
