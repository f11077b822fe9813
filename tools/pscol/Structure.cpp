#include "pscol/Structure.h"

#include <core/psCollectionIterator.h>
#include <core/psCompare.h>

#include <algorithm>
#include <memory>

#include "pscol/Text.h"
#include "pscol/ValueText.h"

namespace pscol {

namespace {

using Kind = psStoredValue::Kind;

bool isNumber(Kind kind) {
  return kind == Kind::signedInteger || kind == Kind::unsignedInteger || kind == Kind::floating;
}

// As the store tells it, or as the session says why it does not.
std::string rest(const std::string& error) {
  return "cannot be read" + (error.empty() ? std::string() : " (" + error + ")");
}

}  // namespace

picture::ReportedCollection Structure::collection(const psId& id) {
  picture::ReportedCollection one;
  one.id = id;
  psStoredObject object;
  if (store_.inspector().object(id, object) == 1) one.className = names_[object.typeN];
  std::vector<psInspector::Filing> filings;
  if (store_.inspector().namesOf(id, filings) == 1 && !filings.empty()) one.path = store_.nameOf(id);
  const std::string owner = one.path.empty() ? "collections without a name" : one.path;
  const psCollectionKind kind = store_.inspector().kindOf(id);
  int result = 0;
  if (psIsTree(kind)) {
    result = store_.inspector().tree(id, one.tree, [&](const psNodeInfo& node) {
      note(node.id, owner);
      note(node.entries, owner);
      return true;
    });
  } else if (psIsHashTable(kind)) {
    result = store_.inspector().table(id, one.table, [&](const psBucketInfo& bucket) {
      note(bucket.id, owner);
      one.tally.add(bucket);
      return true;
    });
  }
  if (result != 1) one.complaint = rest(kind == psCollectionKind::none ? "" : store_.session().lastError());
  one.tree.kind = kind;
  one.table.kind = kind;
  return one;
}

// A container and an object of its database may have the same name; then the object is meant.

picture::ReportedCollection Structure::wanted(const std::string& path) {
  const psId id = store_.findCollection(path);
  if (id.get_slot() == 0)
    throw Failure(Status::negative, inQuotes(path) + " is no collection; `pscol ls` shows what is in it");
  psStoredObject object;
  require(store_.session(), store_.inspector().object(id, object));
  if (store_.inspector().kindOf(id) == psCollectionKind::none)
    throw Failure(Status::negative,
                  inQuotes(path) + " is no collection that can be read, but an object of " + names_[object.typeN]);
  picture::ReportedCollection one = collection(id);
  if (!one.complaint.empty()) throw Failure(Status::negative, inQuotes(path) + " " + one.complaint);
  if (one.path.empty()) one.path = store_.nameOf(id);
  return one;
}

bool Structure::sketch(const picture::ReportedCollection& one, picture::TreeSketch& sketch) {
  psTreeInfo info;
  return store_.inspector().tree(one.id, info, [&](const psNodeInfo& node) {
    sketch.add(node);
    return true;
  }) == 1;
}

bool Structure::sketch(const picture::ReportedCollection& one, picture::HashSketch& sketch) {
  psHashInfo info;
  return store_.inspector().table(one.id, info, [&](const psBucketInfo& bucket) {
    sketch.add(bucket);
    return true;
  }) == 1;
}

void Structure::note(const psId& part, const std::string& path) {
  if (owners_ != nullptr && !part.isNull()) owners_->emplace(psId(part.get_DB(), part.get_OC(), 0, 0), path);
}

std::string Structure::label(const psId& element) {
  psStoredObject object;
  if (store_.inspector().object(element, object) != 1) return "";
  std::string number;
  for (const psStoredLevel& level : object.levels) {
    for (const psStoredValue& field : level.fields) {
      if (field.kind == Kind::text && !field.text.empty()) return field.text;
      if (isNumber(field.kind) && number.empty()) number = valueText(field);
    }
  }
  return number;
}

std::string Structure::nameOf(const psId& element) {
  const std::string text = label(element);
  return text.empty() ? idText(element) : text;
}

std::optional<picture::KeyInTree> Structure::place(const picture::ReportedCollection& one,
                                                   const picture::TreeSketch& sketch, const psId& element) {
  const pstHandle<psCollection> collection(one.id);
  if (collection.open(pscRead) != 1) return std::nullopt;
  const std::unique_ptr<psCollectionIterator> at(collection->iterator());
  std::uint64_t position = 0;
  while (at->hasNext()) {
    if (at->next(pscNoLock).oid() == element) return sketch.keyAt(position, nameOf(element));
    ++position;
  }
  return std::nullopt;
}

std::optional<picture::KeyInTable> Structure::place(const picture::ReportedCollection& one,
                                                    const picture::HashSketch& sketch, const psId& element) {
  const pstHandle<psObj> key(element);
  const pstHandle<psCompare> comparator(one.table.comparator);
  if (key.open(pscRead) != 1 || (!comparator.isNull() && comparator.open(pscRead) != 1)) return std::nullopt;
  const int signedHash = comparator.isNull() ? psCompare::hashPsId(key) : comparator->hash(key);
  const auto hash = static_cast<std::uint32_t>(signedHash);
  const std::uint32_t directoryPlace = one.table.depth == 0 ? 0 : hash >> (32 - one.table.depth);
  const auto& buckets = sketch.buckets();
  const auto after = std::upper_bound(buckets.begin(), buckets.end(), directoryPlace,
                                      [](std::uint32_t place, const auto& bucket) { return place < bucket.first; });
  if (after == buckets.begin() || one.table.slots == 0) return std::nullopt;
  const pstHandle<psCollection> collection(one.id);
  return picture::KeyInTable{(after - 1)->id, hash % one.table.slots,
                             collection.open(pscRead) == 1 && collection->contains(key), nameOf(element)};
}

}  // namespace pscol
