#include "Worker.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>
#include <random>

#include "BenchStore.h"

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

// A line of /proc/self/status, in bytes.
double processBytes(const std::string& field) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == field + ':' && status >> kibibytes) return kibibytes * 1024;
  }
  stop("/proc/self/status does not tell " + field);
}

}  // namespace

Worker::Worker(std::string contestant, const Setup& setup)
    : name_(std::move(contestant)), setup_(setup), keys_(setup.kind, setup.count), probes_(shuffled(setup.count, 2)) {}

void Worker::serve() {
  for (std::string command; std::getline(std::cin, command);) {
    for (const double number : obey(command)) std::cout << number << ' ';
    std::cout << std::endl;
  }
}

Worker::Answer Worker::obey(const std::string& command) {
  static const std::map<std::string, std::function<Answer(Worker&)>> commands{
      {"load-random", [](Worker& worker) { return worker.load(false); }},
      {"load-ascending", [](Worker& worker) { return worker.load(true); }},
      {"hit", [](Worker& worker) { return worker.lookUp(probesPerRound, Keys::Of::present); }},
      {"hit-few", [](Worker& worker) { return worker.lookUp(slowProbes, Keys::Of::present); }},
      {"hit-cold", [](Worker& worker) { return worker.lookUp(coldProbes, Keys::Of::present); }},
      {"miss", [](Worker& worker) { return worker.lookUp(probesPerRound, Keys::Of::missing); }},
      {"walk", &Worker::walk},
      {"read", &Worker::walkReading},
      {"commit", &Worker::commitSingly},
      {"remove", &Worker::removeHalf},
      {"cold", &Worker::startCold},
      {"bytes", &Worker::bytesOnDisk},
      {"peak", &Worker::peakBytes},
      {"close",
       [](Worker& worker) {
         worker.contestant_.reset();
         return Answer{0};
       }},
      {"forget", &Worker::forgetFiles},
      {"open",
       [](Worker& worker) {
         worker.reopen();
         return Answer{0};
       }},
  };
  const auto found = commands.find(command);
  if (found == commands.end()) stop("there is no workload '" + command + "'");
  return found->second(*this);
}

