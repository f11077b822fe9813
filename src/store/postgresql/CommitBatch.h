#pragma once

#include <string>
#include <vector>

#include "store/postgresql/Connection.h"
#include "store/postgresql/CountedRecord.h"
#include "store/postgresql/GuardGroups.h"
#include "store/postgresql/KnownRecords.h"
#include "store/postgresql/TransactionSets.h"
#include "store/postgresql/WireBytes.h"

namespace ps::detail {

// The commit of an update transaction: one batch of statements that locks and compares what the transaction relies on,
// and writes.
//
// No two commits can wait for each other. All lock rows in the same order: first the rows of guards by their number,
// then the pairs that they change by key, then the new ones by key. What was only read is locked last, so that nobody
// changes it before the commit is done; there nobody waits: a row that somebody else is about to change ends the
// commit.
class CommitBatch {
 public:
  // token is the key under which the commit can be found afterwards, owner the number with which the session counts.
  CommitBatch(const ReadSet& reads, const WriteSet& writes, const KnownRecords& records, std::string token,
              std::uint32_t owner);

  // Adds the statements to a connection's batch, from the begin of the transaction up to its commit, which is left to
  // the caller.
  void send(Connection& connection) const;

  // What becomes of the records of this session that the commit writes.
  void apply(KnownRecords& records) const;
  // Keys of records that are gone, whose members are numbered no more.
  const std::vector<std::string>& uncounted() const { return uncounted_; }

 private:
  struct Change {
    std::string_view key;
    std::string_view stamp;  // of what is to be there; may be missing when something is erased
    std::string_view value;
    bool hasStamp = false;
  };
  struct Count {
    std::string_view key;
    Counts counts;
  };

  void plan(std::string_view key, const std::optional<std::string>& value);
  void planCounted(std::string_view key, const std::string& value, const KnownRecord& before);
  void planWrite(std::string_view key, std::string_view value);
  void planErasure(std::string_view key);
  void planRanges();
  bool isChanged(std::string_view key) const;

  void sendGuards(Connection& connection) const;
  void sendRanges(Connection& connection) const;
  void sendReadCounts(Connection& connection) const;
  void sendLocks(Connection& connection) const;
  void sendReads(Connection& connection) const;
  void sendCounts(Connection& connection) const;
  void sendNote(Connection& connection) const;

  const ReadSet& reads_;
  const KnownRecords& records_;
  const std::string token_;
  const std::uint32_t owner_;
  GuardGroups guards_;
  std::vector<ReadSet::Range> ranges_;
  std::vector<std::string> made_;  // values that differ from those that were put
  std::vector<Change> updates_;
  std::vector<Change> inserts_;  // where there must be nothing
  std::vector<Change> writes_;   // wherever nothing was read
  std::vector<Change> erasures_;
  std::vector<Count> counts_;
  std::vector<std::string> uncounted_;
  std::vector<std::string_view> changed_;  // in ascending order
};

}  // namespace ps::detail
