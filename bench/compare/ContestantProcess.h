#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Contestant.h"

// A process with one contestant, as its owner sees it. It ends with its owner: in order when it waits for a command, at
// once when it is at work.
class ContestantProcess {
 public:
  ContestantProcess(const std::string& contestant, const Setup& setup);
  ContestantProcess(const ContestantProcess&) = delete;
  ContestantProcess& operator=(const ContestantProcess&) = delete;
  ~ContestantProcess();

  // What the contestant answers to the command. Throws std::runtime_error when it does not answer.
  std::vector<double> ask(const std::string& command);

  // In the other process: obeys commands until there are no more, if the arguments are those of such a process.
  static bool serve(int argc, char** argv);

 private:
  std::string contestant_;
  pid_t process_ = 0;
  int socket_ = -1;
  bool isAtWork_ = false;
};
