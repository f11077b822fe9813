#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <vector>

#include "store/base/ClassNumbers.h"
#include "store/base/psExport.h"
#include "store/base/psObj.h"
#include "store/base/psRelocation.h"

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

// Constructs a prototype of T in this frame and lets the store adopt its virtual table. The prototype is never
// destroyed: its destructor would take it for an object of the store.
template <class T>
void adoptPrototype() {
  alignas(T) unsigned char scratch[sizeof(T)] = {};
  PrototypeScope scope(T::pstTypeN, scratch, sizeof(T));
  ptmStealVtbls(T::pstTypeN, ::new (static_cast<void*>(scratch)) T(psInternalObj()));
}

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
  explicit ClassRegistration(const char* name) {
    Register(name, psRelocation::allowed);
    if constexpr (!std::is_abstract_v<T>) ptmAddToVTableInitList(&adoptPrototype<T>);
  }
};

}  // namespace ps::detail
