#include "store/engine/NetworkedEngine.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "store/engine/LoaderTexts.h"
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

// Loads a file. Where there is one and it cannot be loaded, that is the reason, and not that another place has none.
void* load(const std::string& file, std::string& reason) {
  void* const plugin = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  const char* const text = plugin == nullptr ? dlerror() : nullptr;
  if (text != nullptr && (reason.empty() || access(file.c_str(), F_OK) == 0)) reason = text;
  return plugin;
}

// By what the loader says, which without memory may lack the reason.
bool isLackOfMemory(const std::string& reason) {
  return std::any_of(std::begin(loaderTexts::noMemory), std::end(loaderTexts::noMemory),
                     [&reason](const char* part) { return reason.find(part) != std::string::npos; });
}

// The factory of the plug-in; null, with the reason, when there is none. It stays loaded.
MakeNetworkedEngine loadFactory(std::string& reason) {
  const char* const chosen = std::getenv("PSCOLLECTIONS_PLUGINS");
  const std::string folder = chosen != nullptr ? std::string(chosen) + '/' : ownFolder();
  void* plugin = nullptr;
  for (const char* const below : {"", installedBelow}) {
    if (plugin == nullptr && !folder.empty()) plugin = load(folder + below + pluginName, reason);
  }
  if (plugin == nullptr) plugin = load(pluginName, reason);
  if (plugin == nullptr) return nullptr;
  void* const factory = dlsym(plugin, PS_NETWORKED_ENGINE_FACTORY);
  if (factory == nullptr) reason = pluginName;
  return reinterpret_cast<MakeNetworkedEngine>(factory);
}

}  // namespace

std::unique_ptr<Engine> openNetworkedEngine(const std::string& address, const psSessionOptions& options,
                                            StoreError& error) {
  std::string reason;
  const MakeNetworkedEngine make = loadFactory(reason);
  if (make != nullptr) return std::unique_ptr<Engine>(make(address, options, error));
  if (isLackOfMemory(reason)) {
    error = {psErrorKind::memory, shortMemoryText};
    return nullptr;
  }
  reason = "the plug-in for stores on a server cannot be loaded (" + reason +
           "). Install the package libpscollections-postgresql of this release, or build pscollections with libpq-dev";
  error = {psErrorKind::usage, "Cannot open the store '" + shownStore(address) + "': " + reason + '.'};
  return nullptr;
}

}  // namespace ps::detail
