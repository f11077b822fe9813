#include "inspect/psStoreBuilder.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <utility>

#include "inspect/CollectionBuilder.h"
#include "inspect/ForeignClasses.h"
#include "inspect/LibraryFields.h"
#include "inspect/ObjectNames.h"
#include "inspect/PageComposer.h"
#include "store/CurrentSession.h"
#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/psError.h"
#include "store/catalog/CatalogEntry.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreAddress.h"
#include "store/engine/StoreKey.h"
#include "store/psSession.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

bool signalled(psErrorKind kind, const std::string& text) {
  signalStoreError({kind, text});
  return false;
}

// What a database or container is until all of it is known.
struct Entry {
  std::string name;
  std::uint32_t type = 0;
  std::uint32_t next = 1;
  std::uint32_t members = 0;
};

// Makes a folder that nobody else can look into; "" when that is impossible.
std::string privateFolder() {
  std::string folder = std::filesystem::temp_directory_path() / "pscollections-XXXXXX";
  return ::mkdtemp(folder.data()) != nullptr ? folder : "";
}

std::size_t sizeOf(const psTreeContent& tree) { return tree.elements.size(); }

std::size_t sizeOf(const psTableContent& table) {
  std::size_t size = 0;
  for (const psTableContent::Bucket& bucket : table.buckets) size += bucket.elements.size();
  return size;
}

}  // namespace

}  // namespace ps::detail

using ps::detail::CatalogEntry;
using ps::detail::StoreKey;

struct psStoreBuilder::Work {
  ~Work();

  bool begin(const std::string& target, std::uint32_t pageSize);
  bool addClass(const psStoredClass& known);
  bool addEntry(const psId& id, const std::string& name, std::uint32_t type, std::uint32_t next);
  bool addObject(const psStoredObject& object);
  bool writeFields(const psStoredObject& object, std::string& bytes, const ps::detail::ValueWriter::Store& store);
  bool addName(const psId& scope, const std::string& filed, const psId& object);
  template <class Content>
  bool addCollection(const Content& content);
  bool finish();

  bool endContainer();
  bool beginCollections();
  bool writeCatalog();
  bool writeEntry(const psId& id, const ps::detail::Entry& entry, std::uint32_t size);
  bool put(std::string_view key, std::string_view value);
  bool ofSession(int result) { return result == 1; }

  std::string path;
  std::string folder;     // for a store that goes to a server
  std::string temporary;  // the file in which the store is made
  std::uint32_t imageSize = 0;
  ps::detail::StoreCopy copy;
  std::unique_ptr<ps::detail::PageComposer> composer;
  std::map<unsigned int, ps::detail::StoredClass> classes;
  std::map<psId, ps::detail::Entry> entries;  // databases and containers
  psId container;                             // the current one
  std::string complaint;                      // of an object
  psSession session;                          // once there are collections
  bool isInCollections = false;
  std::uint64_t unwritten = 0;  // elements of the running transaction
};

psStoreBuilder::Work::~Work() {
  session.close();
  if (temporary.empty()) return;
  ::unlink(temporary.c_str());
  ::unlink((temporary + "-lock").c_str());
  if (!folder.empty()) ::rmdir(folder.c_str());
}

bool psStoreBuilder::Work::put(std::string_view key, std::string_view value) {
  bool isNew = false;
  if (!copy.put(key, value, isNew)) return ps::detail::signalled(copy.error().kind, copy.error().text);
  return isNew || ps::detail::signalled(psErrorKind::usage, "something of the store was given twice");
}

bool psStoreBuilder::Work::begin(const std::string& target, std::uint32_t pageSize) {
  const bool isSize = pageSize >= 4096 && pageSize <= 32768 && (pageSize & (pageSize - 1)) == 0;
  if (!isSize) return ps::detail::signalled(psErrorKind::usage, "a page has 4096, 8192, 16384 or 32768 bytes");
  const bool isOnServer = ps::detail::isStoreAddress(target);
  path = target;
  imageSize = pageSize;
  if (!isOnServer && ::access(path.c_str(), F_OK) == 0)
    return ps::detail::signalled(psErrorKind::usage, "Cannot make the store '" + path +
                                                         "': something of that name exists. Choose another path.");
  if (isOnServer) {
    folder = ps::detail::privateFolder();
    if (folder.empty())
      return ps::detail::signalled(psErrorKind::denied, "the system's temporary folder takes no new folder");
  }
  temporary = (isOnServer ? folder + "/store" : path) + "-loading";
  if (!copy.begin(temporary)) return ps::detail::signalled(copy.error().kind, copy.error().text);
  composer = std::make_unique<ps::detail::PageComposer>(copy, pageSize);
  return true;
}

