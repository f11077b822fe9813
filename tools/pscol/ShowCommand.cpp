#include "pscol/ShowCommand.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "pscol/Text.h"

namespace pscol {

namespace {

// Objects refer to each other without an end.
constexpr std::uint64_t deepest = 8;

std::string classText(const psStoredObject& object) {
  const std::string name = object.className.empty() ? "class " + std::to_string(object.typeN) : object.className;
  const std::uint32_t version = object.levels.empty() ? 0 : object.levels.front().version;
  return name + (version != 0 ? " (version " + std::to_string(version) + ")" : "");
}

}  // namespace

ValueStyle resolvingStyle(OpenStore& store, std::uint64_t depth, std::size_t elements) {
  ValueStyle style;
  style.elements = elements;
  if (depth == 0) return style;
  style.resolveText = [&store, depth, elements](const psId& id) -> std::string {
    psStoredObject object;
    if (id.get_slot() == 0) return " " + inQuotes(store.nameOf(id));
    if (store.inspector().object(id, object) != 1) return " (cannot be read)";
    return " " + classText(object) + " {" + fieldsText(object, resolvingStyle(store, depth - 1, elements)) + "}";
  };
  style.resolveJson = [&store, depth, elements](const psId& id) {
    Json resolved;
    psStoredObject object;
    resolved["id"] = idText(id);
    if (id.get_slot() == 0) {
      resolved["path"] = textJson(store.nameOf(id));
    } else if (store.inspector().object(id, object) != 1) {
      resolved["unreadable"] = store.session().lastError();
    } else {
      resolved["class"] = classText(object);
      resolved["fields"] = fieldsJson(object, resolvingStyle(store, depth - 1, elements));
    }
    return resolved;
  };
  return style;
}

ShowCommand::ShowCommand() : Command("show", "Show one object: its class, names and fields") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("object", "A path of names, or an identifier as in 1-2-3-4", &path_);
  option("--depth", "N", "How many steps far references are resolved; 1 unless given, at most 8", &depth_);
  option("--elements", "N", "How many elements of each array are shown; 10 unless given", &elements_);
}

Status ShowCommand::run(Document& answer) {
  OpenStore store(store_);
  depth_ = std::min(depth_, deepest);
  psStoredObject object;
  const psId id = store.find(path_);
  if (id.get_slot() == 0)
    throw Failure(Status::negative, inQuotes(path_) + " is a database or a container; `pscol ls` shows what is in it");
  require(store.session(), store.inspector().object(id, object));
  showObject(object, store, answer);
  return Status::fine;
}

void ShowCommand::showObject(const psStoredObject& object, OpenStore& store, Document& answer) const {
  answer.fact("id", "Object", object.id);
  answer.fact("path", "Path", store.nameOf(object.id));
  answer.fact("class", "Class", classText(object));
  answer.fact("classNumber", "Class number", std::to_string(object.typeN));
  answer.fact("size", "Bytes in memory", Cell::count(object.size));
  answer.fact("bytes", "Bytes in the store", Cell::count(object.bytes));
  std::vector<psInspector::Filing> filings;
  require(store.session(), store.inspector().namesOf(object.id, filings));
  Document::Table& names = answer.table("names", "Names", {{"scope", "Scope"}, {"name", "Name"}, {"kind", "Kind"}});
  for (const psInspector::Filing& filing : filings)
    names.row({filing.scope.get_DB() == 0 ? "the federation" : store.nameOf(filing.scope), filing.filing.text,
               filing.filing.kind == psFiling::Kind::name ? "name" : "key"});
  Document::Table& fields =
      answer.table("fields", "Fields", {{"name", "Field"}, {"type", "Type"}, {"class", "Of"}, {"value", "Value"}});
  const ValueStyle style = resolvingStyle(store, depth_, elements_);
  visitFields(object, [&](const psStoredLevel& level, const psStoredValue& field) {
    fields.row({field.name, field.type, level.className, Cell::json(valueText(field, style), valueJson(field, style))});
  });
}

}  // namespace pscol
