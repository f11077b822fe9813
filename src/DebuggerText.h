#pragma once

#include <cstdint>

#include "store/base/psExport.h"

// What the printers in tools/gdb call in a stopped process; programs do not use it. It tells, in lines:
//
//   the name of the class of the object with these bits as its identifier; empty when it cannot be opened,
//   of a collection the number of its elements,
//   of its first elements, in order, the bits of their identifiers; in a map of both key and value.
//
// The thread must not be inside the library. The session's last error stays what it was, and nothing is thrown. The
// text is valid until the next call.
extern "C" PS_API const char* psDebuggerText(std::uint64_t bits, int elements) noexcept;
