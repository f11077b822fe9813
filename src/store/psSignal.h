#pragma once

#include "store/base/psError.h"
#include "store/pstHandle.h"

// Records an error with the arguments that its text asks for. object, where it is not null, is named in the message.
PS_API void psSignal(psErrorLevel level, const psError& error, const pstHandle<psObj>* object, ...);
