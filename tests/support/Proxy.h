#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace ps::test {

// Stands between clients and a PostgreSQL server on this machine, and does what networks do: it cuts connections, and
// takes time. It follows the framing of the protocol, so that a cut comes between two messages of which one knows the
// number. One thread serves all connections.
class Proxy {
 public:
  enum class From { client, server };

  // The message of that number, counted over all connections, is lost, and so is its connection. What was sent before
  // it arrives, and the server does what it was asked to: so a cut from the server swallows an answer. After a cut from
  // the client, the client finds its connection reset; else it finds it closed.
  struct Cut {
    From from = From::client;
    std::uint64_t message = 1;
  };

  // The folder of the server's Unix socket.
  explicit Proxy(const std::string& socketFolder);
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;
  ~Proxy();

  // What a client connects to.
  std::string address() const;

  // Counts messages anew, and cuts at one after the other; each counts from the one before.
  void cut(const std::deque<Cut>& cuts);
  // How many of these cuts are still to come.
  std::size_t cutsLeft() const;
  // Messages since the last call of cut, or since the last cut.
  std::uint64_t messages(From from) const;

  // Added to each round trip.
  void delay(std::chrono::microseconds time) { delay_ = time.count(); }
  // The version that the server claims to have towards clients that connect from now on.
  void claimVersion(const std::string& version);

 private:
  using Clock = std::chrono::steady_clock;

  // One direction of a connection.
  struct Stream {
    struct Chunk {
      Clock::time_point due;
      std::string bytes;
    };
    From from = From::client;
    bool isStarting = false;  // the next message has no type
    bool hasCome = false;
    bool hasEnded = false;
    std::string partial;  // of a message
    std::deque<Chunk> ready;
  };
  struct Link {
    int client = -1;
    int server = -1;
    Stream up;
    Stream down;
    bool isOver = false;
  };

  void run();
  void wait(Clock::time_point now);
  void accept();
  int connectToServer() const;
  void serve(Link& link, Clock::time_point now);
  void receive(Link& link, Stream& stream, int descriptor, Clock::time_point now);
  void takeMessages(Link& link, Stream& stream, Clock::time_point now);
  static void cutLink(Link& link, bool isAbrupt);
  static void forward(Link& link, Stream& stream, int descriptor, Clock::time_point now);
  bool isCut(From from);
  std::string rewritten(std::string message) const;
  static void close(Link& link, bool isAbrupt);

  const std::string serverSocket_;
  int listener_ = -1;
  int port_ = 0;
  std::list<Link> links_;
  std::atomic<bool> isOver_{false};
  std::atomic<std::int64_t> delay_{0};

  mutable std::mutex mutex_;  // for what follows
  std::deque<Cut> cuts_;
  std::uint64_t counted_[2] = {0, 0};
  std::string version_;

  std::thread thread_;
};

}  // namespace ps::test
