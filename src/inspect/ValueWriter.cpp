#include "inspect/ValueWriter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "inspect/ObjectNames.h"

namespace ps::detail {

namespace {

using Kind = psStoredValue::Kind;

// The number of the layout of structures in arrays; 0 for other elements.
std::uint16_t layoutOf(const FieldShape& element, const StoredClass& elements) {
  if (element.kind != FieldKind::structure) return 0;
  for (std::size_t i = elements.layouts.size(); i-- > 0;) {
    const StoredClass::Layout& layout = elements.layouts[i];
    const bool isKnown = layout.isSound && layout.shape.levels.front().fields.size() == 1;
    if (isKnown && layout.shape.levels.front().fields.front().structure == element.structure)
      return static_cast<std::uint16_t>(i + 1);
  }
  return 0;
}

// Texts that are not UTF-8 are written as bytes.
bool hasBytes(const psStoredValue& value) { return value.kind == Kind::text || value.kind == Kind::bytes; }

template <class Number>
void put(Number number, char* at) {
  std::memcpy(at, &number, sizeof number);
}

bool findFloating(const psStoredValue& value, double& number) {
  switch (value.kind) {
    case Kind::floating:
      number = value.floating;
      return true;
    case Kind::signedInteger:
      number = static_cast<double>(value.signedInteger);
      return true;
    case Kind::unsignedInteger:
      number = static_cast<double>(value.unsignedInteger);
      return true;
    case Kind::text: {  // "inf", "nan"
      char* end = nullptr;
      number = std::strtod(value.text.c_str(), &end);
      return !value.text.empty() && *end == '\0';
    }
    default:
      return false;
  }
}

bool findId(const psStoredValue& value, psId& id) {
  const std::optional<psId> written = value.kind == Kind::text ? fromDashed(value.text) : std::nullopt;
  id = written.value_or(value.id);
  return value.kind == Kind::reference || written;
}

}  // namespace

bool ValueWriter::refuse(const FieldShape& field, const std::string& what) {
  complaint_ = "the field '" + field.name + "', " + kindText(field) + ", " + what;
  return false;
}

bool ValueWriter::write(const std::vector<FieldShape>& fields, const std::vector<psStoredValue>& values,
                        std::string& object) {
  for (const psStoredValue& value : values) {
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&value](const FieldShape& shape) { return shape.name == value.name; });
    if (field == fields.end()) {
      complaint_ = "the class has no field '" + value.name + "'";
      return false;
    }
    if (field->offset + std::uint64_t{field->size} * field->count > object.size())
      return refuse(*field, "lies beyond the object");
    if (!writeField(*field, value, object.data() + field->offset)) return false;
  }
  return true;
}

bool ValueWriter::writeField(const FieldShape& field, const psStoredValue& value, char* at) {
  if (field.kind == FieldKind::opaque || (field.kind == FieldKind::character && field.count > 1)) {
    if (!hasBytes(value) || value.text.size() > field.bytes()) return refuse(field, "has no such bytes");
    value.text.copy(at, value.text.size());
    return true;
  }
  if (field.count == 1) return writeOne(field, value, at);
  if (value.kind != Kind::list || value.count > field.count) return refuse(field, "has no such elements");
  for (std::size_t i = 0; i < value.count; ++i) {
    if (!writeOne(field, value.element(i), at + i * field.size)) return false;
  }
  return true;
}

bool ValueWriter::writeOne(const FieldShape& field, const psStoredValue& value, char* at) {
  double number = 0;
  psId id;
  if (!isSizeOf(field.kind, field.size)) return refuse(field, "has a size that no such value has");
  switch (field.kind) {
    case FieldKind::boolean:
      put(value.boolean, at);
      return value.kind == Kind::boolean || refuse(field, "is given no such value");
    case FieldKind::character:
      if (!hasBytes(value) || value.text.size() > 1) return refuse(field, "is given no character");
      if (!value.text.empty()) *at = value.text[0];
      return true;
    case FieldKind::signedInteger:
    case FieldKind::unsignedInteger:
      return writeInteger(field, value, at);
    case FieldKind::floating:
      if (!findFloating(value, number)) return refuse(field, "is given no number");
      if (field.size == sizeof(float))
        put(static_cast<float>(number), at);
      else
        put(number, at);
      return true;
    case FieldKind::identifier:
    case FieldKind::reference:
      if (!findId(value, id)) return refuse(field, "is given no identifier");
      put(id, at);
      return true;
    case FieldKind::array:
      return writeArray(field, value, at);
    case FieldKind::structure:
      return writeStructure(field, value, at);
    case FieldKind::opaque:
      break;
  }
  return refuse(field, "is of no known kind");
}

bool ValueWriter::writeInteger(const FieldShape& field, const psStoredValue& value, char* at) {
  const bool isSigned = value.kind == Kind::signedInteger;
  if (!isSigned && value.kind != Kind::unsignedInteger) return refuse(field, "is given no integer");
  const bool isNegative = isSigned && value.signedInteger < 0;
  const std::uint64_t bits = isSigned ? static_cast<std::uint64_t>(value.signedInteger) : value.unsignedInteger;
  const unsigned width = 8 * field.size;
  const unsigned used = field.kind == FieldKind::signedInteger ? width - 1 : width;
  const std::uint64_t magnitude = isNegative ? ~bits : bits;
  const bool fits = used >= 64 || magnitude >> used == 0;
  if (!fits || (isNegative && field.kind == FieldKind::unsignedInteger))
    return refuse(field, "is too small for a number");
  std::memcpy(at, &bits, field.size);
  return true;
}

bool ValueWriter::writeStructure(const FieldShape& field, const psStoredValue& value, char* at) {
  // A structure that has a text is shown as one.
  if (hasBytes(value) && field.parts.size() == 1) return writeField(field.parts.front(), value, at);
  if (value.kind != Kind::structure) return refuse(field, "is given no structure");
  std::string bytes(at, field.size);
  if (!write(field.parts, value.members, bytes)) return false;
  bytes.copy(at, bytes.size());
  return true;
}

bool ValueWriter::writeArray(const FieldShape& field, const psStoredValue& value, char* at) {
  FieldShape element = field.parts.empty() ? FieldShape() : field.parts.front();
  const std::uint16_t layout = layoutOf(element, elements_);
  if (layout != 0) element = elements_.layouts[layout - 1U].shape.levels.front().fields.front();
  std::string bytes;
  if (element.kind == FieldKind::character) {
    if (!hasBytes(value)) return refuse(field, "is given no text");
    bytes = value.text;
  } else if (value.kind == Kind::list) {
    bytes.resize(value.count * element.size);
    for (std::size_t i = 0; i < value.count; ++i) {
      if (!writeOne(element, value.element(i), bytes.data() + i * element.size)) return false;
    }
  } else {
    return refuse(field, "is given no list");
  }
  if (bytes.empty()) return true;
  const psId storage = store_(bytes, layout);
  put(storage, at);
  return !storage.isNull() || refuse(field, "finds no room in its container");
}

}  // namespace ps::detail
