#pragma once

#include <string>

#include "store/psExport.h"

// The checked build, made with the CMake option PSCOLLECTIONS_CHECKED, stops a program with a sentence at mistakes of
// its own that otherwise go unnoticed for a while: docs/store.md lists them. The library and the program are built with
// the same setting, which comes with the installed package. Without it nothing is checked and nothing is paid.
namespace ps::detail {

#ifdef PSCOLLECTIONS_CHECKED
inline constexpr bool isChecked = true;
#else
inline constexpr bool isChecked = false;
#endif

// Reports a mistake of the program: prints the sentence and ends the process, unless a handler was set. After a handler
// has returned, all goes on as it would in a build that is not checked.
void reportMisuse(const std::string& sentence);

// For tests of the checks. Null, as at first, stops the process. Gives the handler that was set before.
using MisuseHandler = void (*)(const std::string& sentence);
MisuseHandler setMisuseHandler(MisuseHandler handler);

// Report an object that is used where it must not be: after its transaction or its session, or on another thread. The
// second takes the address of anything within an object or an array; neither concerns what lies outside the store.
void checkObjectInUse(const void* object);
PS_API void checkMemoryInUse(const void* address);
// Report an open handle that is used on another thread or after its session, or let go on another thread while its
// session is open.
PS_API void checkHandleInUse(const void* object);
PS_API void checkHandleLetGo(const void* object);

}  // namespace ps::detail
