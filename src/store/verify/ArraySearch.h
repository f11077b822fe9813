#pragma once

#include <cstdint>
#include <vector>

#include "store/cache/TypeRegistry.h"
#include "store/schema/ClassShape.h"

namespace ps::detail {

// Collects where a layout has arrays, and notes whether it may have more. There can be more fields in a forged
// description than any object has bytes, so the search ends after so many steps.
class ArraySearch {
 public:
  ArraySearch(std::vector<std::uint32_t>& arrays, bool& mayHide) : arrays_(arrays), mayHide_(mayHide) {}

  void search(const ClassLevel& level);

 private:
  void search(const FieldShape& field, std::uint32_t begin);
  void searchOpaque(std::uint32_t begin, std::uint32_t size, const ClassInfo* info);

  std::vector<std::uint32_t>& arrays_;
  bool& mayHide_;
  std::uint32_t steps_ = 1000000;
};

}  // namespace ps::detail
