#pragma once

#include "store/base/psChecked.h"

// What a checked build checks at each use of an object.
namespace ps::detail {

// Report an object that is used after its transaction or its session, under another session or on another thread. The
// second function takes the address of anything within an object or an array. Both ignore addresses outside the store.
void checkObjectInUse(const void* object);
PS_API void checkMemoryInUse(const void* address);
// Report an open handle that is used under another session, on another thread or after its session, or that is closed
// on another thread while its session is open.
PS_API void checkHandleInUse(const void* object);
PS_API void checkHandleLetGo(const void* object);

}  // namespace ps::detail
