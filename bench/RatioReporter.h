#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Prints the usual console table and, after it, each benchmark's time as a multiple of every reference's: times differ
// from machine to machine, ratios of one run far less. References are the benchmarks whose names begin with "ref/".
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  std::vector<std::string> order_;
  std::map<std::string, double> nanoseconds_;  // the least of the repetitions
};

// The main function of a benchmark program that reports ratios.
int runWithRatios(int argc, char** argv);
