#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ps::test {

// What transactions of several processes have read and written, and whether one serial order explains it.
//
// A history is about data: fields, places in collections, names, and whatever else is read and written as a whole. Each
// version of a datum has a number of its own, which whoever reads the datum reads too. Number 0 means that there is
// nothing: of that there may be several versions, as when an element is removed, added and removed again.
struct HistoryEvent {
  std::uint32_t datum = 0;
  std::uint32_t isWrite = 0;
  std::uint64_t seen = 0;  // the version that was there before the transaction
  std::uint64_t made = 0;  // the one that it left, when it wrote
};

struct HistoryTransaction {
  std::uint64_t number = 0;
  // Nanoseconds of a clock that all processes share: before and after its begin, and before and after its end.
  std::uint64_t called = 0;
  std::uint64_t begun = 0;
  std::uint64_t ending = 0;
  std::uint64_t ended = 0;
  bool isCommitted = false;
  std::vector<HistoryEvent> events;  // one for a datum
};

// What a running transaction does. Data that it reads again must be as it has read or left them.
class HistoryRecorder {
 public:
  void read(std::uint32_t datum, std::uint64_t version);
  // A datum is written after it was read.
  void write(std::uint32_t datum, std::uint64_t version);
  void complain(const std::string& what) {
    if (complaint_.empty()) complaint_ = what;
  }

  // What contradicted itself; "" when nothing did.
  const std::string& complaint() const { return complaint_; }
  std::vector<HistoryEvent> events() const;

 private:
  std::map<std::uint32_t, HistoryEvent> events_;
  std::string complaint_;
};

void saveHistory(const std::string& path, const std::vector<HistoryTransaction>& transactions);
// Adds what was saved.
void loadHistory(const std::string& path, std::vector<HistoryTransaction>& transactions);

struct HistoryVerdict {
  std::vector<std::string> anomalies;  // the first ones
  std::size_t commits = 0;             // of transactions that wrote
  std::size_t reads = 0;               // of others
  std::size_t aborts = 0;
  std::size_t dependencies = 0;
  std::size_t undecided = 0;  // readings of nothing, of which the version cannot be told
};

// Looks for a cycle of dependencies among the transactions that were committed: one has read or replaced what another
// wrote; one has read what another replaced; one had ended before the other began. Also for versions that nobody who
// was committed has made, and for versions that two have replaced.
HistoryVerdict checkHistory(const std::vector<HistoryTransaction>& transactions);

}  // namespace ps::test
