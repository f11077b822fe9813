#include "RatioReporter.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <system_error>

#include "BenchStore.h"

namespace {

constexpr const char* referencePrefix = "ref/";

// The item that fits, which is added at the end when there is none.
template <class Item, class Fits>
Item& findOrAdd(std::vector<Item>& items, const Item& added, Fits fits) {
  const auto found = std::find_if(items.begin(), items.end(), fits);
  return found != items.end() ? *found : items.emplace_back(added);
}

}  // namespace

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
    keep(run.run_name.function_name, run.GetAdjustedRealTime());
  }
}

void RatioReporter::Finalize() {
  ConsoleReporter::Finalize();
  for (const Comparison& comparison : comparisons_) print(comparison);
}

void RatioReporter::keep(const std::string& name, double nanoseconds) {
  const bool isReference = name.rfind(referencePrefix, 0) == 0;
  const std::string prefix = isReference ? referencePrefix : "";
  const std::string rest = name.substr(prefix.size());
  const std::size_t colon = rest.find(": ");
  const std::string what = colon == std::string::npos ? "" : rest.substr(0, colon);
  const std::string label = prefix + (colon == std::string::npos ? rest : rest.substr(colon + 2));

  Comparison& comparison =
      findOrAdd(comparisons_, {what, {}}, [&](const Comparison& other) { return other.what == what; });
  Result& result = findOrAdd(comparison.results, {label, isReference, nanoseconds},
                             [&](const Result& other) { return other.label == label; });
  result.nanoseconds = std::min(result.nanoseconds, nanoseconds);
}

void RatioReporter::print(const Comparison& comparison) {
  const std::vector<Result>& results = comparison.results;
  std::vector<Result> references;
  std::copy_if(results.begin(), results.end(), std::back_inserter(references),
               [](const Result& result) { return result.isReference; });
  std::printf("\n%s%s%-34s", comparison.what.c_str(), comparison.what.empty() ? "" : "\n", "time as a multiple of");
  for (const Result& reference : references) std::printf(" %24s", reference.label.c_str());
  std::printf("\n");
  for (const Result& result : results) {
    std::printf("%-34s", result.label.c_str());
    for (const Result& reference : references) std::printf(" %24.2f", result.nanoseconds / reference.nanoseconds);
    std::printf("\n");
  }
}

int takeElements(int& argc, char** argv, int usual) {
  const std::string_view option = "--elements=";
  char** const end = argv + argc;
  char** const found =
      std::find_if(argv, end, [&](std::string_view argument) { return argument.substr(0, option.size()) == option; });
  if (found == end) return usual;
  const std::string_view number = std::string_view(*found).substr(option.size());
  int elements = 0;
  const auto [stopped, error] = std::from_chars(number.data(), number.data() + number.size(), elements);
  if (error != std::errc() || stopped != number.data() + number.size() || elements < 100 || elements > 10000000) {
    stop(std::string(*found) + ": give a whole number from 100 to 10000000");
  }
  std::copy(found + 1, end + 1, found);  // with the null pointer at the end
  --argc;
  return elements;
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
