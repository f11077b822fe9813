#include "PackageList.h"

#include <cstdlib>

namespace {

void take(const std::string& field, const std::string& value, ListedPackage& package) {
  if (field == "Package") package.name = value;
  if (field == "Section") package.section = value;
  if (field == "Description") package.summary = value;
  if (field == "Priority") package.priority = value;
  if (field == "Installed-Size") package.bytes = 1024 * std::strtoll(value.c_str(), nullptr, 10);
}

}  // namespace

void readPackageList(std::istream& list, const std::function<void(const ListedPackage&)>& visit) {
  ListedPackage package;
  for (std::string line; std::getline(list, line) || !package.name.empty(); line.clear()) {
    if (line.empty()) {
      if (!package.name.empty()) visit(package);
      package = ListedPackage();
      continue;
    }
    const std::size_t colon = line.find(": ");
    if (line[0] != ' ' && colon != std::string::npos) take(line.substr(0, colon), line.substr(colon + 2), package);
  }
}
