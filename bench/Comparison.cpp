#include "Comparison.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace {

using Workload = Worker::Workload;

// More than any contestant takes.
constexpr std::size_t ampleCache = std::size_t{3} << 30;

}  // namespace

Comparison::Comparison(const Stage& stage, const ScratchFolder& scratch, Report& report)
    : stage_(stage), report_(report) {
  for (const std::string& contestant : stage.contestants) {
    const std::filesystem::path folder = scratch.path() / contestant;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    entrants_.emplace_back(Setup{contestant, stage.kind, stage.count, folder, stage.commitSize, ampleCache},
                           contestantNamed(contestant).isDurable);
  }
}

void Comparison::run() {
  // Every contestant is loaded, even if the load itself is not wanted.
  const std::string lastLoad = stage_.kind == KeyKind::position ? "load-bulk" : "load-random";
  for (const Workload& workload : Worker::workloads()) {
    const bool isWanted =
        std::find(stage_.workloads.begin(), stage_.workloads.end(), workload.name) != stage_.workloads.end();
    if (!isWanted && workload.name != lastLoad) continue;
    for (int i = 0; i < timesOf(workload); ++i) {
      for (Entrant& entrant : entrants_) {
        if (!entrant.isDurable && workload.in != Workload::In::anyProcess) continue;
        const double value = measure(entrant, workload);
        if (isWanted) report_.keepLeast({stage_.kind, stage_.count, entrant.setup.contestant, workload.name}, value);
      }
    }
  }
}

int Comparison::timesOf(const Workload& workload) const {
  switch (workload.repeat) {
    case Workload::Repeat::once:
      return 1;
    case Workload::Repeat::loads:
      return stage_.loads;
    case Workload::Repeat::rounds:
      return stage_.rounds;
  }
  return 0;
}

// Where another process is asked, the contestant's store is closed for its own meanwhile.
double Comparison::measure(Entrant& entrant, const Workload& workload) const {
  if (workload.in != Workload::In::newProcess && workload.in != Workload::In::newProcessWithSmallCache) {
    return entrant.process.ask(workload.name);
  }
  Setup setup = entrant.setup;
  if (workload.in == Workload::In::newProcessWithSmallCache) {
    const double bytes = entrant.process.ask("bytes-used") * static_cast<double>(setup.count);
    setup.cacheBytes = static_cast<std::size_t>(bytes / 10);
  }
  entrant.process.ask("close");
  const double value = ContestantProcess(setup).ask(workload.name);
  entrant.process.ask("open");
  return value;
}
