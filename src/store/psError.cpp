#include "store/psError.h"

#include <cstdarg>
#include <cstdio>
#include <utility>
#include <vector>

#include "store/IdText.h"
#include "store/StoreError.h"
#include "store/cache/Frame.h"
#include "store/psObj.h"
#include "store/pstHandle.h"

const psError psteVArrayBound = {101, "index beyond the array: largest valid index %u, index %u"};
const psError psteVArraySizeZero = {102, "access to an empty array: index %u"};
const psError psteUpdateVArray = {103, "the array could not be opened for update", psErrorKind::denied};
const psError psteStore = {200, "%s"};

namespace {

thread_local int scopesThatThrowNothing = 0;
thread_local bool hasCreationFailed = false;
thread_local std::uint64_t opensBefore = 0;  // of the session, when a creation failed

}  // namespace

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
  hasCreationFailed = false;
}

pehSessionData* pehSessionDataGetFunction() {
  thread_local pehSessionData context;
  return &context;
}

namespace {

std::string formatted(const char* text, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, text, arguments);
  std::vector<char> buffer(static_cast<std::size_t>(length < 0 ? 0 : length) + 1);
  std::vsnprintf(buffer.data(), buffer.size(), text, again);
  va_end(again);
  return buffer.data();
}

}  // namespace

void psSignal(psErrorLevel level, const psError& error, const pstHandle<psObj>* object, ...) {
  pehSessionData* const context = pehSessionDataGetFunction();
  std::va_list arguments;
  va_start(arguments, object);
  std::string text = formatted(error.text, arguments);
  va_end(arguments);
  if (error.number != psteStore.number && *context->operation != '\0')
    text = std::string(context->operation) + ": " + text;
  if (object != nullptr) text = ps::detail::textOf(object->oid()) + ": " + text;
  context->record(level, error.number, error.kind, std::move(text));
}

void ps::detail::signalStoreError(const StoreError& error) {
  psSignal(pscError, psError{psteStore.number, psteStore.text, error.kind}, nullptr, error.text.c_str());
}

void* ps::detail::noteCreation(void* memory) {
  hasCreationFailed = memory == nullptr;
  opensBefore = currentSession->opens;
  return memory;
}

void ps::detail::throwFailedCreation() {
  if (scopesThatThrowNothing != 0 || !std::exchange(hasCreationFailed, false)) return;
  // A null address that comes when the program has gone on is another.
  if (opensBefore != currentSession->opens) return;
  psThrowException(pehSessionDataGetFunction());
}

ps::detail::NothingThrown::NothingThrown() { ++scopesThatThrowNothing; }
ps::detail::NothingThrown::~NothingThrown() { --scopesThatThrowNothing; }

void psThrowException(pehSessionData* context) {
  if (scopesThatThrowNothing != 0 || !std::exchange(context->pending_, false) || !context->throws) return;
  throw psException(context->number(), context->kind(), context->text());
}
