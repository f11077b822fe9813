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

// Signals the error in the calling thread's context, under the number of psteStore.
void signalStoreError(const StoreError& error);

}  // namespace ps::detail
