#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/psStoredValue.h"
#include "store/cache/ClassTable.h"
#include "store/schema/ClassShape.h"
#include "store/verify/RecordedPages.h"

// How psStoredValue::element makes elements: those of arrays that hold arrays are made beforehand, since they are read
// elsewhere; others are made of their bytes.
struct psStoredValue::Elements {
  ps::detail::FieldShape shape;  // of one
  std::string bytes;
  std::vector<psStoredValue> made;
};

namespace ps::detail {

// Makes the values of an object's fields of its bytes and their description, and reads its arrays. It trusts neither.
class ValueReader {
 public:
  ValueReader(Engine& engine, ClassTable& classes) : storages_(engine), classes_(classes) {}

  // The values of the fields of one class. The first byte has the offset `begin`. Offsets beyond the bytes make a value
  // unreadable.
  std::vector<psStoredValue> read(const std::vector<FieldShape>& fields, std::string_view bytes, std::size_t begin);
  // Before each object: how many values it may have is bounded.
  void beginObject() { values_ = 0; }

 private:
  static constexpr std::uint32_t mostValues = 20000000;
  static constexpr int deepest = 32;

  psStoredValue readField(const FieldShape& field, std::string_view bytes);
  psStoredValue readOne(const FieldShape& field, std::string_view bytes);
  psStoredValue readStructure(const FieldShape& field, std::string_view bytes);
  psStoredValue readArray(const FieldShape& field, std::string_view bytes);
  bool readStorage(const psId& storage, std::string& bytes, FieldShape& element, std::string& complaint);
  psStoredValue listOf(const FieldShape& element, std::string bytes, std::size_t count);

  RecordedPages storages_;
  ClassTable& classes_;
  StoredClass elements_;  // the layouts of structures in arrays
  bool knowsElements_ = false;
  std::uint32_t values_ = 0;
  int depth_ = 0;
};

}  // namespace ps::detail
