// Writers and readers in several processes on shared collections of all kinds, on a server. What they have read and
// written is checked for a serial order that explains it.

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <limits>

#include "Trial.h"
#include "support/AnyServer.h"
#include "support/HistoryWorld.h"
#include "support/ScratchFolder.h"

namespace ps::test {
namespace {

int run(Trial& trial) {
  constexpr double longestRun = 20;  // scans slow down, since the pages of those who are gone leave gaps
  const AnyServer server;
  while (trial.goesOn()) {
    const ScratchFolder folder;
    const double seconds = std::min(longestRun, trial.secondsLeft());
    const HistoryVerdict verdict = runHistory(folder.store("history"), std::numeric_limits<std::uint64_t>::max(),
                                              seconds, trial.random(std::uint64_t{1} << 32));
    trial.count("commits") += verdict.commits;
    trial.count("reads") += verdict.reads;
    trial.count("aborts") += verdict.aborts;
    trial.count("dependencies") += verdict.dependencies;
    trial.count("undecided") += verdict.undecided;
    for (const std::string& anomaly : verdict.anomalies) trial.check(verdict.commits, anomaly);
  }
  return trial.finish();
}

}  // namespace
}  // namespace ps::test

int main(int argc, char** argv) {
  ps::test::Trial trial("history", argc, argv);
  return ps::test::run(trial);
}
