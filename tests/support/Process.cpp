#include "support/Process.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace ps::test {

void Process::Channel::send(std::uint64_t number) const {
  // Fails when the other side was killed; the receiver notices.
  [[maybe_unused]] const ssize_t sent = ::send(descriptor_, &number, sizeof number, MSG_NOSIGNAL);
}

bool Process::Channel::receive(std::uint64_t* number) const {
  std::uint64_t received = 0;
  if (::recv(descriptor_, &received, sizeof received, MSG_WAITALL) != sizeof received) return false;
  if (number != nullptr) *number = received;
  return true;
}

Process::Process(const std::function<int(const Channel&)>& body) {
  int ends[2] = {-1, -1};
  EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  std::fflush(nullptr);
  id_ = ::fork();
  if (id_ == 0) {
    ::close(ends[0]);
    ::_exit(body(Channel(ends[1])));
  }
  ::close(ends[1]);
  descriptor_ = ends[0];
}

Process::~Process() {
  kill();
  ::close(descriptor_);
}

int Process::kill() {
  if (id_ > 0) ::kill(id_, SIGKILL);
  return wait();
}

int Process::wait() {
  int status = -1;
  if (id_ > 0) ::waitpid(id_, &status, 0);
  id_ = 0;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string inProcess(const std::function<std::string()>& body) {
  Process process([&body](const Process::Channel& channel) {
    for (const char c : body()) channel.send(static_cast<unsigned char>(c));
    return 0;
  });
  std::string text;
  std::uint64_t c = 0;
  while (process.channel().receive(&c)) text.push_back(static_cast<char>(c));
  return process.wait() == 0 ? text : text + " (the process died)";
}

}  // namespace ps::test
