#pragma once

#include "store/base/psExport.h"

// Registers the library's own classes and queues psInitVTables; runs when the library is loaded, and further calls do
// nothing. Always 1.
PS_API int psDoFileInit();
// Gives the store a prototype of each of the library's concrete classes.
PS_API void psInitVTables();

// Has a program that is linked to the static library take in the classes that it does not name itself.
inline const int psLibraryIsKnown = psDoFileInit();
