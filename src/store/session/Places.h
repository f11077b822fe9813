#pragma once

#include <cstdint>
#include <vector>

#include "store/catalog/CatalogEntry.h"
#include "store/engine/Engine.h"

namespace ps::detail {

class SessionCore;

// The places of one session's store: families of containers that grow by a container when the last one has taken its
// number of pages. The first container stands for the place. Names that the library files say the rest: in every
// container of a place, which is the first one; in the first one, all of them in order.
//
// Operations that fail signal why.
class Places {
 public:
  explicit Places(SessionCore& session) : session_(session) {}

  // The first container of the place to which a container belongs; null unless found.
  [[nodiscard]] Engine::Lookup find(const psId& container, psId& first);
  // Makes a container the first of a place.
  [[nodiscard]] bool make(const psId& container);
  // Appends the containers of a place, in the order in which they were made.
  [[nodiscard]] bool partsOf(const psId& first, std::vector<psId>& parts);

  // Where an object goes that is to be created in a container: into it, or into a later one of its place if it has
  // taken its number of pages. Makes that one if need be. Null when the store refuses. Costs a comparison until then,
  // and after that a look-up in the catalog for each container that has been left; more at the first time in a
  // transaction.
  CatalogEntry* next(CatalogEntry& container) {
    return PS_LIKELY(container.nextNumber <= mostPages_) ? &container : nextOfPlace(container);
  }
  // The same when the container is full.
  CatalogEntry* afterFull(CatalogEntry& container);

  // For tests: the number of pages that a container of a place takes.
  void limitPages(std::uint32_t pages) { mostPages_ = pages; }

 private:
  // Half of a container's pages. The others are for what its objects gain later: arrays, and the parts of collections
  // that must lie beside others.
  static constexpr std::uint32_t usualPages = 32768;

  CatalogEntry* nextOfPlace(CatalogEntry& container);
  CatalogEntry* successorOf(CatalogEntry& container);
  bool findSuccessor(const CatalogEntry& container, psId& successor);
  bool grow(const psId& first, const psId& last, psId& added);
  bool enter(const psId& first, const psId& part, std::uint32_t number);
  CatalogEntry* databaseWithRoom(const psId& last);

  SessionCore& session_;
  std::uint32_t mostPages_ = usualPages;
};

}  // namespace ps::detail
