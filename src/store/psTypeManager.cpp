#include "store/psTypeManager.h"

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

void addLibraryClass(unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
                     psRelocation relocation, std::size_t alignment) {
  add(TypeRegistry::Owner::library, typeN, name, baseTypeN, size, relocation, alignment);
}

void noteArrayConstruction(const void* array) {
  if (PS_UNLIKELY(currentScope != nullptr)) currentScope->note(array);
}

}  // namespace ps::detail
