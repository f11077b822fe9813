#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "store/engine/Engine.h"
#include "store/verify/Findings.h"
#include "store/verify/ObjectSet.h"
#include "store/verify/RecordedPages.h"

namespace ps::detail {

// Verifies that each array's storage exists and belongs to one array, container by container. It takes 4 bytes for each
// storage and 8 for each array of one container at a time. Storage in another container than its array is rare: a place
// has it where a container was full.
class ArrayOwners {
 public:
  ArrayOwners(Engine& engine, Findings& findings) : engine_(engine), pages_(engine), findings_(findings) {}

  // Storage comes in the order of identifiers.
  void addStorage(const psId& storage);
  void addArray(const psId& object, const psId& storage);
  // Of the same container as the storage and the objects: a page that cannot be read, or an object that may have arrays
  // that nobody knows of.
  void addUnreadablePage(const psId& page) { unreadablePages_.insert(page.get_page()); }
  void addHidingObject() { hidesArrays_ = true; }

  void endContainer(const psId& container);
  // After the last container.
  void finish();

  // The objects that have an array whose storage belongs to one before.
  const ObjectSet& sharing() const { return sharing_; }

 private:
  struct Array {
    std::uint32_t storage;  // page and slot
    std::uint32_t object;
  };
  struct FarArray {
    psId storage;
    psId object;
  };

  static std::uint32_t placeOf(const psId& id) { return std::uint32_t{id.get_page()} << 16 | id.get_slot(); }
  static std::uint32_t numberOf(const psId& container) {
    return std::uint32_t{container.get_DB()} << 16 | container.get_OC();
  }
  void complainOfMissing(const psId& object, const psId& storage);
  void complainOfShared(const psId& object, const psId& storage);
  void verifyFar(const FarArray& array, std::vector<bool>& isOwned);
  void noteUnowned(const psId& storage);

  Engine& engine_;
  RecordedPages pages_;
  Findings& findings_;
  // Of the current container.
  std::vector<std::uint32_t> storage_;
  std::vector<Array> arrays_;
  std::unordered_set<std::uint16_t> unreadablePages_;
  bool hidesArrays_ = false;
  // Of all.
  ObjectSet sharing_;
  std::vector<FarArray> farArrays_;
  std::vector<psId> unowned_;                    // in their container, of which all is known
  std::unordered_set<std::uint32_t> uncertain_;  // containers of which something is not known
};

}  // namespace ps::detail
