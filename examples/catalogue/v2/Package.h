#pragma once

#include <pstyped.h>

#include <cstdint>
#include <string_view>

// A package, as the second version of the catalogue keeps it: sizes are in bytes, the description is called a summary,
// there is a priority, and nobody asked whether a package is essential.
class Package : public psObj {
  PS_PERSISTENT_CLASS(Package, psObj, 20301)
  PS_FIELDS(priority_, name_, section_, PS_RENAMED(summary_, "description_"), bytes_)

 public:
  Package(std::string_view name, std::string_view section, std::string_view summary, std::int64_t bytes,
          std::string_view priority)
      : name_(name), section_(section), summary_(summary), bytes_(bytes) {
    priority.copy(priority_, sizeof priority_ - 1);
    priority_[std::min(priority.size(), sizeof priority_ - 1)] = '\0';
  }

  std::string_view name() const { return name_.view(); }
  std::string_view section() const { return section_.view(); }
  std::string_view summary() const { return summary_.view(); }
  std::string_view priority() const { return priority_; }
  std::int64_t bytes() const { return bytes_; }

 private:
  friend void convertToBytes(const psOldObject& old, Package& now);

  char priority_[12] = "unknown";
  ps::String name_;
  ps::String section_;
  ps::String summary_;
  std::int64_t bytes_ = 0;
};
