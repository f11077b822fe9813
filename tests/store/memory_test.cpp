// Lack of memory, at every point of a program that uses all of a store: see MemoryScript. The environment variable
// PSCOLLECTIONS_ALLOCATIONS is all, to try each allocation, which takes half an hour, or the number of one. Without it,
// a few are tried.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <string>

#include "store/Allocations.h"
#include "store/MemoryScript.h"
#include "support/Process.h"
#include "support/ScratchFolder.h"

namespace {

using ps::test::Allocations;
using ps::test::MemoryScript;

struct Course {
  const char* name;
  bool isKept;
  Allocations::Fails fails;
  bool throws;
};

// Runs the script in a process of its own, in which nothing has been set up yet. What became of the failure; a
// complaint begins with an exclamation mark.
std::string run(const Course& course, std::uint64_t k) {
  const ps::test::ScratchFolder folder;
  return ps::test::inProcess([&]() -> std::string {
    Allocations::fail(k, course.fails);
    MemoryScript script(course.isKept ? folder.store("store.ps") : "memory:", course.throws, k % 8 == 0);
    const std::string complaint = script.run();
    if (!complaint.empty()) return "! " + script.failure() + " " + complaint;
    if (k == 0) return std::to_string(Allocations::counted());
    if (!Allocations::hasFailed()) return "beyond the end";
    return script.failure().empty() ? "harmless" : script.failure().substr(0, script.failure().find(':'));
  });
}

class Memory : public testing::TestWithParam<Course> {};

TEST_P(Memory, IsLackedWithoutLoss) {
  const std::string counted = run(GetParam(), 0);
  const std::uint64_t all = std::strtoull(counted.c_str(), nullptr, 10);
  ASSERT_GT(all, 1000U) << counted;
  const char* const wanted = std::getenv("PSCOLLECTIONS_ALLOCATIONS");
  const bool isWhole = wanted != nullptr && std::string(wanted) == "all";
  const std::uint64_t single = wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : 0;
  const std::uint64_t tries = ps::test::ScratchFolder::stepsOr(12, 6);
  const std::uint64_t stride = isWhole ? 1 : single != 0 ? all : all / tries + 1;
  const std::uint64_t first = isWhole ? 1 : single != 0 ? single : 1 + std::random_device()() % stride;
  std::map<std::string, int> outcomes;
  for (std::uint64_t k = first; k <= all; k += stride) {
    const std::string outcome = run(GetParam(), k);
    const bool isGood = outcome.front() != '!' && outcome.find("died") == std::string::npos;
    EXPECT_TRUE(isGood) << "allocation " << k << " of " << all << ": " << outcome;
    ++outcomes[isGood ? outcome : "fault"];
  }
  std::cout << GetParam().name << ", of " << all << " allocations:";
  for (const auto& [outcome, n] : outcomes) std::cout << ' ' << outcome << ' ' << n << ';';
  std::cout << '\n';
}

INSTANTIATE_TEST_SUITE_P(Courses, Memory,
                         testing::Values(Course{"Once", true, Allocations::Fails::once, false},
                                         Course{"FromThenOn", true, Allocations::Fails::fromThenOn, false},
                                         Course{"Throwing", true, Allocations::Fails::once, true},
                                         Course{"OnceInMemory", false, Allocations::Fails::once, false},
                                         Course{"FromThenOnInMemory", false, Allocations::Fails::fromThenOn, false}),
                         [](const auto& course) { return std::string(course.param.name); });

}  // namespace
