#include "Comparison.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Workload.h"

namespace {

// More than any contestant takes.
constexpr std::size_t ampleCache = std::size_t{3} << 30;

std::filesystem::path makeFolder(const ScratchFile& place) {
  std::filesystem::create_directory(place.path());
  return place.path();
}

}  // namespace

Comparison::Entrant::Entrant(const std::string& name, const Stage& stage)
    : option(name),
      isDurable(contestantNamed(name).isDurable),
      setup{stage.kind, stage.count, makeFolder(folder), stage.commitSize, ampleCache},
      process(name, setup) {}

Comparison::Comparison(const Stage& stage, Results& results) : stage_(stage), results_(results) {
  for (const std::string& contestant : stage.contestants) entrants_.emplace_back(contestant, stage);
}

void Comparison::run() {
  loadAndRemove();
  ask("bytes");
  repeat({"walk", "read"});
  ask("peak");  // before there are many keys in memory
  repeat({"hit", "miss"});
  startCold();
  goBeyondMemory();
  ask("commit");
  ask("remove");
}

bool Comparison::wants(const std::string& workload) const {
  return std::find(stage_.workloads.begin(), stage_.workloads.end(), workload) != stage_.workloads.end();
}

void Comparison::ask(const std::string& workload) {
  if (!wants(workload)) return;
  const bool needsDisk = workload == "bytes" || workload == "commit";
  for (Entrant& entrant : entrants_) {
    if (needsDisk && !entrant.isDurable) continue;
    const std::vector<double> answer = entrant.process.ask(workload);
    keep(entrant, workload, answer.front());
    for (const Workload& other : allWorkloads()) {
      if (other.comesWith == workload) keep(entrant, other.name, answer.back());
    }
  }
}

// Leaves everybody loaded in random order.
void Comparison::loadAndRemove() {
  for (int i = 0; i < stage_.loads; ++i) ask("load-ascending");
  for (int i = 0; i < stage_.loads; ++i) {
    if (i > 0) ask("remove");
    for (Entrant& entrant : entrants_) {
      const double time = entrant.process.ask("load-random").front();
      if (wants("load-random")) keep(entrant, "load-random", time);
    }
  }
}

void Comparison::repeat(const std::vector<std::string>& workloads) {
  for (const std::string& workload : workloads) {
    for (int i = 0; i < stage_.rounds; ++i) ask(workload);
  }
}

void Comparison::startCold() {
  if (!wants("cold")) return;
  for (int i = 0; i < stage_.rounds; ++i) {
    for (Entrant& entrant : entrants_) {
      if (entrant.isDurable) keep(entrant, "cold", askElsewhere(entrant, entrant.setup, {"cold"}));
    }
  }
}

void Comparison::goBeyondMemory() {
  if (!wants("beyond")) return;
  for (Entrant& entrant : entrants_) {
    if (!entrant.isDurable) continue;
    Setup setup = entrant.setup;
    const double bytes = entrant.process.ask("bytes").back() * static_cast<double>(stage_.count);
    setup.cacheBytes = static_cast<std::size_t>(bytes / 10);
    keep(entrant, "beyond", askElsewhere(entrant, setup, {"open", "hit-few", "hit-few"}));
    keep(entrant, "disk", askElsewhere(entrant, setup, {"forget", "open", "hit-cold", "hit-cold"}));
  }
}

void Comparison::keep(const Entrant& entrant, const std::string& workload, double value) {
  std::printf("%s %zu %s %s: %.4g %s\n", nameOf(stage_.kind), stage_.count, workload.c_str(), entrant.option.c_str(),
              value, workloadNamed(workload).unit.c_str());
  std::fflush(stdout);
  results_.keepLeast({stage_.kind, stage_.count, entrant.option, workload, value});
}

double Comparison::askElsewhere(Entrant& entrant, const Setup& setup, const std::vector<std::string>& commands) {
  entrant.process.ask("close");
  double answer = 0;
  {
    ContestantProcess other(entrant.option, setup);
    for (const std::string& command : commands) answer = other.ask(command).front();
  }
  entrant.process.ask("open");
  return answer;
}
