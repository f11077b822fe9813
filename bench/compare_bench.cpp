// Compares the collections of this library with their peers: general stores on disk, and containers in memory as the
// limit.

#include <sched.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Comparison.h"
#include "Contestant.h"
#include "Environment.h"
#include "Plan.h"
#include "Report.h"
#include "ScratchFolder.h"

namespace {

constexpr const char* usage = R"(Usage: compare_bench [--quick] [--results=FOLDER]
       compare_bench [--keys=KIND] [--elements=N,...] [--contestants=NAME,...] [--workloads=NAME,...] [--rounds=N]

The first form measures everything, or with --quick a little of everything; with --results it writes tables, as
comparison.md and comparison.csv, into the folder. The second form measures a choice of it. KIND is content, identifier,
pair or position.
)";

using Options = std::map<std::string, std::string>;

// All processes and their threads, which come later, share the last core that this one may use.
void stayOnOneCore() {
  cpu_set_t allowed;
  CPU_ZERO(&allowed);
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) {
    throw std::runtime_error("cannot find out which cores there are");
  }
  int last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &allowed)) --last;
  CPU_ZERO(&allowed);
  CPU_SET(last, &allowed);
  if (sched_setaffinity(0, sizeof allowed, &allowed) != 0) throw std::runtime_error("cannot stay on one core");
}

// Makes a wait for a contestant fail, so that the program ends in order and takes its stores away.
void onSignal(int) {}

void endInOrderOnSignals() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

std::vector<std::string> split(const std::string& list) {
  std::vector<std::string> items;
  std::istringstream in(list);
  for (std::string item; std::getline(in, item, ',');) items.push_back(item);
  return items;
}

std::size_t numberIn(const std::string& text, std::size_t least, std::size_t most) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
    throw std::runtime_error("'" + text + "': give a whole number from " + std::to_string(least) + " to " +
                             std::to_string(most));
  }
  return number;
}

void requireAmong(const std::vector<std::string>& possible, const std::string& name, const std::string& kind) {
  if (std::find(possible.begin(), possible.end(), name) != possible.end()) return;
  std::string names;
  for (const std::string& one : possible) names += ' ' + one;
  throw std::runtime_error("there is no '" + name + "' with keys '" + kind + "'; there are" + names);
}

std::vector<Stage> chosenStages(const Options& options) {
  const auto valueOf = [&](const char* name, const char* usual) {
    const auto found = options.find(name);
    return found == options.end() ? std::string(usual) : found->second;
  };
  Stage stage;
  stage.kind = keyKindNamed(valueOf("--keys", "content"));
  stage.contestants = split(valueOf("--contestants", ""));
  if (stage.contestants.empty()) stage.contestants = contestantsFor(stage.kind, {"rocksdb", "sqlite"});
  stage.workloads = split(valueOf("--workloads", "hit,walk"));
  stage.rounds = static_cast<int>(numberIn(valueOf("--rounds", "3"), 1, 1000));
  for (const std::string& name : stage.contestants) requireAmong(contestantsFor(stage.kind), name, nameOf(stage.kind));
  for (const std::string& name : stage.workloads) requireAmong(workloadsFor(stage.kind), name, nameOf(stage.kind));
  std::vector<Stage> stages;
  for (const std::string& count : split(valueOf("--elements", "100000"))) {
    stage.count = numberIn(count, 1000, 10000000);
    stages.push_back(stage);
  }
  return stages;
}

// What the options ask for; none when that cannot be understood.
std::vector<Stage> stagesFor(const Options& options) {
  const auto areAmong = [&](const std::vector<std::string>& names) {
    return std::all_of(options.begin(), options.end(), [&](const auto& option) {
      return std::find(names.begin(), names.end(), option.first) != names.end();
    });
  };
  if (areAmong({"--quick", "--results"})) return options.count("--quick") != 0 ? quickPlan() : fullPlan();
  if (areAmong({"--keys", "--elements", "--contestants", "--workloads", "--rounds"})) return chosenStages(options);
  return {};
}

void compare(const std::vector<Stage>& stages, const std::filesystem::path& results) {
  const ScratchFolder scratch;
  for (const std::string& warning : findWarnings(scratch.path())) std::printf("warning: %s\n", warning.c_str());
  if (!results.empty()) std::filesystem::create_directories(results);

  Report report;
  for (const Stage& stage : stages) Comparison(stage, scratch, report).run();

  if (results.empty()) {
    report.printTables(std::cout);
  } else {
    report.write(results, scratch.path());
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t equals = argument.find('=');
    options[argument.substr(0, equals)] = equals == std::string::npos ? "" : argument.substr(equals + 1);
  }
  try {
    const std::vector<Stage> stages = stagesFor(options);
    if (stages.empty()) {
      std::fputs(usage, stderr);
      return 1;
    }
    endInOrderOnSignals();
    stayOnOneCore();
    compare(stages, options["--results"]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "compare_bench: %s\n", failure.what());
    return 1;
  }
  return 0;
}
