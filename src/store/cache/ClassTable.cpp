#include "store/cache/ClassTable.h"

#include <cstring>
#include <utility>
#include <vector>

#include "store/cache/PageRecord.h"
#include "store/cache/RecordBytes.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

// A layout without what identifies it: its number.
std::string describe(const ClassInfo& info) {
  constexpr std::uint32_t version = 0;
  constexpr std::uint16_t fields = 0;
  std::string bytes;
  appendNumber(bytes, info.size);
  appendNumber(bytes, info.alignment);
  appendNumber(bytes, version);
  appendNumber(bytes, std::uint32_t{info.base});
  appendNumber(bytes, fields);
  return bytes;
}

// The record of a class.
struct ClassRecord {
  std::string name;
  std::vector<std::string> layouts;  // numbered from 1

  bool decode(std::string_view payload) {
    RecordReader reader(payload);
    name = reader.take(reader.number<std::uint16_t>());
    for (std::uint32_t n = reader.number<std::uint16_t>(); n > 0 && reader.isSound(); --n) {
      layouts.emplace_back(reader.take(reader.number<std::uint32_t>()));
    }
    return reader.isSound();
  }

  std::string encode(std::string_view key) const {
    std::string record(sizeof(std::uint64_t), '\0');
    appendNumber(record, static_cast<std::uint16_t>(name.size()));
    record += name;
    appendNumber(record, static_cast<std::uint16_t>(layouts.size()));
    for (const std::string& layout : layouts) {
      appendNumber(record, static_cast<std::uint32_t>(layout.size()));
      record += layout;
    }
    const std::uint64_t checksum = chunkChecksum(key, std::string_view(record).substr(sizeof checksum));
    std::memcpy(record.data(), &checksum, sizeof checksum);
    return record;
  }

  // 0 when the layout is not there.
  std::uint16_t numberOf(const std::string& layout) const {
    for (std::size_t i = 0; i < layouts.size(); ++i) {
      if (layouts[i] == layout) return static_cast<std::uint16_t>(i + 1);
    }
    return 0;
  }
};

constexpr std::size_t mostLayouts = 65535;

}  // namespace

void ClassTable::begin(std::uint64_t readStamp) {
  if (readStamp != readStamp_) layouts_.clear();
  readStamp_ = readStamp;
}

std::uint16_t ClassTable::fail(StoreError error) {
  error_ = std::move(error);
  return 0;
}

std::uint16_t ClassTable::layoutOf(const ClassInfo& info) {
  const auto known = layouts_.find(info.number);
  if (known != layouts_.end()) return known->second;
  const std::uint16_t layout = findOrAdd(info);
  if (layout != 0) layouts_.emplace(info.number, layout);
  return layout;
}

std::uint16_t ClassTable::findOrAdd(const ClassInfo& info) {
  const StoreKey key = StoreKey::classRecord(info.number);
  std::string_view value;
  const Engine::Lookup found = engine_->get(key, value);
  if (found == Engine::Lookup::failed) return fail(engine_->error());
  ClassRecord record;
  record.name = info.name;
  std::uint64_t checksum = 0;
  if (found == Engine::Lookup::found && !record.decode(verifiedPayload(key, value, checksum))) {
    return fail({psErrorKind::damaged, "the record of class " + info.name + " (number " + std::to_string(info.number) +
                                           ") is damaged; restore the store from a backup"});
  }
  const std::string layout = describe(info);
  if (const std::uint16_t number = record.numberOf(layout); number != 0) return number;
  if (record.layouts.size() == mostLayouts) {
    return fail({psErrorKind::full, "class " + info.name + " has had 65,535 layouts; give it a new number"});
  }
  record.layouts.push_back(layout);
  if (!engine_->put(key, record.encode(key))) return fail(engine_->error());
  return static_cast<std::uint16_t>(record.layouts.size());
}

}  // namespace ps::detail
