#pragma once

#include <deque>
#include <string>

#include "ContestantProcess.h"
#include "Plan.h"
#include "Report.h"
#include "ScratchFolder.h"
#include "Worker.h"

// Runs one stage: all its contestants live at the same time, each in a process of its own, and every workload asks them
// in turn, round by round, so that a noisy neighbour of the machine meets them alike. The least of the rounds counts.
class Comparison {
 public:
  // Folders are made in the given one.
  Comparison(const Stage& stage, const ScratchFolder& scratch, Report& report);

  void run();

 private:
  struct Entrant {
    Entrant(const Setup& itsSetup, bool keepsFiles) : setup(itsSetup), isDurable(keepsFiles), process(itsSetup) {}

    Setup setup;
    bool isDurable;
    ContestantProcess process;
  };

  int timesOf(const Worker::Workload& workload) const;
  double measure(Entrant& entrant, const Worker::Workload& workload) const;

  const Stage& stage_;
  Report& report_;
  std::deque<Entrant> entrants_;
};
