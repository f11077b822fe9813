#pragma once

#include <lmdb.h>

#include "Contestant.h"
#include "Payload.h"

// LMDB in one file. One database binds keys to the numbers of objects; if objects come with the elements, another binds
// the numbers to the objects. Objects are numbered in the order in which they come.
class Lmdb final : public Contestant {
 public:
  using Contestant::Contestant;
  ~Lmdb() override;

  void create() override { open(); }
  void open() override;
  void add(const Keys& keys, bool ascending) override;
  void remove(const Keys& keys) override;
  void drop() override;
  std::size_t countHits(const Keys& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;
  DiskBytes bytesOnDisk() const override { return bytesOfLmdbFile(fileNamed(file)); }

 private:
  static constexpr const char* file = "lmdb";

  MDB_txn* begin(unsigned int flags) const;
  bool get(MDB_txn* transaction, MDB_dbi database, MDB_val key, MDB_val& data) const;
  // Calls visit(transaction, key, number) for all elements.
  template <class Visit>
  void visitAll(Visit visit) const;

  MDB_env* environment_ = nullptr;
  MDB_dbi index_ = 0;
  MDB_dbi objects_ = 0;
  std::uint64_t nextObject_ = 0;
};
