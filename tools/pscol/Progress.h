#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace pscol {

// Shows how far long work is, with its rate and the time that is left, in one line of standard error; nothing when that
// is not a terminal, or the work ends within a second.
class Progress {
 public:
  // What is done, as in "verified", and of what, as in "records".
  Progress(std::string verb, std::string unit);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();  // clears the line

  // Always true, for functions that end the work by returning false.
  bool tell(std::uint64_t done, std::uint64_t total);

 private:
  using Clock = std::chrono::steady_clock;

  std::string verb_;
  std::string unit_;
  bool isShown_;
  bool hasLine_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_ + std::chrono::seconds(1);
};

}  // namespace pscol
