#pragma once

#include <sys/types.h>

#include <string>

#include "Contestant.h"

// A process with one contestant, as its owner sees it. It ends with its owner: in order when it waits for a command, at
// once when it is at work.
class ContestantProcess {
 public:
  explicit ContestantProcess(const Setup& setup);
  ContestantProcess(const ContestantProcess&) = delete;
  ContestantProcess& operator=(const ContestantProcess&) = delete;
  ~ContestantProcess();

  // What the contestant's worker answers to the command. Throws std::runtime_error when it does not answer.
  double ask(const std::string& command);

 private:
  std::string contestant_;
  pid_t process_ = 0;
  int socket_ = -1;
  bool isAtWork_ = false;
};
