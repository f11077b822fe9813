#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <string>

// A paragraph of a list of packages in Debian's format, such as /var/lib/dpkg/status.
struct ListedPackage {
  std::string name;
  std::string section;
  std::string summary;
  std::string priority;
  std::int64_t bytes = 0;
};

// Calls visit for each paragraph that names a package.
void readPackageList(std::istream& list, const std::function<void(const ListedPackage&)>& visit);
