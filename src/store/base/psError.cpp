#include "store/base/psError.h"

#include <utility>

#include "store/base/NothingThrown.h"
#include "store/base/StoreError.h"

const psError psteVArrayBound = {101, "index beyond the array: largest valid index %u, index %u"};
const psError psteVArraySizeZero = {102, "access to an empty array: index %u"};
const psError psteUpdateVArray = {103, "the array could not be opened for update", psErrorKind::denied};
const psError psteStore = {200, "%s"};

void pehSessionData::record(psErrorLevel level, int number, psErrorKind kind, std::string text) {
  level_ = level;
  number_ = number;
  kind_ = kind;
  text_ = std::move(text);
  pending_ = true;
}

void pehSessionData::clear() {
  level_ = pscInformation;
  number_ = 0;
  kind_ = psErrorKind::none;
  text_.clear();
  pending_ = false;
}

pehSessionData* pehSessionDataGetFunction() {
  thread_local pehSessionData context;
  return &context;
}

void ps::detail::signalStoreError(const StoreError& error) {
  pehSessionDataGetFunction()->record(pscError, psteStore.number, error.kind, error.text);
}

void psThrowException(pehSessionData* context) {
  if (ps::detail::NothingThrown::applies() || !std::exchange(context->pending_, false) || !context->throws) return;
  throw ps::Error(context->number(), context->kind(), psId(), context->text());
}

ps::Error::Error(psErrorKind kind, const psId& id, const std::string& sentence)
    : Error(psteStore.number, kind, id, sentence) {}
