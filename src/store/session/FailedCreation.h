#pragma once

namespace ps::detail {

// operator new cannot throw, since null is what skips a constructor. So it notes its result, which noteCreation gives
// back, and the handle that is made of a null address throws the reason where the session asks for that.
void* noteCreation(void* memory);
void throwFailedCreation();
// Forgets a failed creation, as a transaction begins.
void forgetFailedCreation();

}  // namespace ps::detail
