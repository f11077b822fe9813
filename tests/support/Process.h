#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace ps::test {

// A forked process that runs a function and exchanges numbers with it. No session may be open when it is made.
class Process {
 public:
  class Channel {
   public:
    explicit Channel(int descriptor) : descriptor_(descriptor) {}
    void send(std::uint64_t number = 0) const;
    bool receive(std::uint64_t* number = nullptr) const;  // false when the other side is gone

   private:
    int descriptor_;
  };

  // The process exits with the function's result.
  explicit Process(const std::function<int(const Channel&)>& body);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  Channel channel() const { return Channel(descriptor_); }
  int kill();  // as wait; -1 unless it had exited by itself
  int wait();  // the exit code, -1 after a signal

 private:
  int id_ = 0;
  int descriptor_ = -1;
};

// Runs a function in a process of its own; the text that it returns, or how it died.
std::string inProcess(const std::function<std::string()>& body);

}  // namespace ps::test
