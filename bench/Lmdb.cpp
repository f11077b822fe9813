#include "Lmdb.h"

#include <stdexcept>
#include <string>

namespace {

void require(int code, const char* action) {
  if (code != 0) throw std::runtime_error(std::string("LMDB cannot ") + action + ": " + mdb_strerror(code));
}

// Its bytes.
template <class Value>
MDB_val valueOf(const Value& value) {
  return {sizeof value, const_cast<Value*>(&value)};
}

void put(MDB_txn* transaction, MDB_dbi database, MDB_val key, MDB_val data, unsigned int flags) {
  require(mdb_put(transaction, database, &key, &data, flags), "take a pair");
}

}  // namespace

Lmdb::~Lmdb() { mdb_env_close(environment_); }

void Lmdb::open() {
  require(mdb_env_create(&environment_), "make an environment");
  require(mdb_env_set_mapsize(environment_, std::size_t{64} << 30), "reserve a map");
  require(mdb_env_set_maxdbs(environment_, 2), "reserve databases");
  // Without reading ahead, as LMDB advises for data beyond memory; in memory it makes no difference.
  require(mdb_env_open(environment_, fileNamed(file).c_str(), MDB_NOSUBDIR | MDB_NORDAHEAD, 0644), "open a file");
  MDB_txn* const transaction = begin(0);
  require(mdb_dbi_open(transaction, "index", MDB_CREATE | MDB_INTEGERKEY, &index_), "open the index");
  require(mdb_dbi_open(transaction, "objects", MDB_CREATE | MDB_INTEGERKEY, &objects_), "open the objects");
  MDB_stat statistics{};
  require(mdb_stat(transaction, objects_, &statistics), "count objects");
  nextObject_ = statistics.ms_entries;
  require(mdb_txn_commit(transaction), "commit");
}

void Lmdb::add(const Keys& keys, bool ascending) {
  MDB_txn* const transaction = begin(0);
  for (const std::uint64_t& key : keys) {
    const std::uint64_t number = nextObject_++;
    put(transaction, index_, valueOf(key), valueOf(number), MDB_NOOVERWRITE | (ascending ? MDB_APPEND : 0));
    if (!ownsObjects()) continue;
    const Payload payload = payloadOf(key);
    put(transaction, objects_, valueOf(number), valueOf(payload), MDB_APPEND);
  }
  require(mdb_txn_commit(transaction), "commit");
}

void Lmdb::remove(const Keys& keys) {
  MDB_txn* const transaction = begin(0);
  for (const std::uint64_t& key : keys) {
    MDB_val indexKey = valueOf(key);
    if (ownsObjects()) {
      MDB_val data{};
      if (!get(transaction, index_, indexKey, data))
        throw std::runtime_error("LMDB does not find what is to be removed");
      const std::uint64_t number = numberAt(data.mv_data);
      MDB_val objectKey = valueOf(number);
      require(mdb_del(transaction, objects_, &objectKey, nullptr), "remove an object");
    }
    require(mdb_del(transaction, index_, &indexKey, nullptr), "remove a key");
  }
  require(mdb_txn_commit(transaction), "commit");
}

void Lmdb::drop() {
  MDB_txn* const transaction = begin(0);
  require(mdb_drop(transaction, index_, 0), "drop the keys");
  require(mdb_txn_commit(transaction), "commit");
}

std::size_t Lmdb::countHits(const Keys& keys) {
  MDB_txn* const transaction = begin(MDB_RDONLY);
  std::size_t hits = 0;
  for (const std::uint64_t& key : keys) {
    MDB_val data{};
    if (!get(transaction, index_, valueOf(key), data)) continue;
    if (ownsObjects()) {
      if (!get(transaction, objects_, data, data)) continue;
      if (numberAt(data.mv_data) != key) continue;
    }
    ++hits;
  }
  mdb_txn_abort(transaction);
  return hits;
}

std::size_t Lmdb::walk() {
  std::size_t count = 0;
  visitAll([&](MDB_txn*, const MDB_val&, const MDB_val& data) { count += data.mv_size != 0 ? 1 : 0; });
  return count;
}

std::uint64_t Lmdb::walkReading() {
  std::uint64_t sum = 0;
  visitAll([&](MDB_txn* transaction, const MDB_val& key, const MDB_val& number) {
    if (!ownsObjects()) {
      sum += number.mv_size != 0 ? numberAt(key.mv_data) : 0;
      return;
    }
    MDB_val object{};
    if (!get(transaction, objects_, number, object)) throw std::runtime_error("LMDB does not find an object");
    sum += numberAt(object.mv_data);
  });
  return sum;
}

MDB_txn* Lmdb::begin(unsigned int flags) const {
  MDB_txn* transaction = nullptr;
  require(mdb_txn_begin(environment_, nullptr, flags, &transaction), "begin a transaction");
  return transaction;
}

bool Lmdb::get(MDB_txn* transaction, MDB_dbi database, MDB_val key, MDB_val& data) const {
  const int code = mdb_get(transaction, database, &key, &data);
  if (code != MDB_NOTFOUND) require(code, "look for a key");
  return code == 0;
}

template <class Visit>
void Lmdb::visitAll(Visit visit) const {
  MDB_txn* const transaction = begin(MDB_RDONLY);
  MDB_cursor* cursor = nullptr;
  require(mdb_cursor_open(transaction, index_, &cursor), "open a cursor");
  MDB_val key{};
  MDB_val data{};
  while (mdb_cursor_get(cursor, &key, &data, MDB_NEXT) == 0) visit(transaction, key, data);
  mdb_cursor_close(cursor);
  mdb_txn_abort(transaction);
}
