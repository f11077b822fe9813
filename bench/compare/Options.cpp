#include "Options.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "Plan.h"
#include "Workload.h"

namespace {

constexpr const char* usage = R"(Usage: compare_bench [--quick] [--results=FOLDER]
       compare_bench [--keys=KIND] [--elements=N,...] [--contestants=NAME,...] [--workloads=NAME,...] [--rounds=N]
                     [--loads=N]

The first form measures everything, or with --quick a little of everything; with --results it writes tables, as
comparison.md and comparison.csv, into the folder. The second form measures a choice of it. KIND is identifier, content or words;
the rounds are those of what only reads, the loads those of loads and removals.
)";

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
    stop("'" + text + "': give a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return number;
}

std::vector<Stage> chooseStages(const std::map<std::string, std::string>& options) {
  const auto valueOf = [&](const char* name, const char* usual) {
    const auto found = options.find(name);
    return found == options.end() ? std::string(usual) : found->second;
  };
  Stage stage;
  stage.kind = keyKindNamed(valueOf("--keys", "content"));
  stage.contestants = split(valueOf("--contestants", "tree,hash,lmdb,std::set,absl::btree_set,std::unordered_set"));
  stage.workloads = split(valueOf("--workloads", "hit,miss,walk"));
  stage.rounds = static_cast<int>(numberIn(valueOf("--rounds", "3"), 1, 1000));
  stage.loads = static_cast<int>(numberIn(valueOf("--loads", "1"), 1, 100));
  for (const std::string& contestant : stage.contestants) contestantNamed(contestant);
  for (std::string& workload : stage.workloads) {
    const Workload& found = workloadNamed(workload);
    if (!found.comesWith.empty()) workload = found.comesWith;
  }
  std::vector<Stage> stages;
  for (const std::string& count : split(valueOf("--elements", "100000"))) {
    stage.count = numberIn(count, 1000, 10000000);
    stages.push_back(stage);
  }
  return stages;
}

}  // namespace

Options parseOptions(int argc, char** argv) {
  std::map<std::string, std::string> given;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t equals = argument.find('=');
    given[argument.substr(0, equals)] = equals == std::string::npos ? "" : argument.substr(equals + 1);
  }
  std::size_t known = 0;
  for (const char* option :
       {"--quick", "--results", "--keys", "--elements", "--contestants", "--workloads", "--rounds", "--loads"}) {
    known += given.count(option);
  }
  const std::size_t general = given.count("--quick") + given.count("--results");
  if (known != given.size() || (general != 0 && general != known)) {
    std::fputs(usage, stderr);
    std::exit(1);
  }
  if (general == 0 && known != 0) return {chooseStages(given), {}};
  return {given.count("--quick") != 0 ? quickPlan() : fullPlan(), given["--results"]};
}
