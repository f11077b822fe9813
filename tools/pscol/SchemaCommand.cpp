#include "pscol/SchemaCommand.h"

#include <inspect/psOrderKeys.h>
#include <store/base/ClassNumbers.h>

#include <set>

#include "pscol/Text.h"

namespace pscol {

namespace {

// How the tool reads objects of a class.
std::string knowledge(const psStoredClass& known) {
  if (!known.isSound) return "damaged";
  if (known.typeN == ps::detail::storageType) return "elements of arrays";
  if (known.typeN <= psHighestLibraryTypeN) return "of the library";
  if (!psOrderKeysOf(known.typeN).empty())
    return psTakesDescribedKey(known.typeN) ? "by the keys of its order" : "an order by a function";
  for (const psStoredLayout& layout : known.layouts) {
    if (layout.isInUse && !layout.isSound) return "damaged";
    if (layout.isInUse && !layout.isDescribed) return "no description";
  }
  return "by description";
}

std::string versionsOf(const psStoredClass& known) {
  std::set<std::uint32_t> versions;
  for (const psStoredLayout& layout : known.layouts) {
    if (layout.isSound && layout.isInUse) versions.insert(layout.version);
  }
  std::string text;
  for (const std::uint32_t version : versions) text += (text.empty() ? "" : ", ") + std::to_string(version);
  return text;
}

}  // namespace

SchemaCommand::SchemaCommand() : Command("schema", "Show the classes of a store, or the fields of one") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("class", "A class, by name or number: shows its layouts and fields", &class_, false);
  details(
      "Objects of classes with a description are shown by their fields; of others, only the bytes are known. Bytes are "
      "those of the store's records.");
}

Status SchemaCommand::run(Document& answer) {
  OpenStore store(store_);
  const ClassNames classes(store);
  if (class_.empty())
    list(store, classes, answer);
  else
    describe(classes, answer);
  return Status::fine;
}

void SchemaCommand::list(OpenStore& store, const ClassNames& classes, Document& answer) {
  psSurvey survey = store.survey();
  Document::Table& table = answer.table("classes", "",
                                        {{"number", "Number"},
                                         {"name", "Class"},
                                         {"versions", "Versions"},
                                         {"layouts", "Layouts"},
                                         {"fields", "Fields"},
                                         {"objects", "Objects"},
                                         {"bytes", "Bytes"},
                                         {"read", "Read"}});
  for (const psStoredClass& known : classes.all()) {
    const psObjectCount count = survey.classes[known.typeN];
    const std::size_t fields = known.layouts.empty() ? 0 : known.layouts.back().fields.size();
    table.row({std::to_string(known.typeN), known.name, versionsOf(known), Cell::count(known.layouts.size()),
               Cell::count(fields), Cell::count(count.objects), Cell::bytes(count.bytes), knowledge(known)});
    survey.classes.erase(known.typeN);
  }
  for (const auto& [number, count] : survey.classes)
    table.row({std::to_string(number), classes[number], "", Cell(), Cell(), Cell::count(count.objects),
               Cell::bytes(count.bytes), "not in the class table"});
}

void SchemaCommand::describe(const ClassNames& classes, Document& answer) const {
  for (const psStoredClass& known : classes.all()) {
    if (known.name != class_ && std::to_string(known.typeN) != class_) continue;
    answer.fact("name", "Class", known.name);
    answer.fact("number", "Number", std::to_string(known.typeN));
    answer.fact("read", "Read", knowledge(known));
    Document::Table& layouts = answer.table("layouts", "Layouts",
                                            {{"layout", "Layout"},
                                             {"version", "Version"},
                                             {"size", "Bytes in memory"},
                                             {"base", "Base class"},
                                             {"described", "Described"}});
    Document::Table& fields = answer.table(
        "fields", "Fields",
        {{"layout", "Layout"}, {"name", "Field"}, {"type", "Type"}, {"offset", "Offset"}, {"class", "Of"}});
    for (const psStoredLayout& layout : known.layouts) {
      if (!layout.isInUse) continue;
      layouts.row({Cell::count(layout.number), Cell::count(layout.version), Cell::count(layout.size),
                   classes[layout.base], Cell::yesNo(layout.isDescribed)});
      for (const psStoredLayout::Field& field : layout.fields)
        fields.row(
            {Cell::count(layout.number), field.name, field.type, Cell::count(field.offset), classes[field.owner]});
    }
    return;
  }
  throw Failure(Status::negative, "the store has no class " + inQuotes(class_) + "; `pscol schema` lists them");
}

}  // namespace pscol