bool psStoreBuilder::Work::addClass(const psStoredClass& known) {
  std::vector<std::string> layouts;
  ps::detail::StoredClass& stored = classes[known.typeN];
  stored.name = known.name;
  for (const psStoredLayout& layout : known.layouts) {
    layouts.push_back(layout.isInUse ? layout.encoded : "");
    ps::detail::StoredClass::Layout& decoded = stored.layouts.emplace_back();
    decoded.isSound = !layouts.back().empty() && decoded.shape.decode(layouts.back(), known.typeN);
  }
  return put(StoreKey::classRecord(known.typeN), ps::detail::ClassTable::encode(known.typeN, known.name, layouts));
}

bool psStoreBuilder::Work::addEntry(const psId& id, const std::string& name, std::uint32_t type, std::uint32_t next) {
  if (!endContainer()) return false;
  const psId above = id.get_OC() != 0 ? ps::detail::databaseOf(id) : psId();
  const auto database = entries.find(above);
  if (id.get_OC() != 0 && database == entries.end())
    return ps::detail::signalled(psErrorKind::usage, ps::detail::textOf(id) + " lies in a database that was not given");
  if (id.get_OC() != 0) {
    database->second.next = std::max<std::uint32_t>(database->second.next, id.get_OC() + 1U);
    ++database->second.members;
    container = id;
    composer->begin(id, next);
  }
  entries[id] = {name, type, std::max<std::uint32_t>(next, 1), 0};
  return true;
}

bool psStoreBuilder::Work::endContainer() {
  if (container.isNull()) return true;
  if (!composer->end())
    return ps::detail::signalled(psErrorKind::full,
                                 "the objects of " + ps::detail::textOf(container) +
                                     " find no room: " + (composer->couldNotWrite() ? copy.error().text : complaint));
  ps::detail::Entry& entry = entries[container];
  entry.members = composer->objects();
  entry.next = composer->nextPage();
  container = psId();
  return true;
}

bool psStoreBuilder::Work::addObject(const psStoredObject& object) {
  if (container.isNull() || ps::detail::containerOf(object.id) != container)
    return ps::detail::signalled(psErrorKind::usage,
                                 ps::detail::textOf(object.id) + " does not lie in the container that was given last");
  const unsigned int type = object.typeN | (object.isNamed ? ps::detail::namedFlag : 0);
  const auto write = [this, object](std::string& bytes, const ps::detail::ValueWriter::Store& store) {
    return writeFields(object, bytes, store);
  };
  if (composer->add(object.id, type, object.layout, object.size, write)) return true;
  const std::string why = composer->couldNotWrite() ? copy.error().text : complaint;
  return ps::detail::signalled(psErrorKind::usage, why.empty() ? "a page finds no room" : why);
}

bool psStoreBuilder::Work::writeFields(const psStoredObject& object, std::string& bytes,
                                       const ps::detail::ValueWriter::Store& store) {
  const ps::detail::StoredClass& known = classes[object.typeN];
  const std::size_t at = object.layout - std::size_t{1};
  const bool isDescribed = object.layout != 0 && at < known.layouts.size() && known.layouts[at].isSound;
  ps::detail::ValueWriter writer(classes[ps::detail::storageType], store);
  for (const psStoredLevel& level : object.levels) {
    const ps::detail::ClassLevel* const shape = isDescribed ? known.layouts[at].shape.level(level.typeN) : nullptr;
    const bool isOfLibrary = level.typeN <= psHighestLibraryTypeN;
    ps::detail::FieldShape rest;  // of a class without a description
    const bool isOpaque = level.fields.size() == 1 && level.fields.front().kind == psStoredValue::Kind::bytes;
    if (isOpaque) {
      rest.kind = ps::FieldKind::opaque;
      rest.size = static_cast<std::uint32_t>(level.fields.front().text.size());
      rest.offset = object.size - std::min(rest.size, object.size);
    }
    const std::vector<ps::detail::FieldShape> fields = isOpaque      ? std::vector{rest}
                                                       : isOfLibrary ? ps::detail::fieldsOfLibraryClass(level.typeN)
                                                       : shape != nullptr ? shape->fields
                                                                          : std::vector<ps::detail::FieldShape>();
    if (writer.write(fields, level.fields, bytes)) continue;
    complaint = ps::detail::textOf(object.id) + " cannot be made: " + writer.complaint();
    return false;
  }
  return true;
}

bool psStoreBuilder::Work::addName(const psId& scope, const std::string& filed, const psId& object) {
  if (!endContainer()) return false;
  const StoreKey byScope = StoreKey::name(scope, filed);
  return put(byScope, ps::detail::sealed(byScope, std::string_view(StoreKey('x').id(object)).substr(1))) &&
         put(StoreKey::nameOf(object, scope, filed), {});
}

