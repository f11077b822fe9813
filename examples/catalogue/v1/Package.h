#pragma once

#include <pstyped.h>

#include <cstdint>
#include <string_view>

// A package, as the first version of the catalogue keeps it.
class Package : public psObj {
  PS_PERSISTENT_CLASS(Package, psObj, 20301)
  PS_FIELDS(name_, section_, description_, kilobytes_, isEssential_)

 public:
  Package(std::string_view name, std::string_view section, std::string_view summary, std::int64_t bytes,
          std::string_view)
      : name_(name), section_(section), description_(summary), kilobytes_(static_cast<int>(bytes / 1024)) {}

  std::string_view name() const { return name_.view(); }
  std::string_view section() const { return section_.view(); }
  std::string_view summary() const { return description_.view(); }
  std::string_view priority() const { return "not kept by this version"; }
  std::int64_t bytes() const { return std::int64_t{kilobytes_} * 1024; }

 private:
  ps::String name_;
  ps::String section_;
  ps::String description_;
  int kilobytes_ = 0;
  bool isEssential_ = false;
};
