#include "ContestantProcess.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "Worker.h"

namespace {

constexpr const char* workerOption = "--worker";

}  // namespace

ContestantProcess::ContestantProcess(const std::string& contestant, const Setup& setup) : contestant_(contestant) {
  const std::string count = std::to_string(setup.count);
  const std::string commit = std::to_string(setup.commitSize);
  const std::string cache = std::to_string(setup.cacheBytes);
  const char* const arguments[] = {program_invocation_name, workerOption,  contestant.c_str(),
                                   nameOf(setup.kind),      count.c_str(), setup.folder.c_str(),
                                   commit.c_str(),          cache.c_str(), nullptr};
  int ends[2] = {};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0 || (process_ = fork()) < 0) {
    throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
  }
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(ends[1], STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    execv("/proc/self/exe", const_cast<char* const*>(arguments));
    _exit(127);
  }
  close(ends[1]);
  socket_ = ends[0];
}

ContestantProcess::~ContestantProcess() {
  close(socket_);
  if (isAtWork_) kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

std::vector<double> ContestantProcess::ask(const std::string& command) {
  const std::string line = command + '\n';
  std::string answer;
  isAtWork_ = true;
  ssize_t bytes = send(socket_, line.data(), line.size(), MSG_NOSIGNAL);
  for (char letter = 0; bytes > 0 && letter != '\n';) {
    bytes = recv(socket_, &letter, 1, 0);
    answer += letter;
  }
  if (bytes < 0 && errno == EINTR) throw std::runtime_error("interrupted");
  if (bytes <= 0) throw std::runtime_error("the process of " + contestant_ + " ended when it was asked for " + command);
  isAtWork_ = false;
  std::istringstream words(answer);
  std::vector<double> numbers;
  for (double number = 0; words >> number;) numbers.push_back(number);
  return numbers;
}

bool ContestantProcess::serve(int argc, char** argv) {
  if (argc != 8 || std::string_view(argv[1]) != workerOption) return false;
  Setup setup;
  setup.kind = keyKindNamed(argv[3]);
  setup.count = std::stoull(argv[4]);
  setup.folder = argv[5];
  setup.commitSize = std::stoull(argv[6]);
  setup.cacheBytes = std::stoull(argv[7]);
  Worker(argv[2], setup).serve();
  return true;
}
