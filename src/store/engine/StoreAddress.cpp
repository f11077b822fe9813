#include "store/engine/StoreAddress.h"

namespace ps::detail {

namespace {

constexpr std::string_view schemes[] = {"postgresql://", "postgres://"};

bool beginsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

// Replaces the value of the parameter password, of which a URI may have one too.
void hideParameter(std::string& address) {
  constexpr std::string_view name = "password=";
  for (std::size_t at = address.find(name); at != std::string::npos; at = address.find(name, at + name.size())) {
    if (at == 0 || (address[at - 1] != '?' && address[at - 1] != '&')) continue;
    const std::size_t begin = at + name.size();
    address.replace(begin, address.find_first_of("&#", begin) - begin, "...");
  }
}

}  // namespace

bool isStoreAddress(std::string_view path) { return beginsWith(path, schemes[0]) || beginsWith(path, schemes[1]); }

std::string shownStore(const std::string& path) {
  if (!isStoreAddress(path)) return path;
  std::string shown = path;
  const std::size_t begin = shown.find("//") + 2;
  const std::size_t host = shown.rfind('@', shown.find_first_of("/?#", begin));
  const std::size_t password = shown.find(':', begin);
  if (host != std::string::npos && host > begin && password < host)
    shown.replace(password + 1, host - password - 1, "...");
  hideParameter(shown);
  return shown;
}

}  // namespace ps::detail