Worker::Nanoseconds Worker::timeOf(const std::function<void()>& action) {
  const auto start = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

Worker::Answer Worker::load(bool ascending) {
  makeNew();
  std::vector<std::uint32_t> order = shuffled(setup_.count, 1);
  if (ascending) std::sort(order.begin(), order.end());
  if (bytesBefore_ == 0) bytesBefore_ = processBytes("VmRSS");
  held_ = 0;
  sum_ = 0;
  const Nanoseconds time = inBatches(order, order.size(), setup_.commitSize, [&](const KeyList& batch) {
    for (const std::string_view key : batch) sum_ += numberAt(payloadOf(key).data());
    held_ += batch.size();
    return timeOf([&] { contestant_->add(batch, ascending); });
  });
  contestant_->settle();
  return {time / static_cast<double>(setup_.count)};
}

Worker::Answer Worker::lookUp(std::size_t count, Keys::Of of) {
  const KeyList keys = nextKeys(count, of);
  std::size_t hits = 0;
  const Nanoseconds time = timeOf([&] { hits = contestant_->countHits(keys); });
  requireHits(hits, of == Keys::Of::present ? count : 0);
  return {time / static_cast<double>(count)};
}

Worker::Answer Worker::walk() const {
  std::size_t met = 0;
  const Nanoseconds time = timeOf([&] { met = contestant_->walk(); });
  if (met != held_) stop("a walk over " + name_ + " does not meet every element");
  return {time / static_cast<double>(met)};
}

Worker::Answer Worker::walkReading() const {
  return {timeOf([&] { requireSum(); }) / static_cast<double>(held_)};
}

Worker::Answer Worker::commitSingly() {
  std::vector<Nanoseconds> times;
  while (times.size() < singleCommits) {
    const KeyList key = nextKeys(1, Keys::Of::missing);
    times.push_back(timeOf([&] { contestant_->add(key, false); }));
    sum_ += numberAt(payloadOf(*key.begin()).data());
    ++held_;
  }
  std::sort(times.begin(), times.end());
  return {times[times.size() / 2] / 1000, times[times.size() * 99 / 100] / 1000};
}

Worker::Answer Worker::removeHalf() {
  const std::vector<std::uint32_t> order = shuffled(setup_.count, 3);
  const std::size_t half = setup_.count / 2;
  const Nanoseconds time = inBatches(order, half, std::max(setup_.commitSize, half / 10), [&](const KeyList& batch) {
    for (const std::string_view key : batch) sum_ -= numberAt(payloadOf(key).data());
    held_ -= batch.size();
    return timeOf([&] { contestant_->remove(batch); });
  });
  walk();
  requireSum();
  return {time / static_cast<double>(half)};
}

Worker::Answer Worker::startCold() {
  contestant_ = makeContestant(name_, setup_);
  const KeyList keys = nextKeys(coldProbes, Keys::Of::present);
  std::size_t hits = 0;
  const Nanoseconds time = timeOf([&] {
    contestant_->open();
    hits = contestant_->countHits(keys);
  });
  requireHits(hits, keys.size());
  return {time / 1000};
}

Worker::Answer Worker::bytesOnDisk() const {
  const DiskBytes bytes = contestant_->bytesOnDisk();
  const auto held = static_cast<double>(held_);
  return {static_cast<double>(bytes.files) / held, static_cast<double>(bytes.inUse) / held};
}

Worker::Answer Worker::peakBytes() const {
  return {(processBytes("VmHWM") - bytesBefore_) / static_cast<double>(setup_.count)};
}

// Leaves the contestant's files, which nobody has open, on the disk alone.
Worker::Answer Worker::forgetFiles() const {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(setup_.folder)) {
    if (!entry.is_regular_file()) continue;
    const int file = ::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 || fsync(file) != 0 || posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) != 0) {
      stop("cannot take " + entry.path().string() + " out of the system's cache");
    }
    ::close(file);
  }
  return {0};
}

void Worker::makeNew() {
  contestant_.reset();
  for (const auto& entry : std::filesystem::directory_iterator(setup_.folder)) std::filesystem::remove_all(entry);
  contestant_ = makeContestant(name_, setup_);
  contestant_->create();
}

void Worker::reopen() {
  contestant_ = makeContestant(name_, setup_);
  contestant_->open();
}

KeyList Worker::nextKeys(std::size_t count, Keys::Of of) {
  KeyList keys(count);
  while (keys.size() < count) {
    keys_.append(keys, *contestant_, probes_[nextProbe_], of);
    nextProbe_ = (nextProbe_ + 1) % probes_.size();
  }
  return keys;
}

void Worker::requireHits(std::size_t hits, std::size_t expected) const {
  if (hits == expected) return;
  stop(name_ + " finds " + std::to_string(hits) + " keys where " + std::to_string(expected) + " are there");
}

// By identifier the objects are nobody's business.
void Worker::requireSum() const {
  if (setup_.kind == KeyKind::identifier) return;
  if (contestant_->walkReading() != sum_) stop("the objects in " + name_ + " are not those that should be there");
}

Worker::Nanoseconds Worker::inBatches(const std::vector<std::uint32_t>& order, std::size_t count, std::size_t batchSize,
                                      const std::function<Nanoseconds(const KeyList&)>& use) const {
  Nanoseconds time = 0;
  KeyList batch(batchSize);
  for (std::size_t i = 0; i < count; ++i) {
    keys_.append(batch, *contestant_, order[i]);
    if (batch.size() == batchSize || i + 1 == count) {
      time += use(batch);
      batch.clear();
    }
  }
  return time;
}
