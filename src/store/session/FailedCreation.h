#pragma once

namespace ps::detail {

// operator new cannot throw, since a null result is what skips a constructor. So it notes a failure by noteCreation,
// which returns its argument. The handle that is made of a null address then throws the reason, if the session throws
// errors.
void* noteCreation(void* memory);
void throwFailedCreation();
// Forgets a failed creation when a transaction begins.
void forgetFailedCreation();

}  // namespace ps::detail
