#pragma once

#include <sqlite3.h>

#include <string>

#include "Contestant.h"
#include "Payload.h"

// SQLite with a write-ahead log and full synchronisation. One table binds keys to the numbers of
// objects; if objects come with the elements, another binds the numbers to the objects.
class Sqlite final : public Contestant {
 public:
  using Contestant::Contestant;
  ~Sqlite() override;

  void create() override;
  void open() override;
  void add(const Keys& keys, bool ascending) override;
  void remove(const Keys& keys) override;
  void drop() override;
  void settle() override { run("PRAGMA wal_checkpoint(TRUNCATE)"); }
  std::size_t countHits(const Keys& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;

 private:
  class Statement;
  void run(const std::string& sql) const;
  template <class Change>
  void change(Change change) const;

  sqlite3* connection_ = nullptr;
  std::uint64_t nextObject_ = 0;
};
