#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/base/psSessionOptions.h"
#include "store/engine/Engine.h"
#include "store/postgresql/CommitBatch.h"
#include "store/postgresql/KnownRecords.h"
#include "store/postgresql/NumberBlocks.h"
#include "store/postgresql/ServerConnection.h"
#include "store/postgresql/TransactionSets.h"

namespace ps::detail {

// Transactions on a store that a PostgreSQL server keeps, with several writers.
//
// A transaction reads a snapshot of the server's. What it writes is kept here until the commit, which is one round
// trip: see CommitBatch. A session keeps what it has read over transactions; so each transaction begins by asking, in
// the same snapshot and round trip, which keys were changed by commits that the last snapshot did not see.
//
// A connection that is lost makes the open transaction void; the next begin connects again. When it is lost in a
// commit, the commit's token tells, as soon as the server is back, whether it was carried out.
class PostgresEngine final : public Engine {
 public:
  // Null, with the reason, when the store cannot be opened.
  static Engine* open(const std::string& address, const psSessionOptions& options, StoreError& error);

  explicit PostgresEngine(const std::string& address);
  ~PostgresEngine() override;

  bool begin(bool update) override;
  Lookup get(std::string_view key, std::string_view& value) override;
  bool put(std::string_view key, std::string_view value) override;
  bool erase(std::string_view key) override;
  bool scan(std::string_view prefix, const Visitor& visitor) override;
  std::uint64_t records() const override;
  Commit commit() override;
  void abort() override;
  void invalidate(psErrorKind kind) noexcept override;
  bool isVoid() const override { return state_ == State::voided; }

  bool hasSeveralWriters() const override { return true; }
  bool takeChanges(std::vector<std::string>& keys) override;
  void noteRead(std::string_view key, std::string_view stamp) override;
  void noteEnd(std::string_view first, std::string_view prefix) override;
  void noteCount(std::string_view key) override;
  void prefetch(const std::vector<std::string>& keys) override;
  std::uint32_t takeNumber(std::string_view key, std::uint32_t next) override;

  std::uint64_t roundTrips() const override { return server_.roundTrips() + numbers_.roundTrips(); }

  bool readers(std::vector<psReader>& found) override;
  bool facts(EngineFacts& found) override;

  std::uint64_t version() const override { return version_; }
  std::size_t uncommittedBytes() const override { return uncommittedBytes_; }
  std::size_t maxKeySize() const override { return 511; }
  std::size_t maxValueSize() const override { return std::size_t{256} << 20; }

 private:
  enum class State { idle, reading, updating, voided };

  bool refuse(const char* action, const StoreError& reason);
  bool refuseAsServer(const char* action);
  void becomeVoid(psErrorKind kind) noexcept;
  bool isOurs(const char* action);
  bool isReadable(const char* action);
  bool isWritable(std::string_view key);
  bool isKey(std::string_view key) const { return !key.empty() && key.size() <= maxKeySize(); }
  bool voidTransaction(const char* action, const StoreError& reason);
  std::string voidText() const;

  template <class Call>
  auto whole(const Call& call);
  bool beginHere(bool update);
  Lookup getHere(std::string_view key, std::string_view& value);
  Lookup getChunk(const std::string& key, std::string_view& value);
  bool scanHere(std::string_view prefix, const Visitor& visitor);
  bool takeChangesHere(std::vector<std::string>& keys);
  void prefetchHere(const std::vector<std::string>& keys);
  std::uint32_t takeNumberHere(std::string_view key, std::uint32_t next);
  Commit commitHere();
  bool connectAgain();
  bool beginSnapshot();
  void learnChanges(const Result& changes);
  void forgetAll();
  const KnownRecord* fetchRecord(const std::string& key);
  bool query(const char* action);
  void note(std::string_view key, std::optional<std::string_view> stored);
  bool scanPart(std::string& from, const std::string& end, std::uint32_t limit);
  Commit send(const CommitBatch& batch, bool& mayBeDone);
  Commit sendOrLose(const CommitBatch& batch);
  Commit decideOrGiveUp(const std::string& token);
  void learn(const CommitBatch& batch, const std::string& token);
  void prune();
  Commit decide(const std::string& token);
  void end();
  std::string freshToken();

  const std::string shown_;
  ServerPlace place_;
  mutable ServerConnection server_;
  NumberBlocks numbers_{server_};
  std::uint32_t owner_ = 0;
  std::mt19937_64 random_;

  State state_ = State::idle;
  StoreError voidReason_;
  std::uint64_t version_ = 0;
  std::uint64_t commits_ = 0;
  std::size_t uncommittedBytes_ = 0;

  std::string snapshot_;              // of the last transaction; empty when nothing is known
  std::vector<std::string> changes_;  // keys, since takeChanges
  bool anyChange_ = true;
  std::vector<std::string> ownTokens_;  // of commits since the last snapshot
  KnownRecords records_;
  std::unordered_map<std::string, std::optional<std::string>> prefetched_;
  ReadSet reads_;
  WriteSet writes_;
  std::vector<Result> results_;  // of the last statement
};

}  // namespace ps::detail
