#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/psStoredObject.h"
#include "store/cache/ClassTable.h"

namespace ps::detail {

// The opposite of ValueReader: lays an object out by the description of its class. A value need not have the kind of
// its field, as long as it means one: a number may be written as any other kind of number, and a reference as a text.
class ValueWriter {
 public:
  // Stores the elements of an array, which have a layout or 0, and says where. Null when that is not possible.
  using Store = std::function<psId(const std::string& bytes, std::uint16_t layout)>;

  // elements has the layouts of structures in arrays.
  ValueWriter(const StoredClass& elements, Store store) : elements_(elements), store_(std::move(store)) {}

  // Writes the fields of one class, as far as there are values for them, into an object.
  bool write(const std::vector<FieldShape>& fields, const std::vector<psStoredValue>& values, std::string& object);

  // Why the last call failed, as the rest of a sentence.
  const std::string& complaint() const { return complaint_; }

 private:
  bool writeField(const FieldShape& field, const psStoredValue& value, char* at);
  bool writeOne(const FieldShape& field, const psStoredValue& value, char* at);
  bool writeArray(const FieldShape& field, const psStoredValue& value, char* at);
  bool writeStructure(const FieldShape& field, const psStoredValue& value, char* at);
  bool writeInteger(const FieldShape& field, const psStoredValue& value, char* at);
  bool refuse(const FieldShape& field, const std::string& what);

  const StoredClass& elements_;
  Store store_;
  std::string complaint_;
};

}  // namespace ps::detail
