#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "store/catalog/Catalog.h"
#include "store/catalog/NameIndex.h"

namespace ps::detail {

class SessionCore;

// The containers, databases and names of one session's store, looked up and changed in the session's transaction.
//
// A look-up that fails is a refusal, which is signalled and counted; it is never reported as "absent". entry is null
// unless found. Changes that fail signal the reason and return null or false.
class Directory {
 public:
  explicit Directory(SessionCore& session) : session_(session) {}

  [[nodiscard]] Engine::Lookup find(const psId& id, CatalogEntry*& entry, bool* changed = nullptr);
  [[nodiscard]] Engine::Lookup findContainerOf(const psId& object, CatalogEntry*& entry);
  [[nodiscard]] Engine::Lookup findDatabase(std::string_view name, CatalogEntry*& entry);
  [[nodiscard]] Engine::Lookup findContainer(const psId& database, std::string_view name, CatalogEntry*& entry);
  [[nodiscard]] Engine::Lookup findNamed(const psId& scope, std::string_view filed, psId& object);
  // False when they cannot be read.
  [[nodiscard]] bool membersOf(const CatalogEntry& scope, std::vector<psId>& members);
  // The entry, for callers to whom absent and refused are the same; it is null in both cases.
  CatalogEntry* entry(const psId& id);
  CatalogEntry* containerOf(const psId& object);

  // Creates; fails when the name or number is taken or cannot be looked up.
  CatalogEntry* createContainer(const psId& database, const char* name, std::uint32_t type, std::uint32_t number);
  CatalogEntry* createDatabase();
  bool nameDatabase(CatalogEntry& database, std::string_view name);
  // The database of that name. When there is none, an update transaction creates it; otherwise null.
  CatalogEntry* databaseNamed(const char* name);
  // Deletes a container or database with all that it holds.
  bool remove(const psId& id);

  bool file(const psId& object, const psId& scope, std::string_view filed);
  bool unfile(const psId& scope, std::string_view filed);
  bool refile(const psId& scope, std::string_view filed, const psId& newScope, std::string_view newlyFiled);
  // Appends what is filed in a scope under what begins with the prefix.
  [[nodiscard]] bool listFiled(const psId& scope, std::string_view prefix, std::vector<NameIndex::Filed>& found);
  // Gives the names of one object to another.
  bool rename(const psId& from, const psId& to);
  // Forgets the names of an object and the names in its scope. The second function tells beforehand whether all of them
  // can be read.
  bool forgetNames(const psId& id);
  bool canReadNames(const psId& id);

 private:
  Engine::Lookup answer(Engine::Lookup found);
  bool failAsCatalog();
  bool mayGrow(const psId& where, std::size_t pages = 0);
  bool removeContainer(CatalogEntry& entry);
  bool removeDatabase(CatalogEntry& database);
  bool dropContainer(CatalogEntry& entry);
  bool isFileable(std::string_view filed);
  bool isScope(const psId& scope);
  bool isName(std::string_view name, const char* whose);
  bool markNamed(const psId& id);
  bool result(NameIndex::Bound bound, const NameIndex& names, const psId& scope, std::string_view filed);
  bool failNotFiled(const psId& scope, std::string_view filed);

  SessionCore& session_;
};

}  // namespace ps::detail
