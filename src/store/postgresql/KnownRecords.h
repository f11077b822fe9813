#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "store/postgresql/CountedRecord.h"

namespace ps::detail {

// A record that a session has read, or found to be absent.
struct KnownRecord {
  std::optional<std::string> stored;
  Counts counts;      // of the catalog's records alone
  std::string value;  // what the store sees; empty when absent

  KnownRecord() = default;
  KnownRecord(std::string_view key, std::optional<std::string> record, const Counts& added);
};

// The small records that a session has read: names, the catalog, classes. They stay known over transactions, since each
// transaction learns at its beginning what others have changed. So looking up a name that is known takes no round trip.
// Pages are not among them: the cache of pages keeps those.
class KnownRecords {
 public:
  static bool covers(std::string_view key);

  // Null when it is not known. The result stays where it is until it is forgotten or replaced.
  const KnownRecord* find(const std::string& key) const;
  const KnownRecord& keep(const std::string& key, KnownRecord record) { return records_[key] = std::move(record); }
  void forget(const std::string& key) { records_.erase(key); }
  void clear() { records_.clear(); }
  // Adds what another session has counted to a record that is known.
  void count(const std::string& key, const Counts& more);
  // Called between transactions: forgets all when they are too many.
  void trim();

 private:
  static constexpr std::size_t most = 200000;

  std::unordered_map<std::string, KnownRecord> records_;
};

}  // namespace ps::detail
