#include "store/engine/NetworkedEngine.h"

#include <dlfcn.h>

#include <cstdlib>

#include "store/engine/StoreAddress.h"

namespace ps::detail {

namespace {

constexpr const char* pluginName = "libpscollections-postgresql.so";
constexpr const char* installedBelow = "pscollections/";  // nobody links to it, so it is not among the libraries

// The folder of the library, or of the program into which it is linked, with a slash.
std::string ownFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&openNetworkedEngine), &info) == 0 || info.dli_fname == nullptr) return {};
  const std::string file = info.dli_fname;
  return file.substr(0, file.rfind('/') + 1);
}

// The factory of the plug-in; null, with the reason, when there is none. It stays loaded.
MakeNetworkedEngine loadFactory(std::string& reason) {
  const char* const chosen = std::getenv("PSCOLLECTIONS_PLUGINS");
  const std::string folder = chosen != nullptr ? std::string(chosen) + '/' : ownFolder();
  void* plugin = nullptr;
  for (const char* const below : {"", installedBelow}) {
    if (plugin == nullptr && !folder.empty())
      plugin = dlopen((folder + below + pluginName).c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  if (plugin == nullptr) plugin = dlopen(pluginName, RTLD_NOW | RTLD_LOCAL);
  void* const factory = plugin != nullptr ? dlsym(plugin, PS_NETWORKED_ENGINE_FACTORY) : nullptr;
  if (factory == nullptr) {
    const char* const text = dlerror();
    reason = text != nullptr ? text : pluginName;
  }
  return reinterpret_cast<MakeNetworkedEngine>(factory);
}

}  // namespace

std::unique_ptr<Engine> openNetworkedEngine(const std::string& address, const psSessionOptions& options,
                                            StoreError& error) {
  std::string reason;
  const MakeNetworkedEngine make = loadFactory(reason);
  if (make != nullptr) return std::unique_ptr<Engine>(make(address, options, error));
  reason = "the plug-in for stores on a server cannot be loaded (" + reason +
           "). Install the package libpscollections-postgresql of this release, or build pscollections with libpq-dev";
  error = {psErrorKind::usage, "Cannot open the store '" + shownStore(address) + "': " + reason + '.'};
  return nullptr;
}

}  // namespace ps::detail
