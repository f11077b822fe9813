#include "store/engine/NetworkedEngine.h"
#include "store/postgresql/PostgresEngine.h"

// The one symbol of the plug-in.
extern "C" __attribute__((visibility("default"))) ps::detail::Engine* psMakeNetworkedEngine1(
    const std::string& address, const psSessionOptions& options, ps::detail::StoreError& error) {
  return ps::detail::PostgresEngine::open(address, options, error);
}
