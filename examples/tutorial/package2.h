#pragma once

#include <pstyped.h>

#include <iostream>

class Package : public psObj {
  PS_PERSISTENT_CLASS(Package, psObj, 20401)
  PS_FIELDS(PS_RENAMED(title, "name"), section, summary, size, isEssential)

 public:
  Package(std::string_view itsTitle, std::string_view itsSection, std::string_view itsSummary, std::int64_t itsSize)
      : title(itsTitle), section(itsSection), summary(itsSummary), size(itsSize) {}

  std::int64_t bytes() const { return size; }

  ps::String title, section, summary;  // title was called name
  std::int64_t size;                   // in bytes; there was an int, kilobytes
  bool isEssential = false;            // is new
};
PS_REGISTER_CLASS_VERSION(Package, 1)
PS_CLASS_CONVERSION(Package, 0,
                    [](const psOldObject& old, Package& now) { now.size = old.get<std::int64_t>("kilobytes") * 1024; })

PS_ORDER(ByName, 20402, &Package::title)
PS_ORDER(BySection, 20403, &Package::section, ps::descending(&Package::bytes), &Package::title)
using Names = ps::SortedSet<Package, ByName>;

inline void print(const Package& package) { std::cout << package.title << ", " << package.bytes() << " bytes\n"; }
