#include "store/base/psError.h"

#include <new>
#include <utility>

#include "store/base/NothingThrown.h"
#include "store/base/PerThread.h"
#include "store/base/StoreError.h"

const psError psteVArrayBound = {101, "index beyond the array: largest valid index %u, index %u"};
const psError psteVArraySizeZero = {102, "access to an empty array: index %u"};
const psError psteUpdateVArray = {103, "the array could not be opened for update", psErrorKind::denied};
const psError psteStore = {200, "%s"};

namespace {

// Made while the program is loaded, and never destroyed.
const std::string& memoryText = *new std::string(
    "there is no memory left; abort an update that is open, and free memory or lower the session's cacheLimit");

}  // namespace

const std::string& pehSessionData::text() const { return lacksMemory_ ? memoryText : text_; }

void pehSessionData::recordLackOfMemory() noexcept {
  level_ = pscError;
  number_ = psteStore.number;
  kind_ = psErrorKind::memory;
  lacksMemory_ = true;
  pending_ = true;
}

void pehSessionData::record(psErrorLevel level, int number, psErrorKind kind, std::string text) {
  level_ = level;
  number_ = number;
  kind_ = kind;
  text_ = std::move(text);
  lacksMemory_ = false;
  pending_ = true;
}

void pehSessionData::clear() {
  level_ = pscInformation;
  number_ = 0;
  kind_ = psErrorKind::none;
  text_.clear();
  lacksMemory_ = false;
  pending_ = false;
}

pehSessionData* pehSessionDataGetFunction() { return &ps::detail::PerThread<pehSessionData>::get(); }

void ps::detail::signalStoreError(const StoreError& error) {
  pehSessionDataGetFunction()->record(pscError, psteStore.number, error.kind, error.text);
}

ps::Error ps::detail::signalledError(const pehSessionData& signalled, const psId& id) noexcept {
  try {
    return {signalled.number(), signalled.kind(), id, signalled.text()};
  } catch (const std::bad_alloc&) {
    return {signalled.number(), signalled.kind(), id, shortMemoryText};
  }
}

void psThrowException(pehSessionData* context) {
  if (ps::detail::NothingThrown::applies() || !std::exchange(context->pending_, false) || !context->throws) return;
  throw ps::detail::signalledError(*context, psId());
}

ps::Error::Error(psErrorKind kind, const psId& id, const std::string& sentence)
    : Error(psteStore.number, kind, id, sentence) {}
