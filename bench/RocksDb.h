#pragma once

#include <rocksdb/db.h>

#include <memory>
#include <vector>

#include "Contestant.h"
#include "Payload.h"

// RocksDB with what its makers recommend, a Bloom filter and a block cache of the size of ours. One column
// family binds keys to the numbers of objects; if objects come with the elements, another binds the numbers to the
// objects. Numbers are stored with their highest byte first, so that their bytes are in their order.
class RocksDb final : public Contestant {
 public:
  using Contestant::Contestant;
  ~RocksDb() override;

  void create() override;
  void open() override;
  void add(const Keys& keys, bool ascending) override;
  void remove(const Keys& keys) override;
  void drop() override;
  void settle() override;
  std::size_t countHits(const Keys& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;

 private:
  class StoredNumber;

  template <class Visit>
  void visitAll(Visit visit) const;
  bool get(rocksdb::ColumnFamilyHandle* family, const rocksdb::Slice& key, rocksdb::PinnableSlice& value) const;

  std::unique_ptr<rocksdb::DB> database_;
  std::vector<rocksdb::ColumnFamilyHandle*> families_;
  rocksdb::ColumnFamilyHandle* index_ = nullptr;
  rocksdb::ColumnFamilyHandle* objects_ = nullptr;
  std::uint64_t nextObject_ = 0;
};
