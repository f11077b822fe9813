#include "store/cache/Catalog.h"

#include <algorithm>

#include "store/cache/StoreKey.h"
#include "store/psContObj.h"
#include "store/psDBObj.h"
#include "store/psFDObj.h"

namespace ps::detail {

namespace {

StoreKey recordKey(const psId& id) {
  if (id.get_DB() == 0) return StoreKey::federation();
  return id.get_OC() == 0 ? StoreKey::database(id.get_DB()) : StoreKey::container(id.get_DB(), id.get_OC());
}

std::string numberBytes(std::uint32_t number) { return {static_cast<char>(number >> 8), static_cast<char>(number)}; }

bool precedes(const psId& a, const psId& b) {
  return a.get_DB() != b.get_DB() ? a.get_DB() < b.get_DB() : a.get_OC() < b.get_OC();
}

std::string text(const psId& id) {
  if (id.get_DB() == 0) return "the federation";
  if (id.get_OC() == 0) return "database " + std::to_string(id.get_DB());
  return "container (" + std::to_string(id.get_DB()) + "," + std::to_string(id.get_OC()) + ")";
}

bool isEntryId(const psId& id) { return id.get_page() == 0 && id.get_slot() == (id.get_DB() == 0 ? 1 : 0); }

std::uint32_t classOf(const psId& id) {
  if (id.get_DB() == 0) return psFDObj::pstTypeN;
  return id.get_OC() == 0 ? psDBObj::pstTypeN : psContObj::pstTypeN;
}

}  // namespace

Catalog::~Catalog() {
  for (const auto& [key, entry] : entries_) CatalogEntry::retire(entry);
}

void Catalog::begin(std::uint64_t readStamp, std::uint64_t updateStamp) {
  if (readStamp != readStamp_) takenNumbers_ = 0;
  readStamp_ = readStamp;
  updateStamp_ = updateStamp;
}

bool Catalog::fail(StoreError error) {
  error_ = std::move(error);
  return false;
}

CatalogEntry* Catalog::find(const psId& id, bool* changed) {
  if (changed != nullptr) *changed = false;
  if (!isEntryId(id)) return nullptr;
  const auto found = entries_.find(tableKey(id));
  if (found == entries_.end()) return read(id);
  CatalogEntry* const entry = found->second;
  if (entry->frame->readStamp == readStamp_) return entry;
  const StoreKey key = recordKey(id);
  std::string_view record;
  if (engine_->get(key, record) != Engine::Lookup::found) {
    retire(*entry);
    return nullptr;
  }
  if (record != entry->encode(key)) {
    if (changed != nullptr) *changed = true;
    // A container of this number may have been deleted and another made: only what is still the same keeps its address.
    const std::uint32_t type = entry->header.type;
    if (!entry->decode(key, record) || entry->header.type != type) {
      retire(*entry);
      return read(id);
    }
  }
  entry->frame->readStamp = readStamp_;
  return entry;
}

bool Catalog::isUnreadable(const psId& id) {
  std::string_view record;
  return isEntryId(id) && find(id) == nullptr && engine_->get(recordKey(id), record) != Engine::Lookup::absent;
}

CatalogEntry* Catalog::read(const psId& id) {
  const StoreKey key = recordKey(id);
  std::string_view record;
  const Engine::Lookup found = engine_->get(key, record);
  if (found == Engine::Lookup::failed) fail(engine_->error());
  if (found != Engine::Lookup::found) return nullptr;
  CatalogEntry probe{};
  if (!probe.decode(key, record)) {
    fail(psErrorKind::damaged,
         "the record of " + text(id) + " is damaged: it does not match its checksum; restore the store from a backup");
    return nullptr;
  }
  CatalogEntry* const entry = CatalogEntry::create(probe.header.type, id);
  if (entry == nullptr || !entry->decode(key, record)) return nullptr;
  entry->stored = true;
  return add(entry);
}

CatalogEntry* Catalog::add(CatalogEntry* entry) {
  entry->frame->session = session_;
  entry->frame->readStamp = readStamp_;
  entries_[tableKey(entry->id())] = entry;
  return entry;
}

void Catalog::change(CatalogEntry& entry) {
  entry.frame->updateStamp = updateStamp_;
  if (entry.changed) return;
  entry.changed = true;
  entry.changedIndex = changed_.size();
  changed_.push_back(&entry);
}

CatalogEntry* Catalog::createFederation(std::string_view format, std::uint32_t pageSize) {
  CatalogEntry* const entry = CatalogEntry::create(classOf(federationId()), federationId());
  if (entry == nullptr) return nullptr;
  entry->name = format;
  entry->pageSize = pageSize;
  entry->created = true;
  change(*entry);
  return add(entry);
}

// The lowest number never given out; when there is none left, the lowest that is free. 0: none at all.
std::uint32_t Catalog::freshNumber(const CatalogEntry& scope, std::uint32_t highest) {
  if (scope.nextNumber <= highest) return scope.nextNumber;
  const std::uint16_t db = scope.frame->pageId.get_DB();
  for (std::uint32_t number = 1; number <= highest; ++number) {
    const auto part = static_cast<unsigned short>(number);
    const psId id = db == 0 ? psId(part, 0, 0, 0) : psId(db, part, 0, 0);
    if (find(id) == nullptr && !isUnreadable(id)) return number;
  }
  return 0;
}

// The entry that a name leads to, when it is the one of that name.
CatalogEntry* Catalog::named(std::string_view key, const psId& scope, std::string_view name) {
  std::string_view value;
  if (engine_->get(key, value) != Engine::Lookup::found || value.size() != 2) return nullptr;
  const std::uint16_t number = StoreKey::numberAt(value, 0);
  CatalogEntry* const entry = find(scope.get_DB() == 0 ? psId(number, 0, 0, 0) : psId(scope.get_DB(), number, 0, 0));
  return entry != nullptr && entry->name == name ? entry : nullptr;
}

// False, with the reason, when the name leads somewhere already. What it leads to may be damaged; it is not replaced
// then.
bool Catalog::isFreeName(std::string_view key, const CatalogEntry* found, const std::string& what) {
  std::string_view value;
  if (found != nullptr) return fail(psErrorKind::usage, what + " exists already");
  if (engine_->get(key, value) == Engine::Lookup::absent) return true;
  return fail(psErrorKind::damaged,
              "the record of " + what + " is damaged; restore the store from a backup, or choose another name");
}

CatalogEntry* Catalog::databaseNamed(std::string_view name) {
  return named(StoreKey::databaseName(name), psId(), name);
}

bool Catalog::isFreeDatabaseName(std::string_view name) {
  return isFreeName(StoreKey::databaseName(name), databaseNamed(name),
                    "a database named \"" + std::string(name) + "\"");
}

CatalogEntry* Catalog::createDatabase() {
  CatalogEntry* const federation = find(federationId());
  const std::uint32_t number = federation != nullptr ? freshNumber(*federation, highestDatabase) : 0;
  if (number == 0) {
    fail(psErrorKind::full,
         "the store already holds 65,534 databases; delete one, or place containers in those that exist");
    return nullptr;
  }
  const psId id(static_cast<unsigned short>(number), 0, 0, 0);
  CatalogEntry* const entry = CatalogEntry::create(classOf(id), id);
  if (entry == nullptr) return nullptr;
  entry->created = true;
  federation->nextNumber = std::max(federation->nextNumber, number + 1);
  ++federation->live;
  change(*federation);
  return add(entry);
}

std::uint32_t Catalog::lowestFreeNumber(const std::string& stem) {
  if (stem != numberedStem_) takenNumbers_ = 0;
  numberedStem_ = stem;
  std::string_view value;
  while (engine_->get(StoreKey::databaseName(stem + std::to_string(takenNumbers_)), value) == Engine::Lookup::found) {
    ++takenNumbers_;
  }
  return takenNumbers_;
}

bool Catalog::nameDatabase(CatalogEntry& database, std::string_view name) {
  if (!isFreeDatabaseName(name)) return false;
  const std::uint16_t number = database.frame->pageId.get_DB();
  if (!engine_->put(StoreKey::databaseName(name), numberBytes(number))) return fail(engine_->error());
  database.name = name;
  change(database);
  return true;
}

CatalogEntry* Catalog::containerNamed(const CatalogEntry& database, std::string_view name) {
  return named(StoreKey::containerName(database.frame->pageId.get_DB(), name), database.frame->pageId, name);
}

CatalogEntry* Catalog::createContainer(CatalogEntry& database, std::string_view name, std::uint32_t type,
                                       std::uint32_t number) {
  const std::uint16_t db = database.frame->pageId.get_DB();
  if (!name.empty() &&
      !isFreeName(StoreKey::containerName(db, name), containerNamed(database, name),
                  "a container named \"" + std::string(name) + "\" in database \"" + database.name + "\"")) {
    return nullptr;
  }
  const bool chosen = number != 0;
  if (!chosen) number = freshNumber(database, highestContainer);
  const psId id(db, static_cast<unsigned short>(number), 0, 0);
  if (number == 0) {
    fail(psErrorKind::full, "database \"" + database.name +
                                "\" already holds 65,535 containers; use another database, or let small collections " +
                                "share containers");
    return nullptr;
  }
  if (chosen && (find(id) != nullptr || isUnreadable(id))) {
    fail(psErrorKind::usage,
         "database \"" + database.name + "\" has a container with number " + std::to_string(number) + " already");
    return nullptr;
  }
  if (!name.empty() && !engine_->put(StoreKey::containerName(db, name), numberBytes(number))) {
    fail(engine_->error());
    return nullptr;
  }
  CatalogEntry* const entry = CatalogEntry::create(type, id);
  if (entry == nullptr) return nullptr;
  entry->name = name;
  entry->created = true;
  change(*entry);
  database.nextNumber = std::max(database.nextNumber, number + 1);
  ++database.live;
  change(database);
  return add(entry);
}

bool Catalog::erasePrefix(std::string_view prefix) {
  std::vector<std::string> keys;
  engine_->scan(prefix, [&keys](std::string_view key, std::string_view) {
    keys.emplace_back(key);
    return true;
  });
  return std::all_of(keys.begin(), keys.end(), [this](const std::string& key) { return engine_->erase(key); }) ||
         fail(engine_->error());
}

bool Catalog::dropContainer(CatalogEntry& container) {
  const psId id = container.id();
  CatalogEntry* const database = find(psId(id.get_DB(), 0, 0, 0));
  if (!container.name.empty() && !engine_->erase(StoreKey::containerName(id.get_DB(), container.name))) {
    return fail(engine_->error());
  }
  if (container.stored && !engine_->erase(recordKey(id))) return fail(engine_->error());
  if (!erasePrefix(StoreKey::pagesOf(id.get_DB(), id.get_OC()))) return false;
  if (database != nullptr) {
    --database->live;
    change(*database);
  }
  retire(container);
  return true;
}

bool Catalog::dropDatabase(CatalogEntry& database) {
  takenNumbers_ = 0;
  const psId id = database.id();
  CatalogEntry* const federation = find(federationId());
  if (!database.name.empty() && !engine_->erase(StoreKey::databaseName(database.name))) return fail(engine_->error());
  if (database.stored && !engine_->erase(recordKey(id))) return fail(engine_->error());
  if (federation != nullptr) {
    --federation->live;
    change(*federation);
  }
  retire(database);
  return true;
}

std::vector<psId> Catalog::membersOf(const CatalogEntry& scope) {
  const psId within = scope.frame->pageId;
  const bool databases = within.get_DB() == 0;
  std::vector<psId> members;
  const std::string prefix(
      std::string_view(databases ? StoreKey::databases() : StoreKey::containersOf(within.get_DB())));
  engine_->scan(prefix, [&](std::string_view key, std::string_view) {
    const std::uint16_t number = StoreKey::numberAt(key, prefix.size());
    members.push_back(databases ? psId(number, 0, 0, 0) : psId(within.get_DB(), number, 0, 0));
    return true;
  });
  for (const CatalogEntry* const entry : changed_) {
    const psId id = entry->id();
    const bool member =
        databases ? id.get_DB() != 0 && id.get_OC() == 0 : id.get_DB() == within.get_DB() && id.get_OC() != 0;
    if (member && !entry->stored) members.push_back(id);
  }
  std::sort(members.begin(), members.end(), precedes);
  return members;
}

// Takes an entry out of the tables; what pins it keeps its memory.
void Catalog::retire(CatalogEntry& entry) {
  if (entry.changed) {
    changed_.back()->changedIndex = entry.changedIndex;
    changed_[entry.changedIndex] = changed_.back();
    changed_.pop_back();
  }
  entries_.erase(tableKey(entry.id()));
  CatalogEntry::retire(&entry);
}

bool Catalog::writeChanges() {
  std::sort(changed_.begin(), changed_.end(),
            [](const CatalogEntry* a, const CatalogEntry* b) { return precedes(a->id(), b->id()); });
  for (std::size_t i = 0; i < changed_.size(); ++i) changed_[i]->changedIndex = i;
  for (CatalogEntry* const entry : changed_) {
    const StoreKey key = recordKey(entry->id());
    if (!engine_->put(key, entry->encode(key))) return fail(engine_->error());
  }
  return true;
}

void Catalog::afterCommit() {
  for (CatalogEntry* const entry : changed_) {
    entry->changed = false;
    entry->created = false;
    entry->stored = true;
    entry->frame->updateStamp = 0;
  }
  changed_.clear();
}

// Changed entries are read again when they are next asked for; those that handles have pinned keep their address.
void Catalog::afterAbort() {
  takenNumbers_ = 0;
  for (CatalogEntry* const entry : std::vector<CatalogEntry*>(changed_)) {
    if (entry->created || entry->frame->pins == 0) {
      retire(*entry);
      continue;
    }
    entry->changed = false;
    entry->frame->readStamp = 1;
    entry->frame->updateStamp = 0;
  }
  changed_.clear();
}

}  // namespace ps::detail
