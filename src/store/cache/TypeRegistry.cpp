#include "store/cache/TypeRegistry.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "store/StoreError.h"

namespace ps::detail {

TypeRegistry& TypeRegistry::instance() {
  // Function-local and never destroyed: classes of other libraries register before and after any static object of ours.
  static TypeRegistry* const registry = new TypeRegistry;
  return *registry;
}

void TypeRegistry::add(ClassInfo info) {
  std::string complaint;
  {
    const std::unique_lock<std::shared_mutex> lock(mutex_);
    const auto found = classes_.find(info.number);
    if (found == classes_.end()) {
      const unsigned int number = info.number;
      classes_.emplace(number, std::make_unique<ClassInfo>(std::move(info)));
      return;
    }
    const ClassInfo& known = *found->second;
    if (known.name == info.name && known.size == info.size && known.base == info.base) return;
    complaint = "class number " + std::to_string(info.number) + " is claimed by both " + known.name + " and " +
                info.name + "; give one of them another number";
    if (!initialized_ && conflict_.empty()) conflict_ = complaint;
  }
  signalStoreError({psErrorKind::usage, complaint});
}

void TypeRegistry::adopt(unsigned int number, std::uint64_t virtualTable) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  const auto found = classes_.find(number);
  if (found != classes_.end() && found->second->virtualTable == 0) found->second->virtualTable = virtualTable;
}

void TypeRegistry::addArray(unsigned int number, std::uint32_t offset) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  const auto found = classes_.find(number);
  if (found == classes_.end()) return;
  std::vector<std::uint32_t>& offsets = found->second->arrayOffsets;
  if (std::find(offsets.begin(), offsets.end(), offset) == offsets.end()) offsets.push_back(offset);
}

const ClassInfo* TypeRegistry::find(unsigned int number) const {
  const std::shared_lock<std::shared_mutex> lock(mutex_);
  const auto found = classes_.find(number);
  return found == classes_.end() ? nullptr : found->second.get();
}

bool TypeRegistry::isKindOf(unsigned int number, unsigned int base) const {
  while (number != base) {
    const ClassInfo* const info = find(number);
    if (info == nullptr || info->number == psObj::pstTypeN) return false;
    number = info->base;
  }
  return true;
}

void TypeRegistry::initialize() {
  // Whoever comes second waits until the classes are ready.
  const std::lock_guard<std::mutex> turn(initializing_);
  std::vector<void (*)()> functions;
  {
    const std::unique_lock<std::shared_mutex> lock(mutex_);
    initialized_ = true;
    functions.swap(waiting_);
  }
  for (void (*const function)() : functions) function();
}

void TypeRegistry::addInitializer(void (*function)()) {
  {
    const std::unique_lock<std::shared_mutex> lock(mutex_);
    if (!initialized_) {
      waiting_.push_back(function);
      return;
    }
  }
  function();
}

std::string TypeRegistry::conflict() const {
  const std::shared_lock<std::shared_mutex> lock(mutex_);
  return conflict_;
}

}  // namespace ps::detail
