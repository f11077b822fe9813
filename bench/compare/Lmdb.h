#pragma once

#include <lmdb.h>

#include "Contestant.h"

// LMDB in one file. By identifier, one database binds keys to eight bytes; else one binds keys to the numbers of
// objects, and another the numbers to the objects. Objects are numbered in the order in which they come.
class Lmdb final : public Contestant {
 public:
  using Contestant::Contestant;
  ~Lmdb() override;

  void create() override { open(); }
  void open() override;
  void add(const KeyList& keys, bool ascending) override;
  void remove(const KeyList& keys) override;
  std::size_t countHits(const KeyList& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;
  DiskBytes bytesOnDisk() const override { return bytesOfLmdbFile(fileNamed(file)); }

 private:
  static constexpr const char* file = "lmdb";

  MDB_txn* begin(unsigned int flags) const;
  void put(MDB_txn* transaction, MDB_dbi database, MDB_val key, MDB_val data, unsigned int flags) const;
  bool get(MDB_txn* transaction, MDB_dbi database, MDB_val key, MDB_val& data) const;
  template <class Visit>
  void visitAll(Visit visit) const;

  MDB_env* environment_ = nullptr;
  MDB_dbi index_ = 0;
  MDB_dbi objects_ = 0;
  std::uint64_t nextObject_ = 0;
};
