#include "pscol/ValueText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "pscol/Text.h"

namespace pscol {

namespace {

using Kind = psStoredValue::Kind;

std::string floatingText(double number) {
  std::array<char, 64> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return std::string(text.data(), end);
}

std::string shortened(const std::string& text, std::size_t most) {
  if (text.size() <= most) return inQuotes(text);
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) --end;
  return inQuotes(text.substr(0, end)) + "… (" + countText(text.size()) + " bytes)";
}

std::string listText(const psStoredValue& value, const ValueStyle& style) {
  std::string text = "[";
  for (std::size_t i = 0; i < value.count && i < style.elements; ++i)
    text += (i > 0 ? ", " : "") + valueText(value.element(i), style);
  if (value.count > style.elements) text += ", … (" + countText(value.count) + " elements)";
  return text + "]";
}

std::string structureText(const psStoredValue& value, const ValueStyle& style) {
  std::string text;
  for (const psStoredValue& member : value.members)
    text += (text.empty() ? "" : ", ") + member.name + ": " + valueText(member, style);
  return "{" + text + "}";
}

// JSON has no numbers for what is infinite, or none.
Json floatingJson(double number) { return std::isfinite(number) ? Json(number) : Json(floatingText(number)); }

}  // namespace

std::string valueText(const psStoredValue& value, const ValueStyle& style) {
  switch (value.kind) {
    case Kind::boolean:
      return value.boolean ? "true" : "false";
    case Kind::signedInteger:
      return std::to_string(value.signedInteger);
    case Kind::unsignedInteger:
      return std::to_string(value.unsignedInteger);
    case Kind::floating:
      return floatingText(value.floating);
    case Kind::reference:
      if (value.id.isNull()) return "null";
      return idText(value.id) + (style.resolveText != nullptr ? style.resolveText(value.id) : "");
    case Kind::text:
      return shortened(value.text, style.characters);
    case Kind::list:
      return listText(value, style);
    case Kind::structure:
      return structureText(value, style);
    case Kind::bytes:
      return countText(value.text.size()) +
             " bytes without a description: " + hexadecimal(value.text.substr(0, style.elements)) +
             (value.text.size() > style.elements ? "…" : "");
    case Kind::unreadable:
      break;
  }
  return "(unreadable: " + value.text + ")";
}

Json valueJson(const psStoredValue& value, const ValueStyle& style) {
  switch (value.kind) {
    case Kind::boolean:
      return value.boolean;
    case Kind::signedInteger:
      return value.signedInteger;
    case Kind::unsignedInteger:
      return value.unsignedInteger;
    case Kind::floating:
      return floatingJson(value.floating);
    case Kind::reference:
      if (value.id.isNull()) return nullptr;
      return style.resolveJson != nullptr ? style.resolveJson(value.id) : Json(idText(value.id));
    case Kind::text:
      return textJson(value.text);
    case Kind::list: {
      Json list = Json::array();
      for (std::size_t i = 0; i < value.count && i < style.elements; ++i)
        list.push_back(valueJson(value.element(i), style));
      return list;
    }
    case Kind::structure: {
      Json members = Json::object();
      for (const psStoredValue& member : value.members) members[member.name] = valueJson(member, style);
      return members;
    }
    case Kind::bytes:
      return Json{{"hex", hexadecimal(value.text)}};
    case Kind::unreadable:
      break;
  }
  return Json{{"unreadable", value.text}};
}

std::string fieldsText(const psStoredObject& object, const ValueStyle& style) {
  std::string text;
  visitFields(object, [&](const psStoredLevel&, const psStoredValue& field) {
    text += (text.empty() ? "" : ", ") + (field.name.empty() ? "" : field.name + ": ") + valueText(field, style);
  });
  return text;
}

Json fieldsJson(const psStoredObject& object, const ValueStyle& style) {
  Json fields = Json::object();
  visitFields(object, [&](const psStoredLevel& level, const psStoredValue& field) {
    const std::string name = field.name.empty() ? "#bytes" : field.name;
    fields[fields.contains(name) ? level.className + "::" + name : name] = valueJson(field, style);
  });
  return fields;
}

}  // namespace pscol
