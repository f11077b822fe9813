#include "store/verify/CatalogVerifier.h"

#include <algorithm>

#include "store/base/ClassNumbers.h"
#include "store/base/IdText.h"
#include "store/catalog/Catalog.h"
#include "store/catalog/CatalogEntry.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::size_t numberSize = 2;
constexpr std::size_t databaseNameBegin = 1;
constexpr std::size_t containerNameBegin = 3;
constexpr std::size_t databaseKeySize = 3;
constexpr std::size_t containerKeySize = 5;

StoreKey recordKey(const psId& id) {
  if (id.get_DB() == 0) return StoreKey::federation();
  return id.get_OC() == 0 ? StoreKey::database(id.get_DB()) : StoreKey::container(id.get_DB(), id.get_OC());
}

StoreKey nameKey(const psId& id, std::string_view name) {
  return id.get_OC() == 0 ? StoreKey::databaseName(name) : StoreKey::containerName(id.get_DB(), name);
}

bool isPageSize(std::uint32_t size) { return size >= 4096 && size <= 32768 && (size & (size - 1)) == 0; }

}  // namespace

std::string complaintAboutCounts(std::uint32_t next, std::uint32_t live, std::uint32_t highest, std::uint64_t count,
                                 const char* members, const char* numbered) {
  if (live != count) return "counts " + std::to_string(live) + ' ' + members + ", but has " + std::to_string(count);
  if (next > highest && next <= 0x10000) return {};
  return "gives out " + std::to_string(next) + " as the next number of a " + numbered + ", but " +
         (next > highest ? std::string("there is no such number") : "has number " + std::to_string(highest));
}

bool CatalogVerifier::hasEntry(const psId& id) const {
  if (id.get_page() != 0 || id.get_slot() != (id.get_DB() == 0 ? 1 : 0)) return false;
  if (id.get_DB() == 0 && id.get_OC() != 0) return false;
  std::string_view record;
  return engine_.get(recordKey(id), record) != Engine::Lookup::absent;
}

void CatalogVerifier::verifyContainerName(std::string_view key, std::string_view value) {
  verifyName(key, value, containerNameBegin);
}

void CatalogVerifier::verifyDatabaseName(std::string_view key, std::string_view value) {
  verifyName(key, value, databaseNameBegin);
}

// The record of a name leads to what has that name.
void CatalogVerifier::verifyName(std::string_view key, std::string_view value, std::size_t nameBegin) {
  const bool ofContainer = nameBegin == containerNameBegin;
  const char* const what = ofContainer ? "a container" : "a database";
  if (key.size() <= nameBegin)
    return findings_.fault(psFindingKind::entry, psId(),
                           std::string("a record of the name of ") + what + " has a malformed key");
  const std::string name(key.substr(nameBegin));
  const std::uint16_t db = ofContainer ? StoreKey::numberAt(key, 1) : 0;
  const std::string_view bytes = unsealed(key, value, numberSize);
  const std::uint16_t number = bytes.empty() ? 0 : StoreKey::numberAt(bytes, 0);
  const psId id = ofContainer ? psId(db, number, 0, 0) : psId(number, 0, 0, 0);
  std::string_view record;
  CatalogEntry entry{};
  const bool leads = number != 0 && engine_.get(recordKey(id), record) == Engine::Lookup::found &&
                     entry.decode(recordKey(id), record) && entry.name == name;
  if (!leads)
    findings_.fault(psFindingKind::entry, number != 0 ? id : psId(db, 0, 0, 0),
                    "the record of the name \"" + name + "\" of " + what +
                        (bytes.empty() ? " is damaged" : " leads to none that has the name"));
}

// What has a name is found under it.
void CatalogVerifier::verifyNameOf(const psId& id, const std::string& name) {
  if (name.empty()) return;
  const StoreKey key = nameKey(id, name);
  std::string_view value;
  const bool mayBeFound = std::string_view(key).size() <= engine_.maxKeySize();
  if (!mayBeFound || engine_.get(key, value) == Engine::Lookup::absent)
    findings_.faultOf(psFindingKind::entry, id, "has the name \"" + name + "\", but is not found under it");
}

void CatalogVerifier::verifyCounts(const psId& id, std::uint32_t next, std::uint32_t live, const Members& members,
                                   const char* what) {
  const std::string complaint =
      complaintAboutCounts(next, live, members.highest, members.count, (std::string(what) + 's').c_str(), what);
  if (!complaint.empty()) findings_.faultOf(psFindingKind::count, id, complaint);
}

void CatalogVerifier::verifyContainer(std::string_view key, std::string_view record) {
  const bool isKey = key.size() == containerKeySize;
  const psId id = isKey ? psId(StoreKey::numberAt(key, 1), StoreKey::numberAt(key, 3), 0, 0) : psId();
  if (id.get_DB() == 0 || id.get_OC() == 0)
    return findings_.fault(psFindingKind::entry, psId(), "the record of a container has a malformed key");
  ++findings_.report().containers;
  Members& members = membersOfDatabases_[id.get_DB()];
  ++members.count;
  members.highest = std::max<std::uint32_t>(members.highest, id.get_OC());
  CatalogEntry entry{};
  if (!entry.decode(key, record)) return findings_.faultOf(psFindingKind::entry, id, "has a damaged record");
  const bool isCollected = entry.header.type == collectedContainerTypeN;
  if (!isCollected && entry.header.type != containerTypeN)
    findings_.faultOf(psFindingKind::entry, id,
                      "is of class number " + std::to_string(entry.header.type) + ", as no container is");
  if (!hasEntry(psId(id.get_DB(), 0, 0, 0)))
    findings_.faultOf(psFindingKind::entry, id, "lies in a database that does not exist");
  verifyNameOf(id, entry.name);
  containers_.push_back({id, entry.nextNumber, entry.live, isCollected || !entry.name.empty()});
}

void CatalogVerifier::verifyDatabase(std::string_view key, std::string_view record) {
  const psId id = key.size() == databaseKeySize ? psId(StoreKey::numberAt(key, 1), 0, 0, 0) : psId();
  if (id.get_DB() == 0)
    return findings_.fault(psFindingKind::entry, psId(), "the record of a database has a malformed key");
  ++findings_.report().databases;
  ++databases_.count;
  databases_.highest = std::max<std::uint32_t>(databases_.highest, id.get_DB());
  CatalogEntry entry{};
  if (!entry.decode(key, record)) return findings_.faultOf(psFindingKind::entry, id, "has a damaged record");
  if (entry.header.type != databaseTypeN)
    findings_.faultOf(psFindingKind::entry, id,
                      "is of class number " + std::to_string(entry.header.type) + ", as no database is");
  verifyNameOf(id, entry.name);
  verifyCounts(id, entry.nextNumber, entry.live, membersOfDatabases_[id.get_DB()], "container");
}

void CatalogVerifier::verifyFederation(std::string_view key, std::string_view record) {
  const psId id = Catalog::federationId();
  CatalogEntry entry{};
  if (key != std::string_view(StoreKey::federation()))
    return findings_.fault(psFindingKind::record, psId(), "a record has a key of no known form");
  if (!entry.decode(key, record)) return findings_.faultOf(psFindingKind::entry, id, "has a damaged record");
  if (entry.header.type != federationTypeN || !isPageSize(entry.pageSize))
    findings_.faultOf(psFindingKind::entry, id, "has a record with a wrong class or size of pages");
  verifyCounts(id, entry.nextNumber, entry.live, databases_, "database");
}

}  // namespace ps::detail
