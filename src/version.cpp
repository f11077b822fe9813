#include "version.h"

const char* psVersion() noexcept { return PSCOLLECTIONS_VERSION; }
