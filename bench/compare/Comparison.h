#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "BenchStore.h"
#include "ContestantProcess.h"
#include "KeyKind.h"
#include "Results.h"

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

// Runs one stage: all its contestants live at the same time, each in a process of its own, and every workload asks them
// in turn, round by round, so that a noisy neighbour of the machine meets them alike. The least of the rounds counts.
class Comparison {
 public:
  Comparison(const Stage& stage, Results& results);

  void run();

 private:
  struct Entrant {
    Entrant(const std::string& name, const Stage& stage);

    std::string option;
    bool isDurable;
    ScratchFile folder;
    Setup setup;
    ContestantProcess process;
  };

  bool wants(const std::string& workload) const;
  // Asks all for the workload if it is wanted.
  void ask(const std::string& workload);
  void loadAndRemove();
  void repeat(const std::vector<std::string>& workloads);
  void startCold();
  void goBeyondMemory();
  void keep(const Entrant& entrant, const std::string& workload, double value);
  // With the contestant's store closed for its own process, asks another one that opens it.
  double askElsewhere(Entrant& entrant, const Setup& setup, const std::vector<std::string>& commands);

  const Stage& stage_;
  Results& results_;
  std::deque<Entrant> entrants_;
};
