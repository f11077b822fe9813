#include "ContestantProcess.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "Worker.h"

namespace {

// Obeys commands until there are no more, and ends without running the owner's destructors.
[[noreturn]] void serve(const Setup& setup, int socket) {
  try {
    Worker worker(setup);
    char command[64];
    for (ssize_t bytes = 0; (bytes = recv(socket, command, sizeof command, 0)) > 0;) {
      const double answer = worker.obey(std::string(command, static_cast<std::size_t>(bytes)));
      if (send(socket, &answer, sizeof answer, MSG_NOSIGNAL) < 0) break;
    }
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", setup.contestant.c_str(), failure.what());
    _exit(1);
  }
  _exit(0);
}

}  // namespace

ContestantProcess::ContestantProcess(const Setup& setup) : contestant_(setup.contestant) {
  std::fflush(nullptr);
  int ends[2] = {};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0 || (process_ = fork()) < 0) {
    throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
  }
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ends[0]);
    serve(setup, ends[1]);
  }
  close(ends[1]);
  socket_ = ends[0];
}

// Later contestants' processes have inherited the socket, so that closing it would not end this one.
ContestantProcess::~ContestantProcess() {
  shutdown(socket_, SHUT_RDWR);
  close(socket_);
  if (isAtWork_) kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

double ContestantProcess::ask(const std::string& command) {
  double answer = 0;
  isAtWork_ = true;
  ssize_t bytes = send(socket_, command.data(), command.size(), MSG_NOSIGNAL);
  if (bytes > 0) bytes = recv(socket_, &answer, sizeof answer, 0);
  if (bytes < 0 && errno == EINTR) throw std::runtime_error("interrupted");
  if (bytes <= 0) throw std::runtime_error("the process of " + contestant_ + " ended when it was asked for " + command);
  isAtWork_ = false;
  return answer;
}
