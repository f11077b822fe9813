#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "store/engine/Engine.h"
#include "store/engine/LmdbEngine.h"
#include "store/engine/LmdbEnvironment.h"
#include "store/engine/MemoryEngine.h"
#include "store/engine/NetworkedEngine.h"
#include "store/engine/StoreAddress.h"

namespace ps::detail {

std::unique_ptr<Engine> openEngine(const std::string& path, const psSessionOptions& options, StoreError& error) {
  constexpr std::string_view memoryPrefix = "memory:";
  if (path.compare(0, memoryPrefix.size(), memoryPrefix) == 0) return std::make_unique<MemoryEngine>(options);
  if (isStoreAddress(path)) return openNetworkedEngine(path, options, error);
  LmdbEnvironment::Handle environment = LmdbEnvironment::acquire(path, options, error);
  if (environment == nullptr) return nullptr;
  return std::make_unique<LmdbEngine>(std::move(environment), options);
}

}  // namespace ps::detail
