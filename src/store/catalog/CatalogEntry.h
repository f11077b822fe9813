#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/cache/PagelessObject.h"

namespace ps::detail {

// A container, a database or the federation in memory: the object that handles open, of class header.type, and what the
// store keeps of it.
struct CatalogEntry final : PagelessObject {
  // Kept in the store.
  std::string name;              // empty: unnamed
  std::uint32_t nextNumber = 1;  // container: the next fresh page; database: container; federation: database
  std::uint32_t live = 0;        // container: objects, without storage; database: containers; federation: databases
  std::uint32_t pageSize = 0;    // federation only

  std::size_t changedIndex = 0;  // in the catalog's list of changed entries
  bool changed = false;          // must be written
  bool created = false;          // by the running transaction
  bool stored = false;

  // Container: a later one of its place, null when it belongs to none, as looked up in the update transaction of that
  // stamp; see session/Places.h.
  psId successor;
  std::uint64_t successorTime = 0;

  psId id() const { return idAt(object); }
  psObj* asObject() { return reinterpret_cast<psObj*>(object); }

  // A new entry of the class and identifier; null when there is no memory or address range for it.
  static CatalogEntry* create(std::uint32_t type, const psId& id);
  // Takes the entry out of use. It is freed with its last pin, or at once when nothing pins it.
  static void retire(CatalogEntry* entry);
  void destroy() override;

  // For the memory of entries; see ForkLocks.
  static void lockForFork();
  static void unlockAfterFork();

  // The stored form: its checksum, seeded with the key, then the fields.
  std::string encode(std::string_view key) const;
  // False when the record is damaged.
  bool decode(std::string_view key, std::string_view record);
};

}  // namespace ps::detail
