#include "store/engine/StoreAddress.h"

#include <algorithm>

namespace ps::detail {

namespace {

constexpr std::string_view schemes[] = {"postgresql://", "postgres://"};

bool beginsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

// Replaces the value of the parameters password and sslpassword, which a URI may have too.
void hideParameter(std::string& address) {
  constexpr std::string_view name = "password=";
  for (std::size_t at = address.find(name); at != std::string::npos; at = address.find(name, at + name.size())) {
    if (at == 0 || std::string_view("?&l").find(address[at - 1]) == std::string_view::npos) continue;
    const std::size_t begin = at + name.size();
    address.replace(begin, address.find_first_of("&#", begin) - begin, "...");
  }
}

// Where the parts of an address are: "//[user[:password]@]hosts[/database][?parameters][#store]".
struct Parts {
  explicit Parts(std::string_view address)
      : begin(address.find("//") + 2),
        hostsEnd(std::min(address.find_first_of("/?#", begin), address.size())),
        pathEnd(std::min(address.find_first_of("?#", hostsEnd), address.size())) {
    const std::size_t at = address.substr(0, hostsEnd).rfind('@');
    hosts = at == std::string_view::npos || at < begin ? begin : at + 1;
  }
  std::size_t begin;
  std::size_t hostsEnd;
  std::size_t pathEnd;
  std::size_t hosts = 0;
};

// Whether each of the hosts, which are separated by commas, has a number behind its colon or no colon.
bool havePorts(std::string_view hosts) {
  while (!hosts.empty()) {
    const std::string_view host = hosts.substr(0, hosts.find(','));
    const std::size_t colon = host.find(':', host.find(']') == std::string_view::npos ? 0 : host.find(']'));
    if (colon != std::string_view::npos && host.find_first_not_of("0123456789", colon + 1) != std::string_view::npos)
      return false;
    hosts.remove_prefix(std::min(host.size() + 1, hosts.size()));
  }
  return true;
}

}  // namespace

bool isStoreAddress(std::string_view path) { return beginsWith(path, schemes[0]) || beginsWith(path, schemes[1]); }

bool isPlainAddress(const std::string& address) {
  const std::string_view text = address;
  const Parts parts(text);
  return text.substr(parts.hostsEnd, parts.pathEnd - parts.hostsEnd).find('@') == std::string_view::npos &&
         havePorts(text.substr(parts.hosts, parts.hostsEnd - parts.hosts));
}

std::string shownStore(const std::string& path) {
  if (!isStoreAddress(path)) return path;
  std::string shown = path;
  const Parts parts(path);
  const std::size_t password = path.find(':', parts.begin);
  if (!isPlainAddress(path) && password != std::string::npos)
    return shown.replace(password + 1, std::string::npos, "...");
  if (password < parts.hosts) shown.replace(password + 1, parts.hosts - 1 - (password + 1), "...");
  hideParameter(shown);
  return shown;
}

}  // namespace ps::detail
