#pragma once

#include <sqlite3.h>

#include <string>

#include "Contestant.h"

// SQLite with a write-ahead log and full synchronisation. By identifier, one table binds keys to eight bytes; else one
// binds keys to the numbers of objects, and another the numbers to the objects.
class Sqlite final : public Contestant {
 public:
  using Contestant::Contestant;
  ~Sqlite() override;

  void create() override;
  void open() override;
  void add(const KeyList& keys, bool ascending) override;
  void remove(const KeyList& keys) override;
  void settle() override { run("PRAGMA wal_checkpoint(TRUNCATE)"); }
  std::size_t countHits(const KeyList& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;

 private:
  class Statement;
  void run(const std::string& sql) const;
  template <class Change>
  void change(Change change) const;
  void bindKey(Statement& statement, int parameter, std::string_view key) const;

  sqlite3* connection_ = nullptr;
  std::uint64_t nextObject_ = 0;
};
