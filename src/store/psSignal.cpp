#include "store/psSignal.h"

#include <cstdarg>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

#include "store/base/IdText.h"
#include "store/base/StoreError.h"

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
  std::string text;
  try {
    text = formatted(error.text, arguments);
    if (error.number != psteStore.number && *context->operation != '\0')
      text = std::string(context->operation) + ": " + text;
    if (object != nullptr) text = ps::detail::textOf(object->oid()) + ": " + text;
  } catch (const std::bad_alloc&) {
    text = ps::detail::shortMemoryText;
  }
  va_end(arguments);
  context->record(level, error.number, error.kind, std::move(text));
}
