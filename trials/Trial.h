#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <string>

namespace ps::test {

// The frame of a trial's program, which is called as `program [minutes [seed]]`: how long it goes on, its random
// numbers, its counts and its verdict. Scratch files go to memory where the system offers that, unless TMPDIR says
// otherwise.
class Trial {
 public:
  Trial(std::string subject, int argc, char** argv);

  std::uint64_t seed() const { return seed_; }
  // Until the time is over, or so much has failed that more would not help.
  bool goesOn() const;
  double secondsLeft() const;

  // A random number below the bound.
  std::uint64_t random(std::uint64_t bound) { return random_() % bound; }

  std::uint64_t& count(const std::string& what) { return counts_[what]; }
  // Reports a failure unless the complaint is empty; n is what the store held last.
  void check(std::uint64_t n, const std::string& complaint);

  // Prints the summary line and returns the exit status.
  int finish() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::string subject_;
  std::uint64_t seed_;
  Clock::time_point end_;
  std::mt19937_64 random_;
  std::map<std::string, std::uint64_t> counts_;
  std::uint64_t failures_ = 0;
};

// What a file holds; "" when there is none.
std::string bytesOf(const std::string& path);

}  // namespace ps::test
