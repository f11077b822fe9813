#include "Worker.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <stdexcept>
#include <utility>

namespace {

constexpr std::size_t probesPerRound = 200000;
constexpr std::size_t slowProbes = 20000;
constexpr std::size_t coldProbes = 1000;
constexpr std::size_t singleCommits = 200;

// The elements in random order.
std::vector<std::uint32_t> shuffled(std::size_t count, unsigned int seed) {
  std::vector<std::uint32_t> elements(count);
  std::iota(elements.begin(), elements.end(), 0U);
  std::shuffle(elements.begin(), elements.end(), std::mt19937_64(seed));
  return elements;
}

// Ascending with the element, even, and as irregular as contents are.
std::uint64_t contentOf(std::size_t element) {
  constexpr std::uint64_t distance = std::uint64_t{1} << 40;
  std::uint64_t mixed = (element + 1) * 0x9E3779B97F4A7C15U;
  mixed = (mixed ^ mixed >> 31) * 0xBF58476D1CE4E5B9U;
  return element * distance + (mixed >> 24) / 2 * 2;
}

// A line of /proc/self/status, in bytes.
double processBytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == field + ':' && status >> kibibytes) return kibibytes * 1024;
  }
  throw std::runtime_error("/proc/self/status does not tell " + field);
}

template <class Action>
double nanosecondsOf(Action action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// Drops the files of the folder, which nobody has open, from the system's cache.
void dropFromSystemCache(const std::filesystem::path& folder) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    const int file = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || fsync(file) != 0 || posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) != 0) {
      throw std::runtime_error("cannot take " + entry.path().string() + " out of the system's cache");
    }
    ::close(file);
  }
}

}  // namespace

const std::vector<Worker::Workload>& Worker::workloads() {
  using Repeat = Workload::Repeat;
  using In = Workload::In;
  static const std::vector<Workload> all{
      {"load-ascending", "Load, ascending", "ns", true, Repeat::loads, In::anyProcess, &Worker::loadInOrder},
      {"load-bulk", "Load, ascending, all at once", "ns", true, Repeat::loads, In::anyProcess, &Worker::loadInBulk},
      {"load-random", "Load, random order", "ns", false, Repeat::loads, In::anyProcess, &Worker::loadAtRandom},
      {"bytes", "Files on disk", "bytes", true, Repeat::once, In::processWithFile, &Worker::bytesOfFiles},
      {"bytes-used", "Files on disk, without free pages", "bytes", true, Repeat::once, In::processWithFile,
       &Worker::bytesInUse},
      {"walk", "Walk", "ns", true, Repeat::rounds, In::anyProcess, &Worker::walk},
      {"read", "Walk that reads objects, or values with keys", "ns", false, Repeat::rounds, In::anyProcess,
       &Worker::walkReading},
      // Before there are many keys in memory.
      {"peak", "Peak resident memory", "bytes", true, Repeat::once, In::anyProcess, &Worker::peakBytes},
      {"hit", "Hit", "ns", true, Repeat::rounds, In::anyProcess, &Worker::hit},
      {"hit-many", "Hit, all keys at once", "ns", true, Repeat::rounds, In::anyProcess, &Worker::hitAtOnce},
      {"miss", "Miss", "ns", false, Repeat::rounds, In::anyProcess, &Worker::miss},
      {"cold", "Cold start: open and 1,000 hits", "µs", true, Repeat::rounds, In::newProcess, &Worker::startCold},
      {"beyond", "Hit, cache of a tenth", "ns", true, Repeat::once, In::newProcessWithSmallCache,
       &Worker::hitBeyondCache},
      {"disk", "Hit, cache of a tenth, file on disk alone", "ns", true, Repeat::once, In::newProcessWithSmallCache,
       &Worker::hitOnDisk},
      {"commit", "Single commit, median", "µs", true, Repeat::once, In::processWithFile, &Worker::medianCommit},
      {"commit-p99", "Single commit, 99th percentile", "µs", true, Repeat::once, In::processWithFile,
       &Worker::lateCommit},
      {"remove", "Removal of half, random order", "ns", false, Repeat::loads, In::anyProcess, &Worker::removeHalf},
      {"drop", "Deletion of the collection", "ns", true, Repeat::once, In::anyProcess, &Worker::drop},
  };
  return all;
}

const Worker::Workload& Worker::workloadNamed(const std::string& name) {
  const std::vector<Workload>& all = workloads();
  return *std::find_if(all.begin(), all.end(), [&](const Workload& one) { return one.name == name; });
}

Worker::Worker(const Setup& setup) : setup_(setup), probes_(shuffled(setup.count, 2)) {}

double Worker::obey(const std::string& command) {
  if (command == "close") {
    contestant_.reset();
  } else if (command == "open") {
    open();
  } else {
    return (this->*workloadNamed(command).measure)();
  }
  return 0;
}

double Worker::load(Loading loading) {
  contestant_.reset();
  for (const auto& entry : std::filesystem::directory_iterator(setup_.folder)) std::filesystem::remove_all(entry);
  contestant_ = contestantNamed(setup_.contestant).make(setup_);
  contestant_->create();
  std::vector<std::uint32_t> order = shuffled(setup_.count, 1);
  if (loading != Loading::random) std::sort(order.begin(), order.end());
  if (bytesBefore_ == 0) bytesBefore_ = processBytes("VmRSS");
  held_ = 0;
  sum_ = 0;
  double time = 0;
  const std::size_t batch = loading == Loading::bulk ? setup_.count : setup_.commitSize;
  inBatches(order, setup_.count, batch, [&](const Keys& keys) { time += add(keys, loading); });
  contestant_->settle();
  return time / static_cast<double>(setup_.count);
}

