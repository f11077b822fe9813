#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

// Prints the usual console table and, after it, each benchmark's time as a multiple of every reference's: times differ
// from machine to machine, ratios of one run far less. References are the benchmarks whose names begin with "ref/".
//
// A name may begin with what is measured: "append: psTreeList" and "ref/append: LMDB" are compared with each other, and
// with nothing else. The names without it are compared among themselves.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Result {
    std::string label;
    bool isReference = false;
    double nanoseconds = 0;  // the least of the repetitions
  };

  // Results in the order of the runs.
  struct Comparison {
    std::string what;
    std::vector<Result> results;
  };

  void keep(const std::string& name, double nanoseconds);
  static void print(const Comparison& comparison);

  std::vector<Comparison> comparisons_;
};

// The number in the first argument --elements=N, which it takes out of the arguments, or the usual one when there is no
// such argument. Ends the program when it is not a number from 100 to 10,000,000.
int takeElements(int& argc, char** argv, int usual);

// The main function of a benchmark program that reports ratios.
int runWithRatios(int argc, char** argv);
