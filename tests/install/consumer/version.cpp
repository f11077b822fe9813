#include <pscollections/pscollections.h>

#include <cstring>

static_assert(PSCOLLECTIONS_VERSION_NUMBER / 10000 == PSCOLLECTIONS_VERSION_MAJOR &&
              PSCOLLECTIONS_VERSION_NUMBER % 100 == PSCOLLECTIONS_VERSION_PATCH);

// Whether the library is of the version of the headers, which here go by their longer name.
bool fitsItsHeaders() { return std::strcmp(psVersion(), PSCOLLECTIONS_VERSION) == 0; }
