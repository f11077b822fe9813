#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "store/base/psSessionOptions.h"
#include "store/engine/Engine.h"
#include "store/engine/LmdbChanges.h"
#include "store/engine/LmdbEnvironment.h"

namespace ps::detail {

// Transactions on a file of LMDB, kept in its one unnamed database. A commit is durable when it returns, unless
// options.sync is false. From its first read transaction on, an idle engine keeps one of the file's 1024 reader slots,
// which makes the next read transaction cheap.
//
// In a forked child every call fails, and the destructor does not touch the parent's transaction.
class LmdbEngine final : public Engine {
 public:
  LmdbEngine(LmdbEnvironment::Handle environment, const psSessionOptions& options);
  ~LmdbEngine() override;

  // An update transaction is refused when this thread has one open in another engine on the same file, since it would
  // wait for itself.
  bool begin(bool update) override;
  Lookup get(std::string_view key, std::string_view& value) override;
  void announceReading(std::string_view value) const override;
  bool put(std::string_view key, std::string_view value) override;
  bool erase(std::string_view key) override;
  bool scan(std::string_view prefix, const Visitor& visitor) override;
  std::uint64_t records() const override;

  // unknown when the last step of the commit failed. The file's other sessions in this process are then no longer
  // usable.
  Commit commit() override;
  void abort() override;
  void invalidate(psErrorKind kind) noexcept override;

  bool readers(std::vector<psReader>& found) override;
  bool facts(EngineFacts& found) override;

  std::uint64_t version() const override { return version_; }
  std::size_t uncommittedBytes() const override { return changes_.bytes(); }
  std::size_t maxKeySize() const override { return maxKeySize_; }
  std::size_t maxValueSize() const override;

 private:
  enum class State { idle, reading, updating, voided };

  bool refuse(const char* action, const StoreError& reason);
  bool isUsable(const char* action);
  bool isReadable(const char* action);
  bool isWritable(const char* action);
  bool isKey(std::string_view key) const { return !key.empty() && key.size() <= maxKeySize_; }
  StoreError describeKeyLimit(std::string_view key) const;
  bool voidTransaction(const char* action, const StoreError& reason);
  Commit commitUpdate();
  void explainCommit(Commit outcome, int code);
  std::string voidText() const;

  LmdbEnvironment::Handle environment_;
  const bool readOnly_;
  const bool sync_;
  const int busyTimeout_;
  const std::size_t maxKeySize_;

  State state_ = State::idle;
  MDB_txn* transaction_ = nullptr;  // the open one; in a read transaction equal to reader_
  MDB_txn* reader_ = nullptr;       // kept between read transactions
  LmdbChanges changes_;             // of an update transaction
  std::uint64_t version_ = 0;
  bool changed_ = false;   // LMDB counts a commit only when it changed something
  StoreError voidReason_;  // why the transaction is void; without a text, the kind says it
};

}  // namespace ps::detail
