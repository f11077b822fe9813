#pragma once

namespace pscol {

// Runs the command that the arguments of main name, prints its answer, and returns the status of the program.
int runCommandLine(int argc, char** argv);

}  // namespace pscol
