// Compares the sets of this library with their peers: general stores on disk, and containers in memory as the limit.

#include <sched.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>

#include "BenchStore.h"
#include "Comparison.h"
#include "ContestantProcess.h"
#include "Environment.h"
#include "Options.h"
#include "Report.h"
#include "Results.h"

namespace {

// All processes and their threads, which come later, share the last core that this one may use.
void stayOnOneCore() {
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) stop("cannot find out which cores there are");
  int last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &allowed)) --last;
  CPU_ZERO(&allowed);
  CPU_SET(last, &allowed);
  if (sched_setaffinity(0, sizeof allowed, &allowed) != 0) stop("cannot stay on one core");
}

// Makes a wait for a contestant fail, so that the program ends in order and takes its stores away.
void onSignal(int) {}

void endInOrderOnSignals() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

void compare(const Options& options) {
  const std::filesystem::path stores = ScratchFile().path().parent_path();
  for (const std::string& warning : findWarnings(stores)) std::printf("warning: %s\n", warning.c_str());
  if (!options.results.empty()) std::filesystem::create_directories(options.results);

  Results results;
  for (const Stage& stage : options.stages) Comparison(stage, results).run();

  const Report report(results, stores);
  if (options.results.empty()) {
    report.printTables(std::cout);
  } else {
    results.writeCsv(options.results / "comparison.csv");
    report.write(options.results / "comparison.md");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (ContestantProcess::serve(argc, argv)) return 0;
  const Options options = parseOptions(argc, argv);
  endInOrderOnSignals();
  stayOnOneCore();
  try {
    compare(options);
  } catch (const std::exception& failure) {
    stop(failure.what());
  }
  return 0;
}
