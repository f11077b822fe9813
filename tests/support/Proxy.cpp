#include "support/Proxy.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace ps::test {

namespace {

constexpr int flags = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;
constexpr std::size_t lengthSize = 4;

// The size of the message at the beginning, 0 when not all of it is there.
std::size_t messageSize(std::string_view bytes, bool hasType) {
  const std::size_t type = hasType ? 1 : 0;
  if (bytes.size() < type + lengthSize) return 0;
  std::uint32_t length = 0;
  std::memcpy(&length, bytes.data() + type, lengthSize);
  const std::size_t size = type + ntohl(length);
  return bytes.size() < size ? 0 : size;
}

}  // namespace

Proxy::Proxy(const std::string& socketFolder) : serverSocket_(socketFolder + "/.s.PGSQL.5432") {
  listener_ = ::socket(AF_INET, flags, 0);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof name;
  EXPECT_EQ(::bind(listener_, reinterpret_cast<const sockaddr*>(&name), size), 0);
  EXPECT_EQ(::listen(listener_, 64), 0);
  EXPECT_EQ(::getsockname(listener_, reinterpret_cast<sockaddr*>(&name), &size), 0);
  port_ = ntohs(name.sin_port);
  thread_ = std::thread([this] { run(); });
}

Proxy::~Proxy() {
  isOver_ = true;
  thread_.join();
  for (Link& link : links_) close(link, false);
  ::close(listener_);
}

std::string Proxy::address() const {
  return "postgresql://ps@127.0.0.1:" + std::to_string(port_) + "/postgres?sslmode=disable&gssencmode=disable";
}

void Proxy::cut(const std::deque<Cut>& cuts) {
  const std::lock_guard<std::mutex> lock(mutex_);
  cuts_ = cuts;
  counted_[0] = counted_[1] = 0;
}

std::size_t Proxy::cutsLeft() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return cuts_.size();
}

std::uint64_t Proxy::messages(From from) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return counted_[static_cast<int>(from)];
}

void Proxy::claimVersion(const std::string& version) {
  const std::lock_guard<std::mutex> lock(mutex_);
  version_ = version;
}

bool Proxy::isCut(From from) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::uint64_t number = ++counted_[static_cast<int>(from)];
  if (cuts_.empty() || cuts_.front().from != from || cuts_.front().message != number) return false;
  cuts_.pop_front();
  counted_[0] = counted_[1] = 0;
  return true;
}

// The server tells its version in a message of type S, with a name and a value that each end with a 0.
std::string Proxy::rewritten(std::string message) const {
  using std::string_literals::operator""s;
  const std::string name = "server_version\0"s;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (version_.empty() || message.compare(0, 1, "S") != 0 || message.compare(1 + lengthSize, name.size(), name) != 0)
    return message;
  message = "S" + std::string(lengthSize, '\0') + name + version_ + '\0';
  const std::uint32_t length = htonl(static_cast<std::uint32_t>(message.size() - 1));
  std::memcpy(message.data() + 1, &length, lengthSize);
  return message;
}

void Proxy::run() {
  ::prctl(PR_SET_TIMERSLACK, 1UL);  // a delay is not to be longer than wished
  while (!isOver_) {
    wait(Clock::now());
    const Clock::time_point now = Clock::now();
    for (Link& link : links_) serve(link, now);
    links_.remove_if([](const Link& link) { return link.isOver; });
  }
}

// Until something can be received or sent; notes what.
void Proxy::wait(Clock::time_point now) {
  std::chrono::nanoseconds longest = std::chrono::milliseconds(20);
  std::vector<pollfd> polled = {{listener_, POLLIN, 0}};
  const auto wish = [&](const Stream& stream, int from, int to) {
    const bool isDue = !stream.ready.empty() && stream.ready.front().due <= now;
    if (!stream.ready.empty() && !isDue) longest = std::min(longest, stream.ready.front().due - now);
    polled.push_back({from, static_cast<short>(stream.hasEnded ? 0 : POLLIN), 0});
    polled.push_back({to, static_cast<short>(isDue ? POLLOUT : 0), 0});
  };
  for (const Link& link : links_) {
    wish(link.up, link.client, link.server);
    wish(link.down, link.server, link.client);
  }
  const timespec time{0, static_cast<long>(longest.count())};
  ::ppoll(polled.data(), polled.size(), &time, nullptr);
  std::size_t at = 0;
  for (Link& link : links_) {
    for (Stream* const stream : {&link.up, &link.down}) {
      stream->hasCome = polled[at + 1].revents != 0;
      at += 2;
    }
  }
  if (polled[0].revents != 0) accept();
}

