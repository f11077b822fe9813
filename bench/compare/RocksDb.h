#pragma once

#include <rocksdb/db.h>

#include <memory>
#include <vector>

#include "Contestant.h"

// RocksDB with what its makers recommend, a Bloom filter and a block cache of the size of ours. By identifier, one
// column family binds keys to eight bytes; else one binds keys to the numbers of objects, and another the numbers to
// the objects. Numbers are stored with their highest byte first, so that their bytes are in their order.
class RocksDb final : public Contestant {
 public:
  using Contestant::Contestant;
  ~RocksDb() override;

  void create() override;
  void open() override;
  void add(const KeyList& keys, bool ascending) override;
  void remove(const KeyList& keys) override;
  void settle() override;
  std::size_t countHits(const KeyList& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;

 private:
  class StoredKey;
  template <class Visit>
  void visitAll(Visit visit) const;
  bool get(rocksdb::ColumnFamilyHandle* family, const rocksdb::Slice& key, rocksdb::PinnableSlice& value) const;

  std::unique_ptr<rocksdb::DB> database_;
  std::vector<rocksdb::ColumnFamilyHandle*> families_;
  rocksdb::ColumnFamilyHandle* index_ = nullptr;
  rocksdb::ColumnFamilyHandle* objects_ = nullptr;
  std::uint64_t nextObject_ = 0;
};
