#include "store/cache/TypeRegistry.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>
#include <utility>

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

std::string_view unqualified(std::string_view name) {
  const std::size_t scope = name.substr(0, name.find('<')).rfind("::");
  return scope == std::string_view::npos ? name : name.substr(scope + 2);
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
  if (known.isOfProgram() != info.isOfProgram()) {
    return "class number " + number + ", which " + info.name +
           " has, is known in this process by what a store says of it; look at stores without their classes in " +
           "another process";
  }
  if (known.name == info.name && known.size == info.size && known.base == info.base) return {};
  return "class number " + number + " is claimed by both " + known.name + " and " + info.name +
         "; give one of them another number";
}

// The lock is held.
ClassInfo* TypeRegistry::known(unsigned int number) { return tables_.empty() ? nullptr : tables_.back()->find(number); }

void TypeRegistry::adopt(unsigned int number, const psObj* prototype) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = known(number);
  if (info == nullptr || info->virtualTable != 0) return;
  std::memcpy(&info->virtualTable, static_cast<const void*>(prototype), sizeof(std::uint64_t));
  info->type = &typeid(*prototype);
}

void TypeRegistry::addArray(unsigned int number, std::uint32_t offset) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = known(number);
  if (info == nullptr) return;
  std::vector<std::uint32_t>& offsets = info->arrayOffsets;
  if (std::find(offsets.begin(), offsets.end(), offset) == offsets.end()) offsets.push_back(offset);
}

void TypeRegistry::describe(unsigned int number, std::vector<ClassLevel> levels,
                            std::vector<StructureArray> structureArrays) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = known(number);
  if (info == nullptr || !info->levels.empty()) return;
  info->levels = std::move(levels);
  info->structureArrays = std::move(structureArrays);
}

void TypeRegistry::describeOrder(unsigned int number, OrderShape order) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = known(number);
  if (info != nullptr && info->order.keys.empty()) info->order = std::move(order);
}

void TypeRegistry::adoptInitial(unsigned int number, const unsigned char* initial, const unsigned char* other) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  ClassInfo* const info = known(number);
  if (info == nullptr || !info->initial.empty()) return;
  std::vector<bool> isCovered(info->size, false);
  info->initial.assign(reinterpret_cast<const char*>(initial), info->size);
  std::fill_n(isCovered.begin(), sizeof(void*), true);
  for (const ClassLevel& level : info->levels) {
    for (const FieldShape& field : level.fields) std::fill_n(isCovered.begin() + field.offset, field.bytes(), true);
  }
  for (std::uint32_t i = 0; i < info->size; ++i) {
    if (isCovered[i] || initial[i] != other[i] || !conflict_.empty()) continue;
    conflict_ = "class " + info->name + " (number " + std::to_string(number) + ") sets a member at offset " +
                std::to_string(i) + " that its PS_FIELDS does not name; add it there";
  }
}

void TypeRegistry::addConversion(unsigned int number, const Conversion& conversion) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  std::vector<Conversion>& conversions = conversions_[number];
  const auto place = std::lower_bound(conversions.begin(), conversions.end(), conversion,
                                      [](const Conversion& a, const Conversion& b) { return a.from < b.from; });
  const bool isKnown = place != conversions.end() && place->from == conversion.from;
  if (!isKnown) conversions.insert(place, conversion);
}

void TypeRegistry::addElements(const Structure& structure) {
  const std::unique_lock<std::shared_mutex> lock(mutex_);
  const auto same = elements_.equal_range(structure.name);
  const bool isKnown =
      std::any_of(same.first, same.second, [&](const auto& element) { return element.second == &structure; });
  if (isKnown) return;
  elements_.emplace(structure.name, &structure);
  for (const std::string& former : namesIn(structure.version.formerNames)) elements_.emplace(former, &structure);
}

NewLayout TypeRegistry::layoutOf(const ClassInfo& info) const {
  const std::shared_lock<std::shared_mutex> lock(mutex_);
  NewLayout layout;
  layout.initial = info.initial;
  if (!info.isOfProgram()) {
    layout.shape = *info.stored;
    return layout;
  }
  layout.shape.size = info.size;
  layout.shape.alignment = info.alignment;
  layout.shape.base = info.base;
  layout.shape.levels = info.levels;
  if (layout.shape.levels.empty()) layout.shape.levels.push_back({info.number, 0, {}});
  for (ClassLevel& level : layout.shape.levels) {
    const ClassInfo* const base = find(level.number);
    if (base != nullptr && !base->levels.empty()) level.version = base->levels.front().version;
  }
  layout.shape.order = info.order;
  if (const auto conversions = conversions_.find(info.number); conversions != conversions_.end())
    layout.conversions = conversions->second;
  return layout;
}

NewLayout layoutOfElements(const Structure& structure) {
  NewLayout layout;
  layout.shape.size = structure.size;
  layout.shape.alignment = structure.alignment;
  layout.shape.levels.push_back({storageType, 0, {FieldShape(structure)}});
  layout.initial.assign(structure.size, '\0');
  structure.initialize(layout.initial.data());
  return layout;
}

std::vector<const Structure*> TypeRegistry::elementsNamed(std::string_view structure) const {
  const std::shared_lock<std::shared_mutex> lock(mutex_);
  const auto same = elements_.equal_range(structure);
  std::vector<const Structure*> found;
  std::transform(same.first, same.second, std::back_inserter(found),
                 [](const auto& element) { return element.second; });
  return found;
}

std::vector<const ClassInfo*> TypeRegistry::all() const {
  const std::shared_lock<std::shared_mutex> lock(mutex_);
  std::vector<const ClassInfo*> infos;
  for (const std::unique_ptr<ClassInfo>& info : classes_) infos.push_back(info.get());
  return infos;
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
  {
    const std::unique_lock<std::shared_mutex> lock(mutex_);
    initialized_ = true;
  }
  // From now on nothing is added to those that wait. When there is no memory for one, the next call goes on with it.
  for (; ran_ < waiting_.size(); ++ran_) waiting_[ran_]();
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
