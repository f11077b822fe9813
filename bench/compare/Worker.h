#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Contestant.h"
#include "Keys.h"

// One contestant with its keys, and what is done with it and timed. It lives in a process of its own, and obeys the
// commands that come in over the standard input, a line each; to each it answers with a line of numbers.
//
// Every result is checked, and a wrong one ends the program.
class Worker {
 public:
  Worker(std::string contestant, const Setup& setup);

  // Until the input ends.
  void serve();

 private:
  using Answer = std::vector<double>;
  using Nanoseconds = double;

  Answer obey(const std::string& command);
  static Nanoseconds timeOf(const std::function<void()>& action);

  // The workloads; what they give is for each element, unless it says otherwise.
  Answer load(bool ascending);
  Answer lookUp(std::size_t count, Keys::Of of);
  Answer walk() const;
  Answer walkReading() const;
  Answer commitSingly();  // median and 99th percentile, in microseconds
  Answer removeHalf();
  Answer startCold();          // from opening to the end of the first hits, whole, in microseconds
  Answer bytesOnDisk() const;  // of the files, and what is in use of it
  Answer peakBytes() const;    // resident, beyond what was before the first load

  Answer forgetFiles() const;
  void makeNew();
  void reopen();
  // The keys of the next elements to look up, or the missing ones behind them.
  KeyList nextKeys(std::size_t count, Keys::Of of);
  void requireHits(std::size_t hits, std::size_t expected) const;
  void requireSum() const;
  // Calls use(list) for the keys of so many elements of the order, batch by batch; adds up what use returns.
  Nanoseconds inBatches(const std::vector<std::uint32_t>& order, std::size_t count, std::size_t batchSize,
                        const std::function<Nanoseconds(const KeyList&)>& use) const;

  std::string name_;
  Setup setup_;
  Keys keys_;
  std::unique_ptr<Contestant> contestant_;
  std::vector<std::uint32_t> probes_;  // all elements, in the order in which they are looked up, again and again
  std::size_t nextProbe_ = 0;
  std::size_t held_ = 0;    // elements that are in the set
  std::uint64_t sum_ = 0;   // of the numbers at the front of their payloads
  double bytesBefore_ = 0;  // resident before the first load
};
