#include "pscol/DumpFormat.h"

#include <inspect/psOrderKeys.h>
#include <store/base/ClassNumbers.h>

#include <array>
#include <charconv>
#include <nlohmann/json.hpp>

#include "pscol/Failure.h"
#include "pscol/Text.h"
#include "pscol/ValueText.h"

namespace pscol {

namespace {

constexpr const char* bytesName = "#bytes";
constexpr std::array<const char*, 6> kinds = {"none", "list", "sortedSet", "sortedMap", "hashSet", "hashMap"};

Failure malformed(const std::string& what) { return {Status::unusable, what}; }

std::string bytesFrom(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    unsigned int byte = 0;
    const char* const end = digits.data() + i + 2;
    if (std::from_chars(digits.data() + i, end, byte, 16).ptr != end)
      throw malformed(inQuotes(digits) + " are no bytes in hexadecimal digits");
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

psStoredValue valueFrom(const Json& json, std::string name);

psStoredValue structureFrom(const Json& json) {
  psStoredValue value;
  const bool isBytes = json.size() == 1 && json.contains("hex");
  value.kind = isBytes ? psStoredValue::Kind::bytes : psStoredValue::Kind::structure;
  if (isBytes) value.text = bytesFrom(json["hex"].get<std::string>());
  if (isBytes) return value;
  for (const auto& [member, content] : json.items()) value.members.push_back(valueFrom(content, member));
  return value;
}

// The kind of a value in JSON need not be that of its field: psStoreBuilder makes it so.
psStoredValue valueFrom(const Json& json, std::string name) {
  psStoredValue value;
  if (json.is_object()) value = structureFrom(json);
  if (json.is_array()) {
    std::vector<psStoredValue> elements;
    for (const Json& element : json) elements.push_back(valueFrom(element, ""));
    value = psStoredValue::listOf(std::move(elements));
  }
  if (json.is_null()) value.kind = psStoredValue::Kind::reference;
  if (json.is_boolean()) value.kind = psStoredValue::Kind::boolean, value.boolean = json.get<bool>();
  if (json.is_number_unsigned())
    value.kind = psStoredValue::Kind::unsignedInteger, value.unsignedInteger = json.get<std::uint64_t>();
  else if (json.is_number_integer())
    value.kind = psStoredValue::Kind::signedInteger, value.signedInteger = json.get<std::int64_t>();
  else if (json.is_number_float())
    value.kind = psStoredValue::Kind::floating, value.floating = json.get<double>();
  if (json.is_string()) value.kind = psStoredValue::Kind::text, value.text = json.get<std::string>();
  value.name = std::move(name);
  return value;
}

}  // namespace

const char* kindText(psCollectionKind kind) { return kinds[static_cast<std::size_t>(kind)]; }

psCollectionKind kindFrom(const std::string& text) {
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (text == kinds[i]) return static_cast<psCollectionKind>(i);
  }
  return psCollectionKind::none;
}

Json objectLine(const psStoredObject& object, bool isCollection) {
  Json line = {
      {"object", idText(object.id)}, {"class", object.typeN}, {"layout", object.layout}, {"size", object.size}};
  if (object.isNamed) line["named"] = true;
  for (const psStoredLevel& level : object.levels) {
    if (isCollection && level.typeN <= psHighestLibraryTypeN) continue;
    Json fields = Json::object();
    for (const psStoredValue& field : level.fields) {
      if (field.kind == psStoredValue::Kind::unreadable) continue;
      fields[field.name.empty() ? bytesName : field.name] = valueJson(field);
    }
    if (level.typeN == object.typeN)
      line["fields"] = std::move(fields);
    else
      line["bases"].push_back({{"class", level.typeN}, {"fields", std::move(fields)}});
  }
  return line;
}

psStoredObject objectFrom(const Json& line) {
  psStoredObject object;
  object.id = idFrom(line.at("object"));
  object.typeN = line.at("class").get<unsigned int>();
  object.layout = line.at("layout").get<std::uint16_t>();
  object.size = line.at("size").get<std::uint32_t>();
  object.isNamed = line.value("named", false);
  const auto addLevel = [&object](unsigned int typeN, const Json& fields) {
    psStoredLevel& level = object.levels.emplace_back();
    level.typeN = typeN;
    for (const auto& [name, value] : fields.items())
      level.fields.push_back(valueFrom(value, name == bytesName ? "" : name));
  };
  if (line.contains("fields")) addLevel(object.typeN, line["fields"]);
  if (!line.contains("bases")) return object;
  for (const Json& base : line["bases"]) addLevel(base.at("class").get<unsigned int>(), base.at("fields"));
  return object;
}

std::string textFrom(const Json& json) {
  return json.is_object() ? bytesFrom(json.at("hex").get<std::string>()) : json.get<std::string>();
}

psId idFrom(const Json& json) {
  if (json.is_null()) return {};
  psOrderKey identifier;
  identifier.kind = psOrderKey::Kind::identifier;
  psKeyValue value;
  std::string complaint;
  const auto text = json.get<std::string>();
  if (!psParseKey(text, identifier, value, complaint))
    throw malformed(inQuotes(text) + " is no identifier, as 1-2-3-4 is one");
  return std::get<psId>(value);
}

}  // namespace pscol
