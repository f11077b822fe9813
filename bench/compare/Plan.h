#pragma once

#include <vector>

#include "Comparison.h"

// All that is measured. Removals and commits stop at a million elements, and slower peers where they would take most of
// the time.
std::vector<Stage> fullPlan();

// A short run that only shows that everything works.
std::vector<Stage> quickPlan();
