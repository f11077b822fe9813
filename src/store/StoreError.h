#pragma once

#include <string>

#include "store/psErrorKind.h"

namespace ps::detail {

// Why something failed: a sentence that says what, where and what to do about it, and its kind for programs.
struct StoreError {
  psErrorKind kind = psErrorKind::none;
  std::string text;

  bool empty() const { return kind == psErrorKind::none; }
};

// Signals the error in the calling thread's context, under the number of psteStore.
void signalStoreError(const StoreError& error);

// operator new cannot throw, since null is what skips a constructor. So it notes its result, which noteCreation gives
// back, and the handle that is made of a null address throws the reason where the session asks for that.
void* noteCreation(void* memory);
void throwFailedCreation();

// While one lives, errors of the thread are signalled and not thrown, whatever the session says: in destructors, and
// where an operation has begun to write what it has planned.
class NothingThrown {
 public:
  NothingThrown();
  NothingThrown(const NothingThrown&) = delete;
  NothingThrown& operator=(const NothingThrown&) = delete;
  ~NothingThrown();
};

}  // namespace ps::detail
