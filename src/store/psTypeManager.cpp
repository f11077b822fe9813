#include "store/psTypeManager.h"

#include <cstring>

#include "store/cache/TypeRegistry.h"
#include "store/pstVArray.h"

using ps::detail::ClassInfo;
using ps::detail::TypeRegistry;

void ptmRegisterClass(unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
                      psRelocation relocation) {
  ClassInfo info;
  info.number = typeN;
  info.name = name;
  info.base = baseTypeN;
  info.size = static_cast<std::uint32_t>(size);
  info.relocation = relocation;
  TypeRegistry::instance().add(std::move(info));
}

int ptmIsKindOf(unsigned int typeN, unsigned int baseTypeN) {
  return TypeRegistry::instance().isKindOf(typeN, baseTypeN) ? 1 : 0;
}

void ptmStealVtbls(unsigned int typeN, psObj* prototype) {
  std::uint64_t virtualTable = 0;
  std::memcpy(&virtualTable, static_cast<const void*>(prototype), sizeof virtualTable);
  TypeRegistry::instance().adopt(typeN, virtualTable);
}

int ptmAddToVTableInitList(void (*function)()) {
  TypeRegistry::instance().addInitializer(function);
  return 1;
}

// Touching the registry here creates it before the first class of the source file registers.
pstProcessInitTermClass::pstProcessInitTermClass() { TypeRegistry::instance(); }

namespace ps::detail {

namespace {

struct PrototypeRange {
  unsigned int typeN;
  std::uintptr_t begin;
  std::size_t size;
};

thread_local PrototypeRange currentPrototype{0, 0, 0};

}  // namespace

PrototypeScope::PrototypeScope(unsigned int typeN, const void* prototype, std::size_t size) {
  currentPrototype = {typeN, reinterpret_cast<std::uintptr_t>(prototype), size};
}

PrototypeScope::~PrototypeScope() { currentPrototype = {0, 0, 0}; }

void noteArrayConstruction(const void* array) {
  const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(array) - currentPrototype.begin;
  if (offset < currentPrototype.size) {
    TypeRegistry::instance().addArray(currentPrototype.typeN, static_cast<std::uint32_t>(offset));
  }
}

}  // namespace ps::detail
