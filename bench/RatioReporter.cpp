#include "RatioReporter.h"

#include <algorithm>
#include <cstdio>

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
    const std::string name = run.run_name.function_name;
    const double time = run.GetAdjustedRealTime();
    const auto [known, added] = nanoseconds_.emplace(name, time);
    if (added) {
      order_.push_back(name);
    } else {
      known->second = std::min(known->second, time);
    }
  }
}

void RatioReporter::Finalize() {
  ConsoleReporter::Finalize();
  std::vector<std::string> references;
  std::copy_if(order_.begin(), order_.end(), std::back_inserter(references),
               [](const std::string& name) { return name.rfind("ref/", 0) == 0; });
  std::printf("\n%-34s", "time as a multiple of");
  for (const std::string& reference : references) std::printf(" %20s", reference.c_str());
  std::printf("\n");
  for (const std::string& name : order_) {
    std::printf("%-34s", name.c_str());
    for (const std::string& reference : references)
      std::printf(" %20.2f", nanoseconds_[name] / nanoseconds_[reference]);
    std::printf("\n");
  }
}

int runWithRatios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
#ifndef NDEBUG
  std::printf(
      "warning: built with assertions; build with the bench preset (make bench) for figures that mean something\n");
#endif
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
