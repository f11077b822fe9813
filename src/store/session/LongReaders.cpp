#include "store/session/LongReaders.h"

#include <utility>
#include <vector>

namespace ps::detail {

void LongReaders::watch(double seconds, std::uint64_t pinnedBytes, Callback callback) {
  seconds_ = seconds;
  pinnedBytes_ = pinnedBytes;
  callback_ = std::move(callback);
  next_ = {};
}

void LongReaders::look(Engine& engine, psReader& oldest) {
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::seconds(1);
  std::vector<psReader> readers;
  if (!engine.readers(readers)) return;
  oldest = readers.empty() ? psReader() : readers.front();
  const bool isLong = oldest.process != 0 && (oldest.seconds > seconds_ || oldest.pinnedBytes > pinnedBytes_);
  if (callback_ != nullptr && isLong) callback_(oldest);
}

}  // namespace ps::detail
