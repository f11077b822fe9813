#include "store/postgresql/KnownRecords.h"

#include <utility>

#include "store/engine/StoreKey.h"

namespace ps::detail {

KnownRecord::KnownRecord(std::string_view key, std::optional<std::string> record, const Counts& added)
    : stored(std::move(record)), counts(added) {
  if (stored.has_value()) value = withCounts(key, *stored, counts);
}

bool KnownRecords::covers(std::string_view key) { return !StoreKey::isOfPage(key); }

const KnownRecord* KnownRecords::find(const std::string& key) const {
  const auto found = records_.find(key);
  return found != records_.end() ? &found->second : nullptr;
}

void KnownRecords::count(const std::string& key, const Counts& more) {
  const auto found = records_.find(key);
  if (found == records_.end() || !found->second.stored.has_value()) return;
  Counts counts = found->second.counts;
  counts.add(more);
  found->second = KnownRecord(key, std::move(found->second.stored), counts);
}

void KnownRecords::trim() {
  if (records_.size() > most) records_.clear();
}

}  // namespace ps::detail