double Worker::hit() { return lookUp(probesPerRound, Finding::present); }

double Worker::hitAtOnce() { return lookUp(probesPerRound, Finding::presentAtOnce); }

double Worker::miss() { return lookUp(probesPerRound, Finding::missing); }

double Worker::lookUp(std::size_t count, Finding finding) {
  const bool arePresent = finding != Finding::missing;
  const Keys keys = nextKeys(count, arePresent);
  std::size_t hits = 0;
  const double time = nanosecondsOf([&] {
    hits = finding == Finding::presentAtOnce ? contestant_->countHitsAtOnce(keys) : contestant_->countHits(keys);
  });
  if (hits != (arePresent ? count : 0)) {
    throw std::runtime_error(setup_.contestant + " finds " + std::to_string(hits) + " of " + std::to_string(count) +
                             (arePresent ? " keys that are there" : " keys that are missing"));
  }
  return time / static_cast<double>(count);
}

double Worker::walk() {
  std::size_t met = 0;
  const double time = nanosecondsOf([&] { met = contestant_->walk(); });
  if (met != held_) throw std::runtime_error("a walk over " + setup_.contestant + " does not meet every element");
  return time / static_cast<double>(met);
}

double Worker::walkReading() {
  std::uint64_t sum = 0;
  const double time = nanosecondsOf([&] { sum = contestant_->walkReading(); });
  if (sum != sum_) throw std::runtime_error("the objects in " + setup_.contestant + " are not those that were put");
  return time / static_cast<double>(held_);
}

double Worker::startCold() {
  contestant_ = contestantNamed(setup_.contestant).make(setup_);
  const Keys keys = nextKeys(coldProbes, true);
  std::size_t hits = 0;
  const double time = nanosecondsOf([&] {
    contestant_->open();
    hits = contestant_->countHits(keys);
  });
  if (hits != keys.size()) throw std::runtime_error(setup_.contestant + " does not find again what it stored");
  return time / 1000;
}

// The first hits fill the cache.
double Worker::hitBeyondCache() {
  open();
  lookUp(slowProbes, Finding::present);
  return lookUp(slowProbes, Finding::present);
}

double Worker::hitOnDisk() {
  dropFromSystemCache(setup_.folder);
  open();
  lookUp(coldProbes, Finding::present);
  return lookUp(coldProbes, Finding::present);
}

double Worker::commitSingly(double quantile) {
  std::vector<double> times;
  while (times.size() < singleCommits) times.push_back(add(nextKeys(1, false), Loading::random));
  std::sort(times.begin(), times.end());
  return times[static_cast<std::size_t>(quantile * singleCommits)] / 1000;
}

// Loads anew first if elements have been removed before.
double Worker::removeHalf() {
  if (held_ < setup_.count) load(Loading::random);
  const std::size_t half = setup_.count / 2;
  double time = 0;
  inBatches(shuffled(setup_.count, 3), half, std::max(setup_.commitSize, half / 10),
            [&](const Keys& batch) { time += remove(batch); });
  walk();
  walkReading();
  return time / static_cast<double>(half);
}

double Worker::drop() {
  if (held_ < setup_.count) load(Loading::bulk);
  const double time = nanosecondsOf([&] { contestant_->drop(); });
  return time / static_cast<double>(std::exchange(held_, 0));
}

double Worker::bytesOfFiles() {
  return static_cast<double>(contestant_->bytesOnDisk().files) / static_cast<double>(held_);
}

double Worker::bytesInUse() {
  return static_cast<double>(contestant_->bytesOnDisk().inUse) / static_cast<double>(held_);
}

// Beyond what was resident before the first load.
double Worker::peakBytes() { return (processBytes("VmHWM") - bytesBefore_) / static_cast<double>(setup_.count); }

void Worker::open() {
  contestant_ = contestantNamed(setup_.contestant).make(setup_);
  contestant_->open();
}

double Worker::add(const Keys& keys, Loading loading) {
  for (const std::uint64_t key : keys) sum_ += key;
  held_ += keys.size();
  return nanosecondsOf([&] {
    if (loading == Loading::bulk) {
      contestant_->addAtOnce(keys);
    } else {
      contestant_->add(keys, loading == Loading::ascending);
    }
  });
}

double Worker::remove(const Keys& keys) {
  for (const std::uint64_t key : keys) sum_ -= key;
  held_ -= keys.size();
  return nanosecondsOf([&] { contestant_->remove(keys); });
}

std::uint64_t Worker::keyOf(std::size_t element, bool isPresent) const {
  switch (setup_.kind) {
    case KeyKind::content:
      return contentOf(element) + (isPresent ? 0 : 1);
    case KeyKind::identifier:
    case KeyKind::pair:
      return contestant_->identifier(2 * element + (isPresent ? 0 : 1));
    case KeyKind::position:
      return element + (isPresent ? 0 : setup_.count);
  }
  return 0;
}

Keys Worker::nextKeys(std::size_t count, bool arePresent) {
  Keys keys;
  while (keys.size() < count) {
    keys.push_back(keyOf(probes_[nextProbe_], arePresent));
    nextProbe_ = (nextProbe_ + 1) % probes_.size();
  }
  return keys;
}

void Worker::inBatches(const std::vector<std::uint32_t>& order, std::size_t count, std::size_t batchSize,
                       const std::function<void(const Keys&)>& use) const {
  for (std::size_t first = 0; first < count; first += batchSize) {
    Keys batch;
    for (std::size_t i = first; i < std::min(count, first + batchSize); ++i) batch.push_back(keyOf(order[i], true));
    use(batch);
  }
}
