#include "pscol/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "pscol/Text.h"

namespace pscol {

namespace {

constexpr const char* clearLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::string verb, std::string unit)
    : verb_(std::move(verb)), unit_(std::move(unit)), isShown_(::isatty(STDERR_FILENO) != 0) {}

Progress::~Progress() {
  if (hasLine_) std::cerr << clearLine << std::flush;
}

bool Progress::tell(std::uint64_t done, std::uint64_t total) {
  const Clock::time_point now = Clock::now();
  if (!isShown_ || now < next_ || total == 0 || done == 0) return true;
  next_ = now + std::chrono::milliseconds(200);
  hasLine_ = true;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double rate = static_cast<double>(done) / seconds;
  const double left = static_cast<double>(total - std::min(done, total)) / rate;
  std::cerr << clearLine << verb_ << ' ' << shareText(static_cast<double>(done) / static_cast<double>(total)) << ", "
            << countText(static_cast<std::uint64_t>(rate)) << ' ' << unit_ << " a second, " << durationText(left)
            << " left" << std::flush;
  return true;
}

}  // namespace pscol
