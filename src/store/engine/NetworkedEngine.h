#pragma once

#include <memory>
#include <string>

#include "store/engine/Engine.h"

namespace ps::detail {

// The name of the function by which the plug-in makes an engine. It changes with Engine, so that a plug-in of another
// release is not taken for one of this release.
#define PS_NETWORKED_ENGINE_FACTORY "psMakeNetworkedEngine1"
using MakeNetworkedEngine = Engine* (*)(const std::string& address, const psSessionOptions& options, StoreError& error);

// Opens a store on a server. The engine for it is a plug-in, libpscollections-postgresql.so, which is loaded by the
// first store that needs it: so a program that uses files loads no client library, and a build without that library
// lacks only the plug-in. The plug-in lies beside the library, or in the folder pscollections there, or where the
// system finds libraries. The environment variable PSCOLLECTIONS_PLUGINS names another folder than the library's. Null
// on failure, with the reason in error.
std::unique_ptr<Engine> openNetworkedEngine(const std::string& address, const psSessionOptions& options,
                                            StoreError& error);

}  // namespace ps::detail
