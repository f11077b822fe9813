#pragma once

#include <string>

#include "store/base/psErrorKind.h"

namespace ps::detail {

// Why something failed: a text that says what, where and what to do about it, and its kind for programs.
struct StoreError {
  psErrorKind kind = psErrorKind::none;
  std::string text;

  bool empty() const { return kind == psErrorKind::none; }
};

// The text of an error for which there is no memory. A std::string holds it without any.
constexpr const char* shortMemoryText = "no memory left";

// Signals the error in the calling thread's context, under the number of psteStore.
void signalStoreError(const StoreError& error);

}  // namespace ps::detail
