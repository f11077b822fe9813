#include "store/catalog/Catalog.h"

#include <algorithm>
#include <memory>

#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

StoreKey recordKey(const psId& id) {
  if (id.get_DB() == 0) return StoreKey::federation();
  return id.get_OC() == 0 ? StoreKey::database(id.get_DB()) : StoreKey::container(id.get_DB(), id.get_OC());
}

// The value of a name: a number.
constexpr std::size_t numberSize = 2;
std::string numberValue(std::string_view key, std::uint32_t number) {
  const char bytes[numberSize] = {static_cast<char>(number >> 8), static_cast<char>(number)};
  return sealed(key, {bytes, numberSize});
}

bool precedes(const psId& a, const psId& b) {
  return a.get_DB() != b.get_DB() ? a.get_DB() < b.get_DB() : a.get_OC() < b.get_OC();
}

std::string databaseText(std::string_view name) { return "a database named \"" + std::string(name) + "\""; }

std::string containerText(const CatalogEntry& database, std::string_view name) {
  return "a container named \"" + std::string(name) + "\" in database \"" + database.name + "\"";
}

bool isEntryId(const psId& id) { return id.get_page() == 0 && id.get_slot() == (id.get_DB() == 0 ? 1 : 0); }

std::uint32_t classOf(const psId& id) {
  if (id.get_DB() == 0) return federationTypeN;
  return id.get_OC() == 0 ? databaseTypeN : containerTypeN;
}

// Whether a record is that of the entry, and says what an entry of its kind can have.
bool decode(const psId& id, std::string_view key, std::string_view record, CatalogEntry& entry) {
  constexpr std::uint32_t highestNumber = 65535;
  if (!entry.decode(key, record)) return false;
  const bool isOfItsClass =
      entry.header.type == classOf(id) || (id.get_OC() != 0 && entry.header.type == collectedContainerTypeN);
  return isOfItsClass && entry.nextNumber >= 1 && entry.nextNumber <= highestNumber + 1;
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
  couldNotRead_ = false;
  return false;
}

Catalog::Lookup Catalog::failReading(StoreError error) {
  fail(std::move(error));
  couldNotRead_ = true;
  return Lookup::failed;
}

Catalog::Lookup Catalog::find(const psId& id, CatalogEntry*& entry, bool* changed) {
  entry = nullptr;
  if (changed != nullptr) *changed = false;
  if (!isEntryId(id)) return Lookup::absent;
  const auto known = entries_.find(tableKey(id));
  if (known == entries_.end()) return read(id, entry);
  CatalogEntry& held = *known->second;
  if (held.frame->readStamp != readStamp_) {
    const StoreKey key = recordKey(id);
    std::string_view record;
    const Lookup found = engine_->get(key, record);
    if (found == Lookup::failed) return failReading(engine_->error());
    if (found == Lookup::absent) {
      retire(held);
      return found;
    }
    if (record != held.encode(key)) {
      if (changed != nullptr) *changed = true;
      // A container of this number may have been deleted and another made: only what is still the same keeps its
      // address.
      const std::uint32_t type = held.header.type;
      if (!decode(id, key, record, held) || held.header.type != type) {
        retire(held);
        return read(id, entry);
      }
    }
    held.frame->readStamp = readStamp_;
  }
  entry = &held;
  return Lookup::found;
}

Catalog::Lookup Catalog::read(const psId& id, CatalogEntry*& entry) {
  const StoreKey key = recordKey(id);
  std::string_view record;
  const Lookup found = engine_->get(key, record);
  if (found == Lookup::failed) return failReading(engine_->error());
  if (found == Lookup::absent) return found;
  CatalogEntry probe{};
  if (!decode(id, key, record, probe)) {
    return failReading({psErrorKind::damaged, "the record of " + textOf(id) + " is damaged: it does not match its " +
                                                  "checksum, or contradicts itself; restore the store from a backup"});
  }
  CatalogEntry* const made = create(probe.header.type, id);
  if (made == nullptr) return failReading(error());
  made->stored = true;
  made->decode(key, record);
  made->frame->readStamp = readStamp_;
  entry = made;
  return Lookup::found;
}

// A new entry in the tables, which is looked up in the store at its next use unless it becomes current. Null, with the
// reason, when there is no memory for it.
CatalogEntry* Catalog::create(std::uint32_t type, const psId& id) {
  if (changed_.capacity() <= entries_.size()) changed_.reserve(2 * entries_.size() + 16);
  const auto retireEntry = [](CatalogEntry* entry) { CatalogEntry::retire(entry); };
  std::unique_ptr<CatalogEntry, decltype(retireEntry)> made(CatalogEntry::create(type, id), retireEntry);
  if (made == nullptr) {
    fail(psErrorKind::memory, "there is no memory for " + textOf(id));
    return nullptr;
  }
  made->frame->session = session_;
  made->frame->readStamp = 1;
  entries_[tableKey(id)] = made.get();
  return made.release();
}

void Catalog::change(CatalogEntry& entry) {
  entry.frame->updateStamp = updateStamp_;
  if (entry.changed) return;
  entry.changed = true;
  entry.changedIndex = changed_.size();
  changed_.push_back(&entry);
}

