#include "store/session/Places.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "store/base/FiledName.h"
#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

const std::string firstName = filedInternally("place");
const std::string partPrefix = filedInternally("part");

// Sorts as the numbers do.
std::string partName(std::uint32_t number) {
  char digits[16];
  std::snprintf(digits, sizeof digits, "%010u", number);
  return partPrefix + digits;
}

std::uint32_t numberOfPart(const std::string& name) {
  return static_cast<std::uint32_t>(std::strtoul(name.c_str() + partPrefix.size(), nullptr, 10));
}

}  // namespace

Engine::Lookup Places::find(const psId& container, psId& first) {
  return session_.directory().findNamed(container, firstName, first);
}

bool Places::enter(const psId& first, const psId& part, std::uint32_t number) {
  return session_.directory().file(first, part, firstName) && session_.directory().file(part, first, partName(number));
}

bool Places::make(const psId& container) {
  return guardMemory(false, [&] {
    WholeChange whole(session_.engine());
    return enter(container, container, 0) && whole.done();
  });
}

bool Places::partsOf(const psId& first, std::vector<psId>& parts) {
  return guardMemory(false, [&] {
    std::vector<NameIndex::Filed> filed;
    if (!session_.directory().listFiled(first, partPrefix, filed)) return false;
    std::transform(filed.begin(), filed.end(), std::back_inserter(parts),
                   [](const NameIndex::Filed& part) { return part.object; });
    return true;
  });
}

CatalogEntry* Places::nextOfPlace(CatalogEntry& container) {
  // More than the containers that a place may fill in one transaction.
  constexpr int mostSteps = 1 << 20;
  CatalogEntry* in = &container;
  for (int steps = 0; in != nullptr && in->nextNumber > mostPages_; ++steps) {
    if (steps == mostSteps) {
      session_.fail(psErrorKind::damaged, "the containers of the place of " + textOf(container.id()) +
                                              " lead to each other in a circle; restore the store from a backup");
      return nullptr;
    }
    CatalogEntry* const after = successorOf(*in);
    if (after == in) break;
    in = after;
  }
  return in;
}

CatalogEntry* Places::afterFull(CatalogEntry& container) {
  CatalogEntry* const after = successorOf(container);
  return after != nullptr && after != &container ? nextOfPlace(*after) : after;
}

// A later container of the same place; the container itself when it belongs to none. Null when the store refuses.
CatalogEntry* Places::successorOf(CatalogEntry& container) {
  if (container.successorTime != session_.updateTime()) {
    if (!findSuccessor(container, container.successor)) return nullptr;
    container.successorTime = session_.updateTime();
  }
  return container.successor.isNull() ? &container : session_.directory().entry(container.successor);
}

bool Places::findSuccessor(const CatalogEntry& container, psId& successor) {
  successor = psId();
  psId first;
  const Engine::Lookup found = find(container.id(), first);
  if (found != Engine::Lookup::found) return found == Engine::Lookup::absent;
  std::vector<psId> parts;
  if (!partsOf(first, parts)) return false;
  // A container always leads to a later one, so the way ends.
  const auto own = std::find(parts.begin(), parts.end(), container.id());
  if (own == parts.end() || own + 1 == parts.end()) return grow(first, container.id(), successor);
  successor = parts.back();
  return true;
}

// Adds a container to a place whose last one is given.
bool Places::grow(const psId& first, const psId& last, psId& added) {
  std::vector<NameIndex::Filed> filed;
  if (!session_.directory().listFiled(first, partPrefix, filed)) return false;
  const std::uint32_t number = filed.empty() ? 1 : numberOfPart(filed.back().name) + 1;
  WholeChange whole(session_.engine());
  const CatalogEntry* const database = databaseWithRoom(last);
  if (database == nullptr) return false;
  // Garbage-collectable, so that no collection deletes it.
  const CatalogEntry* const made =
      session_.directory().createContainer(database->id(), nullptr, collectedContainerTypeN, 0);
  if (made == nullptr) return false;
  added = made->id();
  return enter(first, added, number) && whole.done();
}

// The database of a container, or a new one if that has all the containers that it can have.
CatalogEntry* Places::databaseWithRoom(const psId& last) {
  CatalogEntry* const present = session_.directory().entry(databaseOf(last));
  if (present == nullptr || present->live < Catalog::highestContainer) return present;
  const std::string stem = "autoDb";
  const std::string name = stem + std::to_string(session_.catalog().lowestFreeNumber(stem));
  return session_.directory().databaseNamed(name.c_str());
}

}  // namespace ps::detail
