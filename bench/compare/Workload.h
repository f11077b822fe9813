#pragma once

#include <string>
#include <vector>

// What is measured, by the names of the command line and the files.
struct Workload {
  std::string name;
  std::string title;
  std::string unit;
  std::string comesWith;  // the workload that measures this as well; empty when it is one of its own
};

const std::vector<Workload>& allWorkloads();
// Ends the program when there is none of that name.
const Workload& workloadNamed(const std::string& name);
