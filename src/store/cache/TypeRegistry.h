#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/psTypeManager.h"

namespace ps::detail {

// What is known of one persistent class.
struct ClassInfo {
  unsigned int number = 0;
  std::string name;
  unsigned int base = 0;
  std::uint32_t size = 0;
  psRelocation relocation = psRelocation::allowed;
  std::uint64_t virtualTable = 0;           // the first word of its objects; 0 while no prototype was seen
  std::vector<std::uint32_t> arrayOffsets;  // where its pstVArrays lie
};

// The persistent classes of the process. Classes are added while libraries load and never change afterwards, so a
// pointer that find gave stays good. Used from several threads.
class TypeRegistry {
 public:
  static TypeRegistry& instance();

  void add(ClassInfo info);
  void adopt(unsigned int number, std::uint64_t virtualTable);
  void addArray(unsigned int number, std::uint32_t offset);

  const ClassInfo* find(unsigned int number) const;
  bool isKindOf(unsigned int number, unsigned int base) const;

  // Runs the functions that wait to set up virtual tables, and from then on each new one at once.
  void initialize();
  void addInitializer(void (*function)());

  // A sentence about the first number that two classes claimed; empty when there is none.
  std::string conflict() const;

 private:
  std::mutex initializing_;
  mutable std::shared_mutex mutex_;  // guards the rest
  std::unordered_map<unsigned int, std::unique_ptr<ClassInfo>> classes_;
  std::vector<void (*)()> waiting_;
  bool initialized_ = false;
  std::string conflict_;
};

// Finds classes, and begins with the one found last: neighbours are mostly of one class.
class ClassLookup {
 public:
  const ClassInfo* operator()(unsigned int number) {
    if (info_ == nullptr || info_->number != number) info_ = TypeRegistry::instance().find(number);
    return info_;
  }

 private:
  const ClassInfo* info_ = nullptr;
};

}  // namespace ps::detail
