#pragma once

#include <string>

#include "store/base/psExport.h"

// The checked build, made with the CMake option PSCOLLECTIONS_CHECKED, stops a program with a message at mistakes that
// otherwise go unnoticed for a while; docs/store.md lists them. The library and the program are built with the same
// setting, which is part of the installed package. Other builds check nothing and pay nothing.
namespace ps::detail {

#ifdef PSCOLLECTIONS_CHECKED
inline constexpr bool isChecked = true;
#else
inline constexpr bool isChecked = false;
#endif

// Reports a mistake of the program. Prints the sentence and ends the process, unless a handler was set. After a handler
// has returned, everything continues as in a build that is not checked.
void reportMisuse(const std::string& sentence);

// For tests of the checks. Null, the initial value, stops the process. Returns the handler that was set before.
using MisuseHandler = void (*)(const std::string& sentence);
MisuseHandler setMisuseHandler(MisuseHandler handler);

}  // namespace ps::detail
