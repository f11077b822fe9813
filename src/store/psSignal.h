#pragma once

#include "store/base/psError.h"
#include "store/pstHandle.h"

// Records an error with the arguments that its text needs. The message names object unless that is null.
PS_API void psSignal(psErrorLevel level, const psError& error, const pstHandle<psObj>* object, ...);
