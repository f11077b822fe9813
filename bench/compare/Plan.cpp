#include "Plan.h"

#include "Keys.h"

namespace {

constexpr std::size_t million = 1000000;

const std::vector<std::string> general{"rocksdb", "sqlite"};
const std::vector<std::string> core{"tree", "hash", "lmdb", "std::set", "absl::btree_set", "std::unordered_set"};
const std::vector<std::string> everybody{
    "tree", "hash", "lmdb", "rocksdb", "sqlite", "std::set", "absl::btree_set", "std::unordered_set"};

// By identifier no object is read.
std::vector<std::string> allFor(KeyKind kind) {
  std::vector<std::string> workloads{"load-random", "load-ascending", "walk",   "hit",    "miss",
                                     "cold",        "bytes",          "commit", "remove", "peak"};
  if (kind != KeyKind::identifier) workloads.emplace_back("read");
  return workloads;
}

}  // namespace

std::vector<Stage> fullPlan() {
  std::vector<Stage> stages;
  for (const KeyKind kind : {KeyKind::identifier, KeyKind::content}) {
    stages.push_back({kind, 10000, everybody, allFor(kind), 5, 2});
    stages.push_back({kind, million / 10, everybody, allFor(kind), 5, 2});
    stages.push_back({kind, million, core, allFor(kind), 5});
  }
  const std::vector<std::string> inMoments{"load-random", "load-ascending", "walk",  "read",   "hit",
                                           "miss",        "cold",           "bytes", "commit", "peak"};
  stages.push_back({KeyKind::content, million, general, inMoments, 1});
  for (const std::size_t count : {std::size_t{10000}, million / 10, Keys::wordCount()}) {
    stages.push_back({KeyKind::words, count, core, allFor(KeyKind::words), 3});
  }
  std::vector<std::string> readOnly{"walk", "hit", "miss", "cold", "bytes", "peak"};
  stages.push_back({KeyKind::identifier, 5 * million, core, readOnly, 3, 1, million / 2});
  readOnly.insert(readOnly.end(), {"beyond", "disk"});
  stages.push_back({KeyKind::content, 5 * million, core, readOnly, 3, 1, million / 2});
  return stages;
}

std::vector<Stage> quickPlan() {
  std::vector<Stage> stages;
  for (const KeyKind kind : {KeyKind::identifier, KeyKind::content, KeyKind::words}) {
    std::vector<std::string> workloads = allFor(kind);
    workloads.insert(workloads.end(), {"beyond", "disk"});
    stages.push_back({kind, 10000, everybody, workloads, 2});
  }
  return stages;
}
