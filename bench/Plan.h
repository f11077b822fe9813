#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "KeyKind.h"

// What is measured with one kind of keys and one number of elements.
struct Stage {
  KeyKind kind = KeyKind::content;
  std::size_t count = 0;
  std::vector<std::string> contestants;
  std::vector<std::string> workloads;
  int rounds = 3;                  // of what only reads
  int loads = 1;                   // and removals
  std::size_t commitSize = 10000;  // elements that are loaded in one transaction
};

// All that is measured. Removals and commits stop at a million elements, and slower peers where they would take most of
// the time.
std::vector<Stage> fullPlan();

// A short run that only shows that everything works.
std::vector<Stage> quickPlan();

// All contestants, or workloads, that suit the kind of keys, but those named.
std::vector<std::string> contestantsFor(KeyKind kind, const std::vector<std::string>& without = {});
std::vector<std::string> workloadsFor(KeyKind kind, const std::vector<std::string>& without = {});
