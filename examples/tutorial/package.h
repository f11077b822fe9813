#pragma once

#include <pstyped.h>

#include <iostream>

class Package : public psObj {
  PS_PERSISTENT_CLASS(Package, psObj, 20401)
  PS_FIELDS(name, section, summary, kilobytes)

 public:
  Package(std::string_view itsName, std::string_view itsSection, std::string_view itsSummary, int size)
      : name(itsName), section(itsSection), summary(itsSummary), kilobytes(size) {}

  std::int64_t bytes() const { return std::int64_t{kilobytes} * 1024; }

  ps::String name, section, summary;
  int kilobytes;
};
PS_REGISTER_CLASS(Package)

PS_ORDER(ByName, 20402, &Package::name)
PS_ORDER(BySection, 20403, &Package::section, ps::descending(&Package::bytes), &Package::name)
using Names = ps::SortedSet<Package, ByName>;
using Sections = ps::SortedSet<Package, BySection>;

inline void print(const Package& package) { std::cout << package.name << ", " << package.bytes() << " bytes\n"; }