bool psStoreBuilder::Work::writeEntry(const psId& id, const ps::detail::Entry& entry, std::uint32_t size) {
  CatalogEntry record{};
  record.name = entry.name;
  record.header.type = entry.type;
  record.nextNumber = entry.next;
  record.live = entry.members;
  record.pageSize = size;
  const bool isDatabase = id.get_OC() == 0;
  const StoreKey key = id.isNull()  ? StoreKey::federation()
                       : isDatabase ? StoreKey::database(id.get_DB())
                                    : StoreKey::container(id.get_DB(), id.get_OC());
  if (!put(key, record.encode(key))) return false;
  if (id.isNull() || entry.name.empty()) return true;
  const StoreKey name =
      isDatabase ? StoreKey::databaseName(entry.name) : StoreKey::containerName(id.get_DB(), entry.name);
  const StoreKey number = StoreKey('x').number(isDatabase ? id.get_DB() : id.get_OC());
  return put(name, ps::detail::sealed(name, std::string_view(number).substr(1)));
}

bool psStoreBuilder::Work::writeCatalog() {
  ps::detail::Entry federation{std::string(ps::detail::storeFormat), ps::detail::federationTypeN, 1, 0};
  for (const auto& [id, entry] : entries) {
    if (!writeEntry(id, entry, 0)) return false;
    if (id.get_OC() != 0) continue;
    ++federation.members;
    federation.next = std::max<std::uint32_t>(federation.next, id.get_DB() + 1U);
  }
  constexpr unsigned int generation = 0;
  return writeEntry(psId(), federation, imageSize) &&
         put(StoreKey::classRecord(generation),
             ps::detail::ClassTable::encodeGeneration(static_cast<unsigned int>(classes.size())));
}

// From here on the store is a store, and a session adds to it.
bool psStoreBuilder::Work::beginCollections() {
  if (isInCollections) return true;
  if (!endContainer() || !writeCatalog()) return false;
  if (!copy.finish()) return ps::detail::signalled(copy.error().kind, copy.error().text);
  isInCollections = true;
  psSessionOptions options;
  options.sync = false;
  return ofSession(session.open(temporary, options)) && ofSession(session.begin(pscUpdate)) &&
         ps::detail::adoptForeignCollections(*ps::detail::SessionCore::current());
}

// What an update changes is kept in memory until its commit.
template <class Content>
bool psStoreBuilder::Work::addCollection(const Content& content) {
  constexpr std::uint64_t mostUnwritten = 1000000;
  if (!beginCollections()) return false;
  const ps::CurrentSession here(session);
  ps::detail::CollectionBuilder builder;
  if (!builder.build(content)) return ps::detail::signalled(psErrorKind::usage, builder.complaint());
  unwritten += 1 + ps::detail::sizeOf(content);
  if (unwritten < mostUnwritten) return true;
  unwritten = 0;
  return ofSession(session.commit()) && ofSession(session.begin(pscUpdate));
}

// The copy is compact, compared with its checksums, and on the disk before it has its name.
bool psStoreBuilder::Work::finish() {
  return beginCollections() && ofSession(session.commit()) && ofSession(session.backup(path));
}

psStoreBuilder::psStoreBuilder() = default;
psStoreBuilder::~psStoreBuilder() = default;

namespace {

// Before a successful begin there is nothing to work on.
template <class Work, class Step>
int result(const Work& work, const Step& step) {
  const bool isDone = ps::detail::guardMemoryQuietly(false, [&] {
    if (work == nullptr || work->composer == nullptr)
      return ps::detail::signalled(psErrorKind::usage, "the new store was not begun; call psStoreBuilder::begin first");
    return step();
  });
  if (!isDone) psThrowException(pehSessionDataGetFunction());
  return isDone ? 1 : 0;
}

}  // namespace

int psStoreBuilder::begin(const std::string& path, std::uint32_t pageSize) {
  const bool isBegun = ps::detail::guardMemoryQuietly(false, [&] {
    work_ = std::make_unique<Work>();
    return work_->begin(path, pageSize);
  });
  if (!isBegun) psThrowException(pehSessionDataGetFunction());
  return isBegun ? 1 : 0;
}

int psStoreBuilder::addClass(const psStoredClass& known) {
  return result(work_, [&] { return work_->addClass(known); });
}

int psStoreBuilder::addDatabase(const psId& id, const std::string& name, std::uint32_t next) {
  return result(work_, [&] { return work_->addEntry(id, name, ps::detail::databaseTypeN, next); });
}

int psStoreBuilder::addContainer(const psId& id, const std::string& name, bool isGarbageCollectable,
                                 std::uint32_t next) {
  const std::uint32_t type = isGarbageCollectable ? ps::detail::collectedContainerTypeN : ps::detail::containerTypeN;
  return result(work_, [&] { return work_->addEntry(id, name, type, next); });
}

int psStoreBuilder::addObject(const psStoredObject& object) {
  return result(work_, [&] { return work_->addObject(object); });
}

int psStoreBuilder::addName(const psId& scope, const std::string& filed, const psId& object) {
  return result(work_, [&] { return work_->addName(scope, filed, object); });
}

int psStoreBuilder::addTree(const psTreeContent& tree) {
  return result(work_, [&] { return work_->addCollection(tree); });
}

int psStoreBuilder::addTable(const psTableContent& table) {
  return result(work_, [&] { return work_->addCollection(table); });
}

int psStoreBuilder::finish() {
  return result(work_, [&] { return work_->finish(); });
}
