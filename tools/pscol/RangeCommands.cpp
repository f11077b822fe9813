#include "pscol/RangeCommands.h"

#include <pscollections.h>

#include <nlohmann/json.hpp>

#include "pscol/CollectionKeys.h"
#include "pscol/ShowCommand.h"
#include "pscol/Text.h"

namespace pscol {

namespace {

constexpr const char* keysText =
    "In a sorted or hash collection, keys are values of what it is ordered by, as `pscol stat` tells: a text, a number "
    "or an identifier, and several with commas between them, as in 'pear,-3'. In a collection ordered by identifiers "
    "they are identifiers or paths, in a list positions from 0 on.";

std::vector<Document::Column> columns(bool isMap) {
  std::vector<Document::Column> columns = {{"id", "Element"}, {"content", "Content"}};
  if (isMap) columns.insert(columns.end(), {{"valueId", "Value"}, {"valueContent", "Content of the value"}});
  return columns;
}

// An object for people and as JSON, in one cell.
Cell contentOf(const psId& id, OpenStore& store) {
  psStoredObject object;
  if (id.isNull()) return {};
  if (store.inspector().object(id, object) != 1) return Cell("(cannot be read)");
  const std::string name = object.className.empty() ? "class " + std::to_string(object.typeN) : object.className;
  // That of a tree is kept in its root.
  if (psIsTree(store.inspector().kindOf(id))) {
    const int size = pstHandle<psCollection>(id)->size();
    if (size >= 0)
      return Cell::json(name + " of " + countText(static_cast<std::uint64_t>(size)),
                        Json{{"class", name}, {"elements", size}});
  }
  return Cell::json(name + " {" + fieldsText(object) + "}", Json{{"class", name}, {"fields", fieldsJson(object)}});
}

void addRow(const FoundElement& found, bool isMap, OpenStore& store, Document::Table& table) {
  std::vector<Cell> cells = {found.element, contentOf(found.element, store)};
  if (isMap) {
    cells.emplace_back(found.value);
    cells.push_back(contentOf(found.value, store));
  }
  table.row(std::move(cells));
}

}  // namespace

RangeCommand::RangeCommand()
    : Command("range", "List the elements of a collection in order, or from one key to another") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("collection", "A path of names, or an identifier as in 1-2-3-4", &collection_);
  argument("from", "The key of the first element; '' is no bound", &from_, false);
  argument("to", "The key of the last element, which is included", &to_, false);
  option("--reverse", "", "Begin with the last element", &isReverse_);
  option("--limit", "N", "How many elements are listed; 100 unless given, and 0 lists all", &limit_);
  option("--count", "", "Tell only how many there are", &isCount_);
  details(keysText);
}

Status RangeCommand::run(Document& answer) {
  OpenStore store(store_);
  CollectionKeys keys(store, store.findCollection(collection_));
  const bool isMap = psIsMap(keys.kind());
  std::uint64_t count = 0;
  Document::Table& table = answer.table("elements", "", columns(isMap));
  keys.walk(from_, to_, isReverse_, [&](const FoundElement& found) {
    if (!isCount_ && limit_ != 0 && count == limit_) return false;
    ++count;
    if (!isCount_) addRow(found, isMap, store, table);
    return true;
  });
  if (isCount_) answer.fact("count", "Elements", Cell::count(count));
  if (!isCount_ && limit_ != 0 && count == limit_)
    answer.line("", "\nThe first " + countText(limit_) + " are shown; --limit shows more.");
  return Status::fine;
}

GetCommand::GetCommand() : Command("get", "Look up one key in a collection") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("collection", "A path of names, or an identifier as in 1-2-3-4", &collection_);
  argument("key", "What to look up", &key_);
  details(std::string(keysText) + " The exit status is 1 when there is no such element.");
}

Status GetCommand::run(Document& answer) {
  OpenStore store(store_);
  CollectionKeys keys(store, store.findCollection(collection_));
  const std::optional<FoundElement> found = keys.find(key_);
  if (!found)
    throw Failure(Status::negative, "there is no element " + inQuotes(key_) + " in " + store.nameOf(keys.id()));
  const bool isMap = psIsMap(keys.kind());
  addRow(*found, isMap, store, answer.table("elements", "", columns(isMap)));
  return Status::fine;
}

}  // namespace pscol
