#include "Trial.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <utility>

namespace ps::test {

namespace {

constexpr const char* memoryFolder = "/dev/shm";
constexpr std::uint64_t enoughFailures = 10;

std::uint64_t freshSeed() { return std::random_device()() % 1000000; }

}  // namespace

Trial::Trial(std::string subject, int argc, char** argv)
    : subject_(std::move(subject)), seed_(argc > 2 ? std::strtoull(argv[2], nullptr, 0) : freshSeed()) {
  const double minutes = argc > 1 ? std::strtod(argv[1], nullptr) : 1;
  end_ = Clock::now() + std::chrono::milliseconds(static_cast<std::int64_t>(minutes * 60000));
  random_.seed(seed_);
  if (::access(memoryFolder, W_OK) == 0) ::setenv("TMPDIR", memoryFolder, 0);
}

bool Trial::goesOn() const { return secondsLeft() > 0 && failures_ < enoughFailures; }

double Trial::secondsLeft() const { return std::chrono::duration<double>(end_ - Clock::now()).count(); }

void Trial::check(std::uint64_t n, const std::string& complaint) {
  if (complaint.empty()) return;
  ++failures_;
  std::cerr << subject_ << ": seed " << seed_ << ", transaction " << n << ": " << complaint << '\n';
}

int Trial::finish() const {
  std::cout << subject_ << ':';
  for (const auto& [what, number] : counts_) std::cout << ' ' << number << ' ' << what << ',';
  std::cout << " seed " << seed_ << ": ";
  if (failures_ == 0) {
    std::cout << "nothing lost" << std::endl;
    return 0;
  }
  std::cout << failures_ << " FAILED" << std::endl;
  return 1;
}

std::string bytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace ps::test
