#include "store/schema/psOldObject.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "store/schema/ClassShape.h"
#include "store/schema/StoredNumber.h"

using ps::FieldKind;
using ps::detail::FieldShape;
using ps::detail::integerAt;
using ps::detail::isInteger;
using ps::detail::isUnsigned;

namespace {

const FieldShape* fieldNamed(const std::vector<FieldShape>& fields, std::string_view name) {
  const auto found =
      std::find_if(fields.begin(), fields.end(), [name](const FieldShape& field) { return field.name == name; });
  return found != fields.end() ? &*found : nullptr;
}

// The field that a path of names leads to, and where the object has it.
const FieldShape* fieldAt(const std::vector<FieldShape>& fields, std::string_view path, const char*& place) {
  const std::size_t dot = path.find('.');
  const FieldShape* const field = fieldNamed(fields, path.substr(0, dot));
  if (field == nullptr) return nullptr;
  place += field->offset;
  return dot == std::string_view::npos ? field : fieldAt(field->parts, path.substr(dot + 1), place);
}

}  // namespace

unsigned int psOldObject::version() const { return shape_.version(); }

bool psOldObject::has(const char* field) const {
  const char* place = object_;
  return std::any_of(shape_.levels.begin(), shape_.levels.end(), [&](const ps::detail::ClassLevel& level) {
    return fieldAt(level.fields, field, place) != nullptr;
  });
}

void psOldObject::complain(std::string_view field, const char* what) const {
  if (complaint_.empty()) complaint_ = "its function asks for the field \"" + std::string(field) + "\", which " + what;
}

const FieldShape* psOldObject::find(std::string_view field, unsigned int i, const char*& place) const {
  const FieldShape* found = nullptr;
  for (const ps::detail::ClassLevel& level : shape_.levels) {
    place = object_;
    found = fieldAt(level.fields, field, place);
    if (found != nullptr) break;
  }
  if (found == nullptr) {
    complain(field, "was not there");
  } else if (i >= found->count) {
    complain(field, "had fewer elements");
    found = nullptr;
  } else {
    place += std::size_t{i} * found->size;
  }
  return found;
}

bool psOldObject::findInteger(const char* field, unsigned int i, std::uint64_t& value, bool& isNegative) const {
  const char* place = nullptr;
  const FieldShape* const found = find(field, i, place);
  if (found == nullptr) return false;
  if (!isInteger(found->kind)) {
    complain(field, "was no integer");
    return false;
  }
  value = integerAt(place, found->kind, found->size);
  isNegative = !isUnsigned(found->kind) && static_cast<std::int64_t>(value) < 0;
  return true;
}

std::int64_t psOldObject::signedInteger(const char* field, unsigned int i, std::int64_t least,
                                        std::int64_t most) const {
  std::uint64_t bits = 0;
  bool isNegative = false;
  if (!findInteger(field, i, bits, isNegative)) return 0;
  const auto value = static_cast<std::int64_t>(bits);
  if (isNegative == (value < 0) && value >= least && value <= most) return value;
  complain(field, "does not fit into the type that it is asked as");
  return 0;
}

std::uint64_t psOldObject::unsignedInteger(const char* field, unsigned int i, std::uint64_t most) const {
  std::uint64_t value = 0;
  bool isNegative = false;
  if (!findInteger(field, i, value, isNegative)) return 0;
  if (!isNegative && value <= most) return value;
  complain(field, "does not fit into the type that it is asked as");
  return 0;
}

double psOldObject::number(const char* field, unsigned int i) const {
  const char* place = nullptr;
  const FieldShape* const found = find(field, i, place);
  if (found == nullptr) return 0;
  if (found->kind == FieldKind::floating) return ps::detail::floatingAt(place, found->size);
  if (!isInteger(found->kind)) {
    complain(field, "was no number");
    return 0;
  }
  const std::uint64_t value = integerAt(place, found->kind, found->size);
  return isUnsigned(found->kind) ? static_cast<double>(value) : static_cast<double>(static_cast<std::int64_t>(value));
}

psId psOldObject::id(const char* field, unsigned int i) const {
  const char* place = nullptr;
  const FieldShape* const found = find(field, i, place);
  psId value;
  if (found == nullptr) return value;
  if (found->kind == FieldKind::identifier || found->kind == FieldKind::reference)
    std::memcpy(static_cast<void*>(&value), place, sizeof value);
  else
    complain(field, "was no identifier and no reference");
  return value;
}

std::string_view psOldObject::text(const char* field) const {
  const char* place = nullptr;
  const FieldShape* const found = find(field, 0, place);
  if (found == nullptr) return {};
  if (found->kind == FieldKind::character) return {place, strnlen(place, found->count)};
  complain(field, "was no char array");
  return {};
}
