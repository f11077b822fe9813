#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Contestant.h"

// One contestant with its keys, and what is done with it and timed. Every result is checked; a wrong one is thrown as
// std::runtime_error.
class Worker {
 public:
  // What is measured, by the names of the command line and the files.
  struct Workload {
    enum class Repeat { once, rounds, loads };
    enum class In { anyProcess, processWithFile, newProcess, newProcessWithSmallCache };

    std::string name;
    std::string title;
    std::string unit;
    bool suitsLists;
    Repeat repeat;  // how often, of which the least counts
    In in;
    double (Worker::*measure)();
  };

  // In the order in which they have to be measured.
  static const std::vector<Workload>& workloads();
  // There must be one of that name.
  static const Workload& workloadNamed(const std::string& name);

  explicit Worker(const Setup& setup);

  // Measures a workload; or at "close" closes the contestant, until "open", so that another process has its turn.
  double obey(const std::string& command);

 private:
  // Times are those of an element in nanoseconds, unless a name says otherwise.
  enum class Loading { random, ascending, bulk };
  double loadInOrder() { return load(Loading::ascending); }
  double loadInBulk() { return load(Loading::bulk); }
  double loadAtRandom() { return load(Loading::random); }
  double load(Loading loading);
  double hit();
  double hitAtOnce();
  double miss();
  enum class Finding { present, missing, presentAtOnce };
  double lookUp(std::size_t count, Finding finding);
  double walk();
  double walkReading();
  double startCold();
  double hitBeyondCache();
  double hitOnDisk();
  double medianCommit() { return commitSingly(0.5); }
  double lateCommit() { return commitSingly(0.99); }
  double commitSingly(double quantile);
  double removeHalf();
  double drop();
  double bytesOfFiles();
  double bytesInUse();
  double peakBytes();

  void open();
  // Both return the nanoseconds of the whole.
  double add(const Keys& keys, Loading loading);
  double remove(const Keys& keys);
  // The key of the element, or one that is missing: between its key and the next, or for positions, after all.
  std::uint64_t keyOf(std::size_t element, bool isPresent) const;
  // Of the next elements to look up.
  Keys nextKeys(std::size_t count, bool arePresent);
  // Calls use(keys) for the keys of so many elements of the order, batch by batch.
  void inBatches(const std::vector<std::uint32_t>& order, std::size_t count, std::size_t batchSize,
                 const std::function<void(const Keys&)>& use) const;

  Setup setup_;
  std::unique_ptr<Contestant> contestant_;
  std::vector<std::uint32_t> probes_;  // all elements, in the order in which they are looked up, again and again
  std::size_t nextProbe_ = 0;
  std::size_t held_ = 0;    // elements that are in the collection
  std::uint64_t sum_ = 0;   // of the numbers at the front of their keys
  double bytesBefore_ = 0;  // resident before the first load
};
