#pragma once

#include <inspect/psStoredObject.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <string>

#include "pscol/Cell.h"

namespace pscol {

// How values are shown.
struct ValueStyle {
  std::size_t elements = 10;     // of a list, for people and in JSON
  std::size_t characters = 200;  // of a text, for people
  // What follows a reference that is not null, for people; and what stands for one in JSON. Nothing and its identifier
  // when these are null.
  std::function<std::string(const psId&)> resolveText;
  std::function<Json(const psId&)> resolveJson;

  // Everything, and no reference resolved.
  static ValueStyle whole() {
    constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
    return {all, all, nullptr, nullptr};
  }
};

// A value for people, in one line, and as JSON: a reference is "1-2-3-4" or null, a text is a string, or {"hex": …}
// where it is not UTF-8, what cannot be read is {"unreadable": …}.
std::string valueText(const psStoredValue& value, const ValueStyle& style = {});
Json valueJson(const psStoredValue& value, const ValueStyle& style = ValueStyle::whole());

// All fields of an object, for people: "name: value, …"; and as JSON: an object with each field. What the store does
// not describe is "#bytes". A field of a base class that has the name of another has the class before it.
std::string fieldsText(const psStoredObject& object, const ValueStyle& style = {});
Json fieldsJson(const psStoredObject& object, const ValueStyle& style = ValueStyle::whole());

// Calls visit with each field and its name.
template <class Visit>
void visitFields(const psStoredObject& object, Visit visit) {
  for (const psStoredLevel& level : object.levels) {
    for (const psStoredValue& field : level.fields) visit(level, field);
  }
}

}  // namespace pscol
