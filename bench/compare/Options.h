#pragma once

#include <filesystem>
#include <vector>

#include "Comparison.h"

// What the command line asks for.
struct Options {
  std::vector<Stage> stages;
  std::filesystem::path results;  // the folder for files; none when empty
};

// Ends the program, with a message or the usage, when the arguments ask for nothing that can be done.
Options parseOptions(int argc, char** argv);
