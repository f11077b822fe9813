#include "inspect/ValueReader.h"

#include <algorithm>
#include <utility>

#include "store/base/IdText.h"
#include "store/base/RecordBytes.h"
#include "store/schema/StoredNumber.h"

namespace ps::detail {

namespace {

using Kind = psStoredValue::Kind;

constexpr std::string_view textStructure = "ps::String";

std::string typeOf(const FieldShape& field) {
  return field.kind == FieldKind::structure ? field.structure : kindText(field);
}

psStoredValue unreadable(const FieldShape& field, std::string why) {
  psStoredValue value;
  value.name = field.name;
  value.type = typeOf(field);
  value.text = std::move(why);
  return value;
}

// Whether a field is, or may have, an array, whose elements are elsewhere.
bool reachesArrays(const FieldShape& field) {
  return field.kind == FieldKind::array || std::any_of(field.parts.begin(), field.parts.end(), &reachesArrays);
}

// A value that needs nothing but its bytes.
psStoredValue flatValue(const FieldShape& field, std::string_view bytes) {
  psStoredValue value;
  value.name = field.name;
  value.type = typeOf(field);
  // What elements of arrays are is not looked at when a description is read.
  if (!isSizeOf(field.kind, bytes.size())) {
    value.kind = Kind::bytes;
    value.text = bytes;
    return value;
  }
  switch (field.kind) {
    case FieldKind::boolean:
      value.kind = Kind::boolean;
      value.boolean = bytes[0] != 0;
      break;
    case FieldKind::character:
      value.kind = Kind::text;
      value.text = bytes;
      break;
    case FieldKind::signedInteger:
      value.kind = Kind::signedInteger;
      value.signedInteger = static_cast<std::int64_t>(integerAt(bytes.data(), field.kind, field.size));
      break;
    case FieldKind::unsignedInteger:
      value.kind = Kind::unsignedInteger;
      value.unsignedInteger = integerAt(bytes.data(), field.kind, field.size);
      break;
    case FieldKind::floating:
      value.kind = Kind::floating;
      value.floating = floatingAt(bytes.data(), field.size);
      break;
    case FieldKind::identifier:
    case FieldKind::reference:
      value.kind = Kind::reference;
      value.id = numberIn<psId>(bytes.data());
      break;
    case FieldKind::array:
    case FieldKind::structure:
    case FieldKind::opaque:
      value.kind = Kind::bytes;
      value.text = bytes;
      break;
  }
  return value;
}

psStoredValue textValue(const FieldShape& field, std::string_view characters) {
  psStoredValue value = flatValue(field, characters);
  value.kind = Kind::text;
  return value;
}

}  // namespace

std::vector<psStoredValue> ValueReader::read(const std::vector<FieldShape>& fields, std::string_view bytes,
                                             std::size_t begin) {
  std::vector<psStoredValue> values;
  for (const FieldShape& field : fields) {
    const std::uint64_t size = std::uint64_t{field.size} * field.count;
    const bool isWithin =
        field.offset >= begin && field.offset - begin <= bytes.size() && size <= bytes.size() - (field.offset - begin);
    values.push_back(isWithin ? readField(field, bytes.substr(field.offset - begin, field.bytes()))
                              : unreadable(field, "lies beyond the object"));
  }
  return values;
}

// A field with all elements of a fixed array.
psStoredValue ValueReader::readField(const FieldShape& field, std::string_view bytes) {
  if (field.count == 1 || field.size == 0) return readOne(field, bytes);
  if (field.kind == FieldKind::character) return textValue(field, bytes.substr(0, bytes.find_last_not_of('\0') + 1));
  psStoredValue list = listOf(field, std::string(bytes), field.count);
  list.name = field.name;
  list.type = typeOf(field) + "[" + std::to_string(field.count) + "]";
  return list;
}

psStoredValue ValueReader::readOne(const FieldShape& field, std::string_view bytes) {
  if (++values_ > mostValues) return unreadable(field, "is not shown, since the object has too many values");
  if (field.kind == FieldKind::structure) return readStructure(field, bytes);
  return field.kind == FieldKind::array ? readArray(field, bytes) : flatValue(field, bytes);
}

psStoredValue ValueReader::readStructure(const FieldShape& field, std::string_view bytes) {
  psStoredValue value;
  value.kind = Kind::structure;
  value.members = read(field.parts, bytes, 0);
  // It has a text, and is shown as one.
  if (field.structure == textStructure && value.members.size() == 1) {
    psStoredValue text = std::move(value.members.front());
    value = std::move(text);
  }
  value.name = field.name;
  value.type = field.structure;
  return value;
}

psStoredValue ValueReader::readArray(const FieldShape& field, std::string_view bytes) {
  const auto storage = numberIn<psId>(bytes.data());
  FieldShape element = field.parts.empty() ? FieldShape() : field.parts.front();
  std::string content;
  std::string complaint;
  if (depth_ >= deepest) return unreadable(field, "lies in too many arrays");
  if (!storage.isNull() && !readStorage(storage, content, element, complaint)) return unreadable(field, complaint);
  if (element.size == 0 || content.size() % element.size != 0) return unreadable(field, "ends within an element");
  const std::size_t count = content.size() / element.size;
  ++depth_;
  psStoredValue value =
      element.kind == FieldKind::character ? textValue(field, content) : listOf(element, std::move(content), count);
  --depth_;
  value.name = field.name;
  value.type = typeOf(field);
  value.storage = storage;
  value.isArray = true;
  return value;
}

// The elements of an array. When they are structures, the storage says how they are laid out.
bool ValueReader::readStorage(const psId& storage, std::string& bytes, FieldShape& element, std::string& complaint) {
  if (storages_.find(storage) != RecordedPages::Found::storage) {
    complaint = textOf(storage) + ", its storage, cannot be read";
    return false;
  }
  const RecordedObject& object = storages_.object();
  bytes.resize(object.size + rowBytes(rowsOf(object.type), object.size));
  object.layOutAsStored(bytes.data());
  bytes.resize(object.size);
  if (object.layout == 0) return true;
  if (!std::exchange(knowsElements_, true)) elements_ = classes_.stored(storageType);
  const std::size_t layout = object.layout - 1U;
  const bool isKnown = layout < elements_.layouts.size() && elements_.layouts[layout].isSound &&
                       elements_.layouts[layout].shape.levels.front().fields.size() == 1;
  if (isKnown) element = elements_.layouts[layout].shape.levels.front().fields.front();
  complaint = isKnown ? "" : "has elements that the store does not describe";
  return isKnown;
}

psStoredValue ValueReader::listOf(const FieldShape& element, std::string bytes, std::size_t count) {
  psStoredValue list;
  list.kind = Kind::list;
  list.count = count;
  auto elements = std::make_shared<psStoredValue::Elements>();
  elements->shape = element;
  elements->shape.name.clear();
  elements->shape.count = 1;
  if (element.kind == FieldKind::structure || reachesArrays(element)) {
    for (std::size_t i = 0; i < count && values_ <= mostValues; ++i)
      elements->made.push_back(
          readOne(elements->shape, std::string_view(bytes).substr(i * element.size, element.size)));
    list.count = elements->made.size();
  } else {
    elements->bytes = std::move(bytes);
  }
  list.elements = std::move(elements);
  return list;
}

}  // namespace ps::detail

psStoredValue psStoredValue::element(std::size_t i) const {
  if (elements == nullptr || i >= count) return {};
  if (!elements->made.empty()) return elements->made[i];
  const std::size_t size = elements->shape.size;
  return ps::detail::flatValue(elements->shape, std::string_view(elements->bytes).substr(i * size, size));
}

psStoredValue psStoredValue::listOf(std::vector<psStoredValue> elements) {
  psStoredValue list;
  list.kind = Kind::list;
  list.count = elements.size();
  auto made = std::make_shared<Elements>();
  made->made = std::move(elements);
  list.elements = std::move(made);
  return list;
}
