#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

#include "store/base/ClassNumbers.h"
#include "store/base/psExport.h"
#include "store/base/psObj.h"
#include "store/base/psRelocation.h"
#include "store/schema/FieldTable.h"
#include "store/schema/OrderShape.h"

class psOldObject;

// What the store knows of the persistent classes of this process.

// Makes an application's class known. size and alignment are those of its objects, in bytes. A number that another
// class has, or that is not for applications, is refused: the error is signalled, and psSession::open then fails with
// it.
PS_API void ptmRegisterClass(unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
                             psRelocation relocation, std::size_t alignment = alignof(void*));

// Non-zero when class typeN is class baseTypeN or derives from it.
PS_API int ptmIsKindOf(unsigned int typeN, unsigned int baseTypeN);

// Adopts the prototype's virtual table for all objects of class typeN that are read from storage.
PS_API void ptmStealVtbls(unsigned int typeN, psObj* prototype);

// Queues a function that the store calls when it sets up its virtual tables, when the first session opens. A function
// that is added later is called at once. Always returns 1.
PS_API int ptmAddToVTableInitList(void (*function)());

// Each source file of a persistent class has one static object of this class.
class PS_API pstProcessInitTermClass {
 public:
  pstProcessInitTermClass();
};

namespace ps::detail {

// Notes which arrays are constructed inside a prototype while the scope lives, and so where the class has its arrays.
// Arrays that have elements from the start keep them on the heap. The scope frees them, since the prototype is not
// destroyed.
class PS_API PrototypeScope {
 public:
  PrototypeScope(unsigned int typeN, void* prototype, std::size_t size);
  PrototypeScope(const PrototypeScope&) = delete;
  PrototypeScope& operator=(const PrototypeScope&) = delete;
  ~PrototypeScope();

  PS_HIDDEN void note(const void* array);

 private:
  unsigned int typeN_;
  char* prototype_;
  std::size_t size_;
  std::vector<std::size_t> arrays_;
};

// Constructs a prototype in memory that is filled with a byte. What the constructor does not set keeps the byte: the
// compiler must not know that nobody may rely on that.
template <class T>
psObj* makePrototype(unsigned char* memory, int fill) {
  std::memset(memory, fill, sizeof(T));
  asm volatile("" : : "r"(memory) : "memory");
  PrototypeScope scope(T::pstTypeN, memory, sizeof(T));
  psObj* const prototype = ::new (static_cast<void*>(memory)) T(psInternalObj());
  asm volatile("" : : "r"(memory) : "memory");
  return prototype;
}

// Takes the bytes of an object of which nothing is set, for objects that get fields. Compares them with those of one
// that was made in other memory: what the constructor has set outside the described fields was forgotten.
// psSession::open then fails.
PS_API void adoptInitial(unsigned int typeN, const unsigned char* initial, const unsigned char* other);

// Constructs a prototype of T in this frame and lets the store adopt its virtual table. The prototype is never
// destroyed: its destructor would take it for an object of the store.
template <class T>
void adoptPrototype() {
  alignas(T) unsigned char memory[sizeof(T)];
  ptmStealVtbls(T::pstTypeN, makePrototype<T>(memory, 0));
  if constexpr (hasDescription<T>()) {
    alignas(T) unsigned char other[sizeof(T)];
    makePrototype<T>(other, 0xFF);
    adoptInitial(T::pstTypeN, memory, other);
  }
}

// Makes the version and the fields of a class known, and those of its bases.
PS_API void describeClass(unsigned int typeN, std::uint32_t version, const std::vector<LevelDescription>& levels);

template <class T>
void describe(std::uint32_t version) {
  std::vector<LevelDescription> levels;
  describeLevels<T>(levels);
  describeClass(T::pstTypeN, version, levels);
}

// Makes known what a comparator orders by, before objects of its class are read or written.
PS_API void describeOrder(unsigned int typeN, const OrderShape& order);

template <class T>
void registerClass(const char* name, psRelocation relocation) {
  static_assert(T::pstTypeN > psHighestLibraryTypeN && T::pstTypeN <= psHighestTypeN,
                "an application's classes have numbers from 10000 to 2147483647");
  static_assert(alignof(T) <= 16, "objects are aligned to 16 bytes in the store");
  ptmRegisterClass(T::pstTypeN, name, T::psBase::pstTypeN, sizeof(T), relocation, alignof(T));
}

// The same for a class of the library.
void addLibraryClass(unsigned int typeN, const char* name, unsigned int baseTypeN, std::size_t size,
                     psRelocation relocation, std::size_t alignment);
template <class T>
void registerLibraryClass(const char* name, psRelocation relocation) {
  addLibraryClass(T::pstTypeN, name, T::psBase::pstTypeN, sizeof(T), relocation, alignof(T));
}

template <class T, void (*Register)(const char*, psRelocation) = &registerClass<T>>
class ClassRegistration {
 public:
  explicit ClassRegistration(const char* name, std::uint32_t version = 0) {
    Register(name, psRelocation::allowed);
    describe<T>(version);
    if constexpr (!std::is_abstract_v<T>) ptmAddToVTableInitList(&adoptPrototype<T>);
  }
};

// Makes a function known that converts objects of one version of a class for the next.
PS_API void addConversion(unsigned int typeN, std::uint32_t from,
                          void (*run)(const psOldObject& old, void* now, void (*function)()), void (*function)());

template <class T>
class ConversionRegistration {
 public:
  using Function = void (*)(const psOldObject& old, T& now);

  ConversionRegistration(std::uint32_t from, Function function) {
    addConversion(T::pstTypeN, from, &run, reinterpret_cast<void (*)()>(function));
  }

 private:
  static void run(const psOldObject& old, void* now, void (*function)()) {
    reinterpret_cast<Function>(function)(old, *static_cast<T*>(now));
  }
};

}  // namespace ps::detail
