#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/catalog/CatalogEntry.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// The federation, its databases and their containers, as one session sees them. Names are in the engine's transaction
// at once; records are written at commit.
//
// What cannot be read is never taken for absent: look-ups return which it was, and callers must tell the two apart. A
// change that has begun in the engine and fails makes the transaction void.
//
// What is made or read throws std::bad_alloc when there is no memory; the entries that are there stay whole. The end of
// a transaction needs none.
class Catalog {
 public:
  using Lookup = Engine::Lookup;

  static constexpr std::uint32_t highestContainer = 65535;
  static constexpr std::uint32_t highestDatabase = 65534;

  Catalog() = default;
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;
  ~Catalog();

  // session is the serial number of the session that the catalog belongs to.
  void attach(Engine& engine, std::uint64_t session) {
    engine_ = &engine;
    session_ = session;
  }
  void begin(std::uint64_t readStamp, std::uint64_t updateStamp);
  bool writeChanges();
  void afterCommit();
  void afterAbort();

  static psId federationId() { return psId(0, 0, 0, 1); }

  // The current entry of a federation, database or container; null unless found. changed, if not null, tells whether
  // another session's commit has changed the entry since it was last used.
  [[nodiscard]] Lookup find(const psId& id, CatalogEntry*& entry, bool* changed = nullptr);

  CatalogEntry* createFederation(std::string_view format, std::uint32_t pageSize);

  // The database of a name; null unless found.
  [[nodiscard]] Lookup databaseNamed(std::string_view name, CatalogEntry*& entry);
  // A new database without a name. It is not kept unless it gets one.
  CatalogEntry* createDatabase();
  // The lowest number for which no database is named stem and number. Numbers found to be taken are not looked up again
  // until a database may have been deleted.
  std::uint32_t lowestFreeNumber(const std::string& stem);
  bool nameDatabase(CatalogEntry& database, std::string_view name);
  bool dropDatabase(CatalogEntry& database);

  [[nodiscard]] Lookup containerNamed(const CatalogEntry& database, std::string_view name, CatalogEntry*& entry);
  // A new container. An empty name makes an unnamed one; number 0 takes the next number. Null when the name or number
  // is taken, or all numbers are.
  CatalogEntry* createContainer(CatalogEntry& database, std::string_view name, std::uint32_t type,
                                std::uint32_t number);
  bool dropContainer(CatalogEntry& container);

  // Identifiers of all containers of a database, or of all databases, in ascending order. False when they cannot be
  // read.
  [[nodiscard]] bool membersOf(const CatalogEntry& scope, std::vector<psId>& members);

  void change(CatalogEntry& entry);

  // Why the last call failed, and whether the reason was that something could not be read.
  const StoreError& error() const { return error_; }
  bool couldNotRead() const { return couldNotRead_; }

 private:
  static std::uint32_t tableKey(const psId& id) { return std::uint32_t{id.get_DB()} << 16 | id.get_OC(); }

  Lookup read(const psId& id, CatalogEntry*& entry);
  CatalogEntry* create(std::uint32_t type, const psId& id);
  void changeCreated(CatalogEntry& entry);
  Lookup isTaken(const psId& id);
  std::uint32_t freshNumber(const CatalogEntry& scope, std::uint32_t highest, const std::string& whenNone);
  Lookup named(std::string_view key, const psId& scope, std::string_view name, const std::string& what,
               CatalogEntry*& entry);
  bool isFreeName(Lookup found, const std::string& what);
  bool erasePrefix(std::string_view prefix);
  void retire(CatalogEntry& entry);
  bool fail(StoreError error);
  bool fail(psErrorKind kind, std::string message) { return fail(StoreError{kind, std::move(message)}); }
  Lookup failReading(StoreError error);

  Engine* engine_ = nullptr;
  std::uint64_t session_ = 0;
  std::uint64_t readStamp_ = 0;
  std::uint64_t updateStamp_ = SessionHead::noStamp;
  std::unordered_map<std::uint32_t, CatalogEntry*> entries_;  // by database and container number; 0 is the federation
  std::vector<CatalogEntry*> changed_;                        // with room for all entries
  std::string numberedStem_;                                  // of lowestFreeNumber, at its last call
  std::uint32_t takenNumbers_ = 0;                            // that so many from 0 on are taken is known
  StoreError error_;
  bool couldNotRead_ = false;
};

}  // namespace ps::detail
