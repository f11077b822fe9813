#include "pscol/ListCommand.h"

#include "pscol/ClassNames.h"
#include "pscol/Text.h"

namespace pscol {

namespace {

double fillOf(std::uint64_t imageBytes, std::uint64_t pages, std::uint64_t pageSize) {
  return pages == 0 ? 0 : static_cast<double>(imageBytes) / static_cast<double>(pages * pageSize);
}

// What several containers have together.
struct Sum {
  void add(const psContainerInfo& container) {
    ++containers;
    objects += container.all.objects;
    bytes += container.recordBytes;
    pages += container.pages;
    imageBytes += container.imageBytes;
  }

  std::uint64_t containers = 0;
  std::uint64_t objects = 0;
  std::uint64_t bytes = 0;
  std::uint64_t pages = 0;
  std::uint64_t imageBytes = 0;
};

std::vector<Cell> rowOf(const std::string& name, const std::string& kind, const Sum& sum) {
  return {name,
          kind,
          Cell::count(sum.objects),
          Cell::bytes(sum.bytes),
          Cell::count(sum.pages),
          Cell::share(fillOf(sum.imageBytes, sum.pages, pomGetPageSize()))};
}

std::vector<Document::Column> columns(const std::string& kind) {
  return {{"path", "Path"},   {"kind", kind},     {"objects", "Objects"},
          {"bytes", "Bytes"}, {"pages", "Pages"}, {"fill", "Fill"}};
}

std::string nameOr(const std::string& name, unsigned int number) {
  return name.empty() ? "#" + std::to_string(number) : name;
}

const psContainerInfo* findContainer(const psDatabaseInfo& database, const psId& id) {
  for (const psContainerInfo& container : database.containers) {
    if (container.id == id) return &container;
  }
  return nullptr;
}

}  // namespace

ListCommand::ListCommand() : Command("ls", "List databases, containers, classes and named objects") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("path", "What to list: nothing, a database, a container or an object with names in it", &path_, false);
  option("--all", "", "List containers without a name one by one", &all_);
  details(
      "Bytes are those of the store's records. Fill is how much of their pages the objects take in memory: containers "
      "of one small object fill little. Without a path, databases are listed; in a database, its containers; in a "
      "container, the classes of its objects and what has a name there.");
}

Status ListCommand::run(Document& answer) {
  OpenStore store(store_);
  const psId id = path_.empty() ? store.session().federation().oid() : store.find(path_);
  if (id.get_slot() != 0 && id.get_DB() != 0) {
    listNames(id, store, answer);
    return Status::fine;
  }
  const psSurvey survey = store.survey();
  if (id.get_DB() == 0) listDatabases(survey, answer);
  for (const psDatabaseInfo& database : survey.databases) {
    if (database.id.get_DB() != id.get_DB()) continue;
    if (id == database.id) listContainers(database, store, answer);
    if (const psContainerInfo* const container = findContainer(database, id)) listClasses(*container, store, answer);
  }
  listNames(id, store, answer);
  return Status::fine;
}

void ListCommand::listDatabases(const psSurvey& survey, Document& answer) const {
  Document::Table& table = answer.table("databases", "", columns("Containers"));
  for (const psDatabaseInfo& database : survey.databases) {
    Sum sum;
    for (const psContainerInfo& container : database.containers) sum.add(container);
    table.row(rowOf(nameOr(database.name, database.id.get_DB()), countText(sum.containers), sum));
  }
}

// Those without a name are mostly of collections' parts, and many.
void ListCommand::listContainers(const psDatabaseInfo& database, OpenStore& store, Document& answer) const {
  Document::Table& table = answer.table("containers", "", columns("Kind"));
  const std::string path = store.nameOf(database.id) + "/";
  Sum unnamed;
  for (const psContainerInfo& container : database.containers) {
    Sum sum;
    sum.add(container);
    const std::string kind = container.isGarbageCollectable ? "garbage-collectable" : "container";
    if (container.name.empty() && !all_)
      unnamed.add(container);
    else
      table.row(rowOf(path + nameOr(container.name, container.id.get_OC()), kind, sum));
  }
  if (unnamed.containers > 0) table.row(rowOf(path + "#…", countText(unnamed.containers) + " without a name", unnamed));
}

void ListCommand::listClasses(const psContainerInfo& container, OpenStore& store, Document& answer) {
  const ClassNames names(store);
  Document::Table& table = answer.table(
      "classes", "", {{"class", "Class"}, {"number", "Number"}, {"objects", "Objects"}, {"bytes", "Bytes"}});
  for (const auto& [number, count] : container.classes)
    table.row({names[number], Cell::count(number), Cell::count(count.objects), Cell::bytes(count.bytes)});
}

void ListCommand::listNames(const psId& scope, OpenStore& store, Document& answer) {
  const ClassNames names(store);
  Document::Table& table = answer.table("names", "Named objects",
                                        {{"path", "Path"}, {"id", "Object"}, {"class", "Class"}, {"bytes", "Bytes"}});
  const std::string path = store.inspector().pathOf(scope);
  const auto addRow = [&](const psFiling& filing) {
    const std::string key = filing.kind == psFiling::Kind::name     ? filing.text
                            : filing.kind == psFiling::Kind::number ? "@" + filing.text
                                                                    : "@$" + filing.text;
    psStoredObject object;
    const bool isRead = store.inspector().object(filing.object.oid(), object) == 1;
    table.row({path.empty() ? key : path + "/" + key, filing.object.oid(),
               isRead ? names[object.typeN] : "(cannot be read)", isRead ? Cell::bytes(object.bytes) : Cell()});
    return true;
  };
  require(store.session(), store.session().names(pstHandle<psObj>(scope), addRow));
}

}  // namespace pscol
