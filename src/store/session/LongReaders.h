#pragma once

#include <chrono>
#include <functional>

#include "store/base/psReader.h"
#include "store/engine/Engine.h"

namespace ps::detail {

// Looks at the readers of a session's store, at most once a second, and tells the application of one that lasts too
// long or keeps too much of the file from being used again.
class LongReaders {
 public:
  using Clock = std::chrono::steady_clock;
  using Callback = std::function<void(const psReader&)>;

  void watch(double seconds, std::uint64_t pinnedBytes, Callback callback);
  // The oldest reader is put into oldest. What cannot be read, or lacks memory, is not told.
  void look(Engine& engine, psReader& oldest);

 private:
  bool find(Engine& engine, psReader& oldest);

  double seconds_ = 0;
  std::uint64_t pinnedBytes_ = 0;
  Callback callback_;
  Clock::time_point next_;
};

}  // namespace ps::detail