void Proxy::accept() {
  const int client = ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (client < 0) return;
  const int yes = 1;
  ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  Link link;
  link.client = client;
  link.server = connectToServer();
  link.up.isStarting = true;
  link.down.from = From::server;
  if (link.server < 0)
    close(link, false);
  else
    links_.push_back(std::move(link));
}

int Proxy::connectToServer() const {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  serverSocket_.copy(name.sun_path, sizeof name.sun_path - 1);
  const int server = ::socket(AF_UNIX, flags, 0);
  if (::connect(server, reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0) return server;
  ::close(server);
  return -1;
}

void Proxy::serve(Link& link, Clock::time_point now) {
  receive(link, link.up, link.client, now);
  receive(link, link.down, link.server, now);
  forward(link, link.up, link.server, now);
  forward(link, link.down, link.client, now);
  const auto isThrough = [](const Stream& stream) { return stream.hasEnded && stream.ready.empty(); };
  if (!link.isOver && (isThrough(link.up) || isThrough(link.down))) close(link, false);
}

void Proxy::receive(Link& link, Stream& stream, int descriptor, Clock::time_point now) {
  std::array<char, 1 << 16> bytes;  // NOLINT: filling it would take longer than using it
  if (!stream.hasCome) return;
  while (!link.isOver && !stream.hasEnded) {
    const ssize_t count = ::recv(descriptor, bytes.data(), bytes.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    stream.hasEnded = count <= 0;
    if (stream.hasEnded) return;
    stream.partial.append(bytes.data(), static_cast<std::size_t>(count));
    takeMessages(link, stream, now);
    if (static_cast<std::size_t>(count) < bytes.size()) return;
  }
}

void Proxy::takeMessages(Link& link, Stream& stream, Clock::time_point now) {
  const std::string_view received = stream.partial;
  const bool isAnswer = stream.from == From::server;
  std::string taken;
  std::size_t at = 0;
  bool isLost = false;
  for (std::size_t size = 0; !isLost; at += size) {
    size = messageSize(received.substr(at), !stream.isStarting);
    if (size == 0) break;
    isLost = isCut(stream.from);
    if (isLost) break;
    taken += isAnswer ? rewritten(std::string(received.substr(at, size))) : std::string(received.substr(at, size));
    stream.isStarting = false;
  }
  stream.partial.erase(0, at);
  const auto time = isAnswer ? std::chrono::microseconds(delay_) : std::chrono::microseconds(0);
  if (!taken.empty()) stream.ready.push_back({now + time, std::move(taken)});
  if (isLost) cutLink(link, !isAnswer);
}

// What came before arrives.
void Proxy::cutLink(Link& link, bool isAbrupt) {
  forward(link, link.up, link.server, Clock::time_point::max());
  forward(link, link.down, link.client, Clock::time_point::max());
  if (!link.isOver) close(link, isAbrupt);
}

void Proxy::forward(Link& link, Stream& stream, int descriptor, Clock::time_point now) {
  while (!link.isOver && !stream.ready.empty() && stream.ready.front().due <= now) {
    std::string& bytes = stream.ready.front().bytes;
    const ssize_t count = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count < 0) {
      close(link, false);
      return;
    }
    bytes.erase(0, static_cast<std::size_t>(count));
    if (bytes.empty()) stream.ready.pop_front();
  }
}

// Abruptly: the client is told that the connection was reset, not that it has ended. A forked process may have the
// descriptors too, so closing them alone would not be enough.
void Proxy::close(Link& link, bool isAbrupt) {
  link.isOver = true;
  sockaddr nobody{};
  nobody.sa_family = AF_UNSPEC;
  if (isAbrupt) static_cast<void>(::connect(link.client, &nobody, sizeof nobody));
  for (const int descriptor : {link.server, link.client}) {
    if (descriptor < 0) continue;
    ::shutdown(descriptor, SHUT_RDWR);
    ::close(descriptor);
  }
}

}  // namespace ps::test
