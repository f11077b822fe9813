#pragma once

#include "store/base/psExport.h"

// The version of these headers. The build takes the library's version from here too.
#define PSCOLLECTIONS_VERSION_MAJOR 0
#define PSCOLLECTIONS_VERSION_MINOR 2
#define PSCOLLECTIONS_VERSION_PATCH 0

// The same as one number, which grows with every release: 10203 is 1.2.3.
#define PSCOLLECTIONS_VERSION_NUMBER \
  (PSCOLLECTIONS_VERSION_MAJOR * 10000 + PSCOLLECTIONS_VERSION_MINOR * 100 + PSCOLLECTIONS_VERSION_PATCH)

#define PSCOLLECTIONS_TEXT_OF_(number) #number
#define PSCOLLECTIONS_JOINED_(major, minor, patch) \
  PSCOLLECTIONS_TEXT_OF_(major) "." PSCOLLECTIONS_TEXT_OF_(minor) "." PSCOLLECTIONS_TEXT_OF_(patch)
// The same as text: "1.2.3".
#define PSCOLLECTIONS_VERSION \
  PSCOLLECTIONS_JOINED_(PSCOLLECTIONS_VERSION_MAJOR, PSCOLLECTIONS_VERSION_MINOR, PSCOLLECTIONS_VERSION_PATCH)

// The version of the library that the process has loaded, as text. A program that was compiled with the headers of one
// patch release may run with the library of another; PSCOLLECTIONS_VERSION is that of its headers.
PS_API const char* psVersion() noexcept;
