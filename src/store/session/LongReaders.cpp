#include "store/session/LongReaders.h"

#include <new>
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
  if (!find(engine, oldest)) return;
  const bool isLong = oldest.process != 0 && (oldest.seconds > seconds_ || oldest.pinnedBytes > pinnedBytes_);
  if (callback_ != nullptr && isLong) callback_(oldest);
}

bool LongReaders::find(Engine& engine, psReader& oldest) {
  try {
    std::vector<psReader> readers;
    if (!engine.readers(readers)) return false;
    oldest = readers.empty() ? psReader() : readers.front();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace ps::detail