// What the running transaction has created is current.
void Catalog::changeCreated(CatalogEntry& entry) {
  entry.created = true;
  entry.frame->readStamp = readStamp_;
  change(entry);
}

CatalogEntry* Catalog::createFederation(std::string_view format, std::uint32_t pageSize) {
  CatalogEntry* const entry = create(classOf(federationId()), federationId());
  if (entry == nullptr) return nullptr;
  changeCreated(*entry);
  entry->name = format;
  entry->pageSize = pageSize;
  return entry;
}

// Whether a number is taken. A damaged entry takes it too.
Catalog::Lookup Catalog::isTaken(const psId& id) {
  const auto known = entries_.find(tableKey(id));
  if (known != entries_.end() && known->second->created) return Lookup::found;
  std::string_view record;
  const Lookup found = engine_->get(recordKey(id), record);
  return found == Lookup::failed ? failReading(engine_->error()) : found;
}

// The lowest number never given out; when none is left, the lowest free one; 0, with the reason, when there is neither.
std::uint32_t Catalog::freshNumber(const CatalogEntry& scope, std::uint32_t highest, const std::string& whenNone) {
  if (scope.nextNumber <= highest) {
    const std::uint32_t number = engine_->takeNumber(recordKey(scope.id()), scope.nextNumber);
    if (number == 0) fail(engine_->error());
    if (number <= highest) return number;
  }
  const std::uint16_t db = scope.frame->pageId.get_DB();
  for (std::uint32_t number = 1; number <= highest; ++number) {
    const auto part = static_cast<unsigned short>(number);
    const Lookup taken = isTaken(db == 0 ? psId(part, 0, 0, 0) : psId(db, part, 0, 0));
    if (taken == Lookup::absent) return number;
    if (taken == Lookup::failed) return 0;
  }
  fail(psErrorKind::full, whenNone);
  return 0;
}

// The entry that a name leads to. It is the one of that name, or something is damaged.
Catalog::Lookup Catalog::named(std::string_view key, const psId& scope, std::string_view name, const std::string& what,
                               CatalogEntry*& entry) {
  entry = nullptr;
  // Nothing has a name that is too long for one.
  if (key.size() > engine_->maxKeySize()) return Lookup::absent;
  std::string_view value;
  const Lookup found = engine_->get(key, value);
  if (found == Lookup::failed) return failReading(engine_->error());
  if (found == Lookup::absent) return found;
  const std::string_view bytes = unsealed(key, value, numberSize);
  const std::uint16_t number = bytes.empty() ? 0 : StoreKey::numberAt(bytes, 0);
  if (number != 0) {
    const psId id = scope.get_DB() == 0 ? psId(number, 0, 0, 0) : psId(scope.get_DB(), number, 0, 0);
    const Lookup led = find(id, entry);
    if (led == Lookup::failed || (led == Lookup::found && entry->name == name)) return led;
  }
  entry = nullptr;
  return failReading({psErrorKind::damaged, "the record of " + what + " is damaged; restore the store from a backup, " +
                                                "or choose another name"});
}

// False, with the reason, when the name leads somewhere already. What it leads to may be damaged; it is not replaced
// then.
bool Catalog::isFreeName(Lookup found, const std::string& what) {
  if (found == Lookup::found) fail(psErrorKind::usage, what + " exists already");
  return found == Lookup::absent;
}

Catalog::Lookup Catalog::databaseNamed(std::string_view name, CatalogEntry*& entry) {
  return named(StoreKey::databaseName(name), psId(), name, databaseText(name), entry);
}

CatalogEntry* Catalog::createDatabase() {
  CatalogEntry* federation = nullptr;
  if (find(federationId(), federation) != Lookup::found) return nullptr;
  const std::uint32_t number =
      freshNumber(*federation, highestDatabase,
                  "the store already holds 65,534 databases; delete one, or place containers in those that exist");
  if (number == 0) return nullptr;
  const psId id(static_cast<unsigned short>(number), 0, 0, 0);
  CatalogEntry* const entry = create(classOf(id), id);
  if (entry == nullptr) return nullptr;
  changeCreated(*entry);
  change(*federation);
  federation->nextNumber = std::max(federation->nextNumber, number + 1);
  ++federation->live;
  return entry;
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
  CatalogEntry* namesake = nullptr;
  if (!isFreeName(databaseNamed(name, namesake), databaseText(name))) return false;
  const std::uint16_t number = database.frame->pageId.get_DB();
  WholeChange whole(*engine_);
  const StoreKey key = StoreKey::databaseName(name);
  if (!engine_->put(key, numberValue(key, number))) return fail(engine_->error());
  database.name = name;
  change(database);
  return whole.done();
}

Catalog::Lookup Catalog::containerNamed(const CatalogEntry& database, std::string_view name, CatalogEntry*& entry) {
  return named(StoreKey::containerName(database.frame->pageId.get_DB(), name), database.frame->pageId, name,
               containerText(database, name), entry);
}

