#include "RocksDb.h"

#include <rocksdb/filter_policy.h>
#include <rocksdb/options.h>
#include <rocksdb/table.h>
#include <rocksdb/write_batch.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

void require(const rocksdb::Status& status, const char* action) {
  if (!status.ok()) throw std::runtime_error(std::string("RocksDB cannot ") + action + ": " + status.ToString());
}

rocksdb::ColumnFamilyOptions familyOptions(const std::shared_ptr<rocksdb::Cache>& cache) {
  rocksdb::BlockBasedTableOptions table;
  table.block_cache = cache;
  table.block_size = 16 * 1024;
  table.cache_index_and_filter_blocks = true;
  table.pin_l0_filter_and_index_blocks_in_cache = true;
  table.filter_policy.reset(rocksdb::NewBloomFilterPolicy(10));
  rocksdb::ColumnFamilyOptions options;
  options.level_compaction_dynamic_level_bytes = true;
  options.compaction_pri = rocksdb::kMinOverlappingRatio;
  options.table_factory.reset(rocksdb::NewBlockBasedTableFactory(table));
  return options;
}

rocksdb::WriteOptions durably() {
  rocksdb::WriteOptions options;
  options.sync = true;
  return options;
}

}  // namespace

// A number as it is stored, with its highest byte first.
class RocksDb::StoredNumber {
 public:
  explicit StoredNumber(std::uint64_t number) : turned_(__builtin_bswap64(number)) {}
  operator rocksdb::Slice() const { return {reinterpret_cast<const char*>(&turned_), sizeof turned_}; }

 private:
  std::uint64_t turned_;
};

RocksDb::~RocksDb() {
  for (rocksdb::ColumnFamilyHandle* family : families_) database_->DestroyColumnFamilyHandle(family);
}

void RocksDb::create() {
  open();
  nextObject_ = 0;
}

void RocksDb::open() {
  rocksdb::DBOptions options;
  options.create_if_missing = true;
  options.create_missing_column_families = true;
  options.max_background_jobs = 6;
  options.bytes_per_sync = 1 << 20;
  const std::shared_ptr<rocksdb::Cache> cache = rocksdb::NewLRUCache(setup().cacheBytes);
  const std::vector<rocksdb::ColumnFamilyDescriptor> descriptors{
      {rocksdb::kDefaultColumnFamilyName, familyOptions(cache)}, {"objects", familyOptions(cache)}};
  rocksdb::DB* database = nullptr;
  require(rocksdb::DB::Open(options, fileNamed("rocksdb").string(), descriptors, &families_, &database),
          "open a store");
  database_.reset(database);
  index_ = families_[0];
  objects_ = families_[1];
  nextObject_ = setup().count;
}

void RocksDb::add(const Keys& keys, bool) {
  rocksdb::WriteBatch batch;
  for (const std::uint64_t key : keys) {
    const StoredNumber number(nextObject_++);
    require(batch.Put(index_, StoredNumber(key), number), "take a key");
    if (!ownsObjects()) continue;
    const Payload payload = payloadOf(key);
    require(batch.Put(objects_, number, {reinterpret_cast<const char*>(payload.data()), sizeof payload}),
            "take an object");
  }
  require(database_->Write(durably(), &batch), "commit");
}

void RocksDb::remove(const Keys& keys) {
  rocksdb::WriteBatch batch;
  rocksdb::PinnableSlice number;
  for (const std::uint64_t key : keys) {
    const StoredNumber stored(key);
    if (ownsObjects()) {
      if (!get(index_, stored, number)) throw std::runtime_error("RocksDB does not find what is to be removed");
      require(batch.Delete(objects_, number), "remove an object");
    }
    require(batch.Delete(index_, stored), "remove a key");
  }
  require(database_->Write(durably(), &batch), "commit");
}

void RocksDb::drop() {
  const std::string behindAll(sizeof(std::uint64_t) + 1, '\xff');
  require(database_->DeleteRange(durably(), index_, rocksdb::Slice(), behindAll), "drop the keys");
}

void RocksDb::settle() {
  require(database_->Flush({}, families_), "flush");
  const auto isBusy = [&](const char* what) {
    std::uint64_t value = 0;
    return database_->GetAggregatedIntProperty(what, &value) && value != 0;
  };
  while (isBusy("rocksdb.compaction-pending") || isBusy("rocksdb.num-running-compactions")) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

std::size_t RocksDb::countHits(const Keys& keys) {
  rocksdb::PinnableSlice number;
  rocksdb::PinnableSlice object;
  std::size_t hits = 0;
  for (const std::uint64_t key : keys) {
    if (!get(index_, StoredNumber(key), number)) continue;
    if (ownsObjects()) {
      if (!get(objects_, number, object)) continue;
      if (numberAt(object.data()) != key) continue;
    }
    ++hits;
  }
  return hits;
}

std::size_t RocksDb::walk() {
  std::size_t count = 0;
  visitAll([&](const rocksdb::Slice&, const rocksdb::Slice& number) { count += number.empty() ? 0 : 1; });
  return count;
}

std::uint64_t RocksDb::walkReading() {
  std::uint64_t sum = 0;
  rocksdb::PinnableSlice object;
  visitAll([&](const rocksdb::Slice& key, const rocksdb::Slice& number) {
    if (!ownsObjects()) {
      sum += number.empty() ? 0 : __builtin_bswap64(numberAt(key.data()));
      return;
    }
    if (!get(objects_, number, object)) throw std::runtime_error("RocksDB does not find an object");
    sum += numberAt(object.data());
  });
  return sum;
}

template <class Visit>
void RocksDb::visitAll(Visit visit) const {
  const std::unique_ptr<rocksdb::Iterator> it(database_->NewIterator({}, index_));
  for (it->SeekToFirst(); it->Valid(); it->Next()) visit(it->key(), it->value());
  require(it->status(), "walk");
}

bool RocksDb::get(rocksdb::ColumnFamilyHandle* family, const rocksdb::Slice& key, rocksdb::PinnableSlice& value) const {
  value.Reset();
  const rocksdb::Status status = database_->Get({}, family, key, &value);
  if (!status.IsNotFound()) require(status, "look for a key");
  return status.ok();
}
