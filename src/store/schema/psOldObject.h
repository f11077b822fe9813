#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "store/base/psExport.h"
#include "store/base/psId.h"

namespace ps::detail {
struct ClassShape;
struct FieldShape;
}  // namespace ps::detail

// The fields of an object as they were stored under an earlier version of its class, for a conversion function:
//
//   PS_CLASS_CONVERSION(Package, 1, [](const psOldObject& old, Package& now) {
//     now.bytes_ = old.get<long>("kilobytes_") * 1024;
//   })
//
// A field is named as it was then; a member of a structure as "place_.x". What is asked for and was not there, or does
// not fit into what it is asked as, makes the conversion fail, and the open that needed it is refused.
//
// It is valid while the function runs.
class PS_API psOldObject {
 public:
  psOldObject(const ps::detail::ClassShape& shape, const char* object) : shape_(shape), object_(object) {}
  psOldObject(const psOldObject&) = delete;
  psOldObject& operator=(const psOldObject&) = delete;

  // The version of the object's class when it was stored.
  unsigned int version() const;
  bool has(const char* field) const;

  // The value of a number, an enumeration, a bool, a psId or a pstRef; of a fixed array, element i.
  template <class T>
  T get(const char* field, unsigned int i = 0) const {
    if constexpr (std::is_floating_point_v<T>) {
      return static_cast<T>(number(field, i));
    } else if constexpr (std::is_enum_v<T>) {
      return static_cast<T>(get<std::underlying_type_t<T>>(field, i));
    } else if constexpr (std::is_integral_v<T>) {
      if constexpr (std::is_signed_v<T>)
        return static_cast<T>(signedInteger(field, i, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
      else
        return static_cast<T>(unsignedInteger(field, i, std::numeric_limits<T>::max()));
    } else {
      return T(id(field, i));
    }
  }

  // The characters of a char array up to the first that is 0.
  std::string_view text(const char* field) const;

  // What was asked for in vain; empty when nothing was.
  const std::string& complaint() const { return complaint_; }

 private:
  const ps::detail::FieldShape* find(std::string_view field, unsigned int i, const char*& place) const;
  bool findInteger(const char* field, unsigned int i, std::uint64_t& value, bool& isNegative) const;
  std::int64_t signedInteger(const char* field, unsigned int i, std::int64_t least, std::int64_t most) const;
  std::uint64_t unsignedInteger(const char* field, unsigned int i, std::uint64_t most) const;
  double number(const char* field, unsigned int i) const;
  psId id(const char* field, unsigned int i) const;
  void complain(std::string_view field, const char* what) const;

  const ps::detail::ClassShape& shape_;
  const char* object_;
  mutable std::string complaint_;
};
