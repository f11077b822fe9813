#include "store/cache/TypeRegistry.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace ps::detail {

bool isOfRegisteredType(const ClassInfo& info, const void* object) {
  // An object whose deletion failed halfway has none where a sanitizer clears it in the destructor.
  std::uintptr_t virtualTable = 0;
  std::memcpy(&virtualTable, object, sizeof virtualTable);
  if (virtualTable == 0) return true;
  return info.type == nullptr || typeid(*static_cast<const psObj*>(object)) == *info.type;
}

std::string complaintAbout(const ClassInfo& info, const void* object) {
  const char* const encoded = typeid(*static_cast<const psObj*>(object)).name();
  const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(encoded, nullptr, nullptr, nullptr), std::free);
  return "an object of class " + std::string(name != nullptr ? name.get() : encoded) +
         " would be stored as one of class " + info.name + " (number " + std::to_string(info.number) +
         "); give the class a PS_PERSISTENT_CLASS and a number of its own";
}

TypeRegistry& TypeRegistry::instance() {
  // Function-local and never destroyed: classes of other libraries register before and after any static object of ours.
  static TypeRegistry* const registry = new TypeRegistry;
  return *registry;
}

std::string TypeRegistry::add(ClassInfo info, Owner owner) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  std::string complaint = refusal(info, owner);
  if (complaint.empty()) {
    if (find(info.number) == nullptr)
      publish(classes_.emplace_back(std::make_unique<ClassInfo>(std::move(info))).get());
  } else if (!initialized_ && conflict_.empty()) {
    conflict_ = complaint;
  }
  return complaint;
}

// Why a class cannot be added; empty when it can, or is there already.
std::string TypeRegistry::refusal(const ClassInfo& info, Owner owner) const {
  const std::string number = std::to_string(info.number);
  if (owner == Owner::application && (info.number <= psHighestLibraryTypeN || info.number > psHighestTypeN)) {
    return "class " + info.name + " has the number " + number + "; an application's classes have numbers from " +
           std::to_string(psHighestLibraryTypeN + 1) + " to " + std::to_string(psHighestTypeN);
  }
  const ClassInfo* const found = find(info.number);
  if (found == nullptr) return {};
  const ClassInfo& known = *found;
  if (known.name == info.name && known.size == info.size && known.base == info.base) return {};
  return "class number " + number + " is claimed by both " + known.name + " and " + info.name +
         "; give one of them another number";
}

void TypeRegistry::adopt(unsigned int number, const psObj* prototype) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = tables_.empty() ? nullptr : tables_.back()->find(number);
  if (info == nullptr || info->virtualTable != 0) return;
  std::memcpy(&info->virtualTable, static_cast<const void*>(prototype), sizeof(std::uint64_t));
  info->type = &typeid(*prototype);
}

void TypeRegistry::addArray(unsigned int number, std::uint32_t offset) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = tables_.empty() ? nullptr : tables_.back()->find(number);
  if (info == nullptr) return;
  std::vector<std::uint32_t>& offsets = info->arrayOffsets;
  if (std::find(offsets.begin(), offsets.end(), offset) == offsets.end()) offsets.push_back(offset);
}

const ClassInfo* TypeRegistry::find(unsigned int number) const {
  const Table* const table = table_.load(std::memory_order_acquire);
  return table != nullptr ? table->find(number) : nullptr;
}

std::size_t TypeRegistry::Table::slotOf(unsigned int number) const {
  std::size_t slot = number & (slots_.size() - 1);
  for (;; slot = (slot + 1) & (slots_.size() - 1)) {
    const ClassInfo* const info = slots_[slot].load(std::memory_order_acquire);
    if (info == nullptr || info->number == number) return slot;
  }
}

ClassInfo* TypeRegistry::Table::find(unsigned int number) const {
  return slots_[slotOf(number)].load(std::memory_order_acquire);
}

void TypeRegistry::Table::add(ClassInfo* info) {
  slots_[slotOf(info->number)].store(info, std::memory_order_release);
  ++count_;
}

// Lets find see a class. The lock is held.
void TypeRegistry::publish(ClassInfo* info) {
  constexpr std::size_t firstSize = 256;
  if (!tables_.empty() && !tables_.back()->isHalfFull()) return tables_.back()->add(info);
  auto larger = std::make_unique<Table>(tables_.empty() ? firstSize : 2 * tables_.back()->size());
  for (const std::unique_ptr<ClassInfo>& known : classes_) larger->add(known.get());
  table_.store(tables_.emplace_back(std::move(larger)).get(), std::memory_order_release);
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
  // A second caller waits until the classes are ready.
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

void TypeRegistry::lockForFork() {
  initializing_.lock();
  mutex_.lock();
}

void TypeRegistry::unlockAfterFork(bool inChild) {
  if (inChild) {
    // The lock knows its owner by the thread's number, which differs in the child.
    ::new (static_cast<void*>(&mutex_)) std::shared_mutex;
  } else {
    mutex_.unlock();
  }
  initializing_.unlock();
}

std::string TypeRegistry::conflict() const {
  const std::shared_lock<std::shared_mutex> lock(mutex_);
  return conflict_;
}

}  // namespace ps::detail