CatalogEntry* Catalog::createContainer(CatalogEntry& database, std::string_view name, std::uint32_t type,
                                       std::uint32_t number) {
  const std::uint16_t db = database.frame->pageId.get_DB();
  CatalogEntry* namesake = nullptr;
  if (!name.empty() && !isFreeName(containerNamed(database, name, namesake), containerText(database, name)))
    return nullptr;
  const bool chosen = number != 0;
  if (!chosen) {
    number = freshNumber(database, highestContainer,
                         "database \"" + database.name +
                             "\" already holds 65,535 containers; use another database, or let small collections " +
                             "share containers");
    if (number == 0) return nullptr;
  }
  const psId id(db, static_cast<unsigned short>(number), 0, 0);
  if (const Lookup taken = chosen ? isTaken(id) : Lookup::absent; taken != Lookup::absent) {
    if (taken == Lookup::found)
      fail(psErrorKind::usage,
           "database \"" + database.name + "\" already has a container with number " + std::to_string(number));
    return nullptr;
  }
  CatalogEntry* const entry = create(type, id);
  if (entry == nullptr) return nullptr;
  changeCreated(*entry);
  WholeChange whole(*engine_);
  const StoreKey key = StoreKey::containerName(db, name);
  if (!name.empty() && !engine_->put(key, numberValue(key, number))) {
    fail(engine_->error());
    return nullptr;
  }
  entry->name = name;
  change(database);
  database.nextNumber = std::max(database.nextNumber, number + 1);
  ++database.live;
  whole.done();
  return entry;
}

bool Catalog::erasePrefix(std::string_view prefix) {
  std::vector<std::string> keys;
  const bool read = engine_->scan(prefix, [&keys](std::string_view key, std::string_view) {
    keys.emplace_back(key);
    return true;
  });
  if (!read) {
    failReading(engine_->error());
    return false;
  }
  return std::all_of(keys.begin(), keys.end(), [this](const std::string& key) { return engine_->erase(key); }) ||
         fail(engine_->error());
}

bool Catalog::dropContainer(CatalogEntry& container) {
  const psId id = container.id();
  CatalogEntry* database = nullptr;
  if (find(databaseOf(id), database) == Lookup::failed) return false;
  WholeChange whole(*engine_);
  if (!container.name.empty() && !engine_->erase(StoreKey::containerName(id.get_DB(), container.name))) {
    return fail(engine_->error());
  }
  if (container.stored && !engine_->erase(recordKey(id))) return fail(engine_->error());
  if (!erasePrefix(StoreKey::pagesOf(id.get_DB(), id.get_OC()))) return false;
  if (database != nullptr) {
    change(*database);
    --database->live;
  }
  retire(container);
  return whole.done();
}

bool Catalog::dropDatabase(CatalogEntry& database) {
  takenNumbers_ = 0;
  const psId id = database.id();
  CatalogEntry* federation = nullptr;
  if (find(federationId(), federation) == Lookup::failed) return false;
  WholeChange whole(*engine_);
  if (!database.name.empty() && !engine_->erase(StoreKey::databaseName(database.name))) return fail(engine_->error());
  if (database.stored && !engine_->erase(recordKey(id))) return fail(engine_->error());
  if (federation != nullptr) {
    change(*federation);
    --federation->live;
  }
  retire(database);
  return whole.done();
}

bool Catalog::membersOf(const CatalogEntry& scope, std::vector<psId>& members) {
  const psId within = scope.frame->pageId;
  const bool databases = within.get_DB() == 0;
  const std::string prefix(
      std::string_view(databases ? StoreKey::databases() : StoreKey::containersOf(within.get_DB())));
  members.clear();
  bool sound = true;
  const bool read = engine_->scan(prefix, [&](std::string_view key, std::string_view) {
    sound = key.size() == prefix.size() + 2;
    if (!sound) return false;
    const std::uint16_t number = StoreKey::numberAt(key, prefix.size());
    members.push_back(databases ? psId(number, 0, 0, 0) : psId(within.get_DB(), number, 0, 0));
    return true;
  });
  if (!read || !sound) {
    failReading(read ? StoreError{psErrorKind::damaged, "the list of what is in " + textOf(scope.id()) +
                                                            " is damaged; restore the store from a backup"}
                     : engine_->error());
    return false;
  }
  for (const CatalogEntry* const entry : changed_) {
    const psId id = entry->id();
    const bool member =
        databases ? id.get_DB() != 0 && id.get_OC() == 0 : id.get_DB() == within.get_DB() && id.get_OC() != 0;
    if (member && !entry->stored) members.push_back(id);
  }
  std::sort(members.begin(), members.end(), precedes);
  return true;
}

// Takes an entry out of the tables. Whatever pins it keeps its memory.
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
  while (!changed_.empty()) {
    CatalogEntry& entry = *changed_.back();
    if (entry.created || entry.frame->pins == 0) {
      retire(entry);
      continue;
    }
    changed_.pop_back();
    entry.changed = false;
    entry.frame->readStamp = 1;
    entry.frame->updateStamp = 0;
  }
}

}  // namespace ps::detail
