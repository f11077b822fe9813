#include "store/postgresql/CountedRecord.h"

#include <xxhash.h>

#include <algorithm>
#include <cstring>

namespace ps::detail {

namespace {

constexpr std::size_t nextAt = 12;
constexpr std::size_t liveAt = 16;
constexpr std::size_t countsEnd = 20;
constexpr std::size_t least = 24;

std::uint32_t numberAt(std::string_view record, std::size_t at) {
  std::uint32_t number = 0;
  std::memcpy(&number, record.data() + at, sizeof number);
  return number;
}

std::uint64_t checksumOf(std::string_view key, std::string_view record) {
  constexpr std::size_t payload = sizeof(std::uint64_t);
  return XXH3_64bits_withSeed(record.data() + payload, record.size() - payload, XXH3_64bits(key.data(), key.size()));
}

bool isSound(std::string_view key, std::string_view record) {
  if (record.size() < least) return false;
  const std::uint64_t checksum = checksumOf(key, record);
  return std::memcmp(&checksum, record.data(), sizeof checksum) == 0;
}

std::string sealedWith(std::string_view key, std::string record, std::uint32_t next, std::uint32_t live) {
  std::memcpy(record.data() + nextAt, &next, sizeof next);
  std::memcpy(record.data() + liveAt, &live, sizeof live);
  const std::uint64_t checksum = checksumOf(key, record);
  std::memcpy(record.data(), &checksum, sizeof checksum);
  return record;
}

}  // namespace

void Counts::add(const Counts& more) {
  live += more.live;
  next = std::max(next, more.next);
}

bool isCountedKey(std::string_view key) { return !key.empty() && (key[0] == 'C' || key[0] == 'D' || key[0] == 'F'); }

std::string withCounts(std::string_view key, std::string_view stored, const Counts& counts) {
  if (counts.isNone() || !isSound(key, stored)) return std::string(stored);
  const auto live = static_cast<std::uint32_t>(std::int64_t{numberAt(stored, liveAt)} + counts.live);
  return sealedWith(key, std::string(stored), std::max(numberAt(stored, nextAt), counts.next), live);
}

Counts countsBetween(std::string_view before, std::string_view after) {
  if (before.size() < least || after.size() < least) return {};
  const std::uint32_t next = numberAt(after, nextAt);
  return {std::int64_t{numberAt(after, liveAt)} - std::int64_t{numberAt(before, liveAt)},
          next != numberAt(before, nextAt) ? next : 0};
}

bool differInCountsAlone(std::string_view before, std::string_view after) {
  if (before.size() != after.size() || before.size() < least) return false;
  const auto same = [&](std::size_t from, std::size_t to) {
    return before.substr(from, to - from) == after.substr(from, to - from);
  };
  return same(sizeof(std::uint64_t), nextAt) && same(countsEnd, before.size());
}

std::string withCountsOf(std::string_view key, std::string_view stored, std::string_view after) {
  if (stored.size() < least || after.size() < least) return std::string(after);
  return sealedWith(key, std::string(after), numberAt(stored, nextAt), numberAt(stored, liveAt));
}

}  // namespace ps::detail
