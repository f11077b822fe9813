#include "pscol/CommandLine.h"

int main(int argc, char** argv) { return pscol::runCommandLine(argc, argv); }
