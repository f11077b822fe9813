#include "Plan.h"

#include <algorithm>

#include "Contestant.h"
#include "Worker.h"

namespace {

using Names = std::vector<std::string>;

constexpr std::size_t million = 1000000;

const Names java{"tree-java", "hash-java"};

bool has(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Look-ups with Java keys, beside the same sets without Java, if there is a JDK. Their number of elements is one that
// no other stage has: of a figure that is measured twice the least counts, perhaps from a quieter time.
void addJava(std::vector<Stage>& stages, std::size_t count) {
  if (!has(contestantsFor(KeyKind::identifier), java.front())) return;
  stages.push_back({KeyKind::identifier, count, {"tree", "hash", "tree-java", "hash-java"}, {"hit", "miss"}, 5});
}

}  // namespace

std::vector<Stage> fullPlan() {
  const Names slow{"rocksdb", "sqlite"};
  const Names slowAndJava{"rocksdb", "sqlite", "tree-java", "hash-java"};
  const Names smallCache{"beyond", "disk"};
  std::vector<Stage> stages;
  for (const KeyKind kind : {KeyKind::content, KeyKind::identifier}) {
    for (const std::size_t count : {million / 100, million / 10}) {
      stages.push_back({kind, count, contestantsFor(kind, java), workloadsFor(kind, smallCache), 5, 2});
    }
    stages.push_back({kind, million, contestantsFor(kind, slowAndJava), workloadsFor(kind, smallCache), 5});
    Names large{"walk", "hit", "miss", "cold", "bytes", "bytes-used", "peak"};
    if (kind == KeyKind::content) large.insert(large.end(), smallCache.begin(), smallCache.end());
    stages.push_back({kind, 5 * million, contestantsFor(kind, slowAndJava), large, 3, 1, million / 2});
  }
  stages.push_back({KeyKind::content, million, slow, workloadsFor(KeyKind::content, {"beyond", "disk", "remove"}), 1});
  for (const KeyKind kind : {KeyKind::pair, KeyKind::position}) {
    for (const std::size_t count : {million / 100, million}) {
      stages.push_back({kind, count, contestantsFor(kind, slow), workloadsFor(kind, smallCache)});
    }
  }
  addJava(stages, million / 5);
  return stages;
}

std::vector<Stage> quickPlan() {
  std::vector<Stage> stages;
  for (const KeyKindText& keys : allKeyKinds()) {
    stages.push_back({keys.kind, million / 100, contestantsFor(keys.kind, java), workloadsFor(keys.kind), 2});
  }
  addJava(stages, million / 50);
  return stages;
}

std::vector<std::string> contestantsFor(KeyKind kind, const std::vector<std::string>& without) {
  Names names;
  for (const ContestantKind& contestant : allContestants()) {
    if (contestant.takes(kind) && !has(without, contestant.name)) names.push_back(contestant.name);
  }
  return names;
}

std::vector<std::string> workloadsFor(KeyKind kind, const std::vector<std::string>& without) {
  Names names;
  for (const Worker::Workload& workload : Worker::workloads()) {
    if (kind == KeyKind::position && !workload.suitsLists) continue;
    if (kind == KeyKind::identifier && workload.name == "read") continue;  // there is no more to read than in a walk
    if (!has(without, workload.name)) names.push_back(workload.name);
  }
  return names;
}
