#include "store/psTypeManager.h"

#include <algorithm>
#include <utility>

#include "store/base/StoreError.h"
#include "store/cache/TypeRegistry.h"
#include "store/pstVArray.h"

using ps::detail::ClassInfo;
using ps::detail::TypeRegistry;

namespace {

void add(TypeRegistry::Owner owner, unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
         psRelocation relocation, std::size_t alignment) {
  ClassInfo info;
  info.number = typeN;
  info.name = name;
  info.base = baseTypeN;
  info.size = static_cast<std::uint32_t>(size);
  info.alignment = static_cast<std::uint32_t>(alignment);
  info.relocation = relocation;
  const std::string complaint = TypeRegistry::instance().add(std::move(info), owner);
  if (!complaint.empty()) ps::detail::signalStoreError({psErrorKind::usage, complaint});
}

}  // namespace

void ptmRegisterClass(unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
                      psRelocation relocation, std::size_t alignment) {
  add(TypeRegistry::Owner::application, typeN, name, baseTypeN, size, relocation, alignment);
}

int ptmIsKindOf(unsigned int typeN, unsigned int baseTypeN) {
  return TypeRegistry::instance().isKindOf(typeN, baseTypeN) ? 1 : 0;
}

void ptmStealVtbls(unsigned int typeN, psObj* prototype) { TypeRegistry::instance().adopt(typeN, prototype); }

int ptmAddToVTableInitList(void (*function)()) {
  TypeRegistry::instance().addInitializer(function);
  return 1;
}

// Touching the registry here creates it before the first class of the source file registers.
pstProcessInitTermClass::pstProcessInitTermClass() { TypeRegistry::instance(); }

namespace ps::detail {

namespace {

thread_local PrototypeScope* currentScope = nullptr;

}  // namespace

PrototypeScope::PrototypeScope(unsigned int typeN, void* prototype, std::size_t size)
    : typeN_(typeN), prototype_(static_cast<char*>(prototype)), size_(size) {
  currentScope = this;
}

PrototypeScope::~PrototypeScope() {
  currentScope = nullptr;
  for (const std::size_t offset : arrays_) pstDeleteVArray(prototype_ + offset);
}

void PrototypeScope::note(const void* array) {
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(array) - reinterpret_cast<std::uintptr_t>(prototype_);
  if (offset >= size_) return;
  arrays_.push_back(offset);
  TypeRegistry::instance().addArray(typeN_, static_cast<std::uint32_t>(offset));
}

void adoptInitial(unsigned int typeN, const unsigned char* initial, const unsigned char* other) {
  TypeRegistry::instance().adoptInitial(typeN, initial, other);
}

namespace {

void collectArrays(const Field& field, std::uint32_t offset, std::vector<StructureArray>& arrays) {
  for (std::uint32_t i = 0; i < field.count && field.structure != nullptr; ++i) {
    const std::uint32_t at = offset + field.offset + i * field.size;
    if (field.kind == FieldKind::array) {
      TypeRegistry::instance().addElements(*field.structure);
      arrays.push_back({at, field.structure});
      continue;
    }
    for (std::uint32_t part = 0; part < field.structure->count; ++part)
      collectArrays(field.structure->fields[part], at, arrays);
  }
}

FieldShape opaque(const LevelDescription& level) {
  FieldShape field;
  field.kind = FieldKind::opaque;
  field.offset = level.begin;
  field.size = level.end - level.begin;
  return field;
}

}  // namespace

void describeClass(unsigned int typeN, std::uint32_t version, const std::vector<LevelDescription>& levels) {
  const bool hasFields =
      std::any_of(levels.begin(), levels.end(), [](const LevelDescription& level) { return level.fields != nullptr; });
  std::vector<ClassLevel> known;
  std::vector<StructureArray> arrays;
  std::uint32_t end = ~std::uint32_t{0};
  for (LevelDescription level : levels) {
    ClassLevel& now = known.emplace_back();
    now.number = level.number;
    for (std::uint32_t i = 0; i < level.count; ++i) {
      collectArrays(level.fields[i], 0, arrays);
      now.fields.emplace_back(level.fields[i]);
      end = std::min(end, level.fields[i].offset);
    }
    // A derived class may begin in the tail padding of its base.
    level.end = std::min(level.end, end);
    if (hasFields && level.end > level.begin) now.fields.push_back(opaque(level));
  }
  if (!known.empty()) known.front().version = version;
  TypeRegistry::instance().describe(typeN, std::move(known), std::move(arrays));
}

void describeOrder(unsigned int typeN, const OrderShape& order) {
  TypeRegistry::instance().describeOrder(typeN, order);
}

void describeElements(const Structure& elements) { TypeRegistry::instance().addElements(elements); }

void addConversion(unsigned int typeN, std::uint32_t from,
                   void (*run)(const psOldObject& old, void* now, void (*function)()), void (*function)()) {
  TypeRegistry::instance().addConversion(typeN, {from, run, function});
}

void addLibraryClass(unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
                     psRelocation relocation, std::size_t alignment) {
  add(TypeRegistry::Owner::library, typeN, name, baseTypeN, size, relocation, alignment);
}

void noteArrayConstruction(const void* array) {
  if (PS_UNLIKELY(currentScope != nullptr)) currentScope->note(array);
}

}  // namespace ps::detail
