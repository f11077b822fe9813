#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "store/base/psError.h"
#include "store/base/psExport.h"
#include "store/cache/StorageRows.h"
#include "store/pstHandle.h"
#include "store/schema/FieldTable.h"
#include "store/session/Opening.h"
#include "store/session/UseChecks.h"

// The primitives of pstVArray. array is the address of the 8 bytes of a pstVArray. Inside the store they are the
// identifier of its storage, elsewhere the address of its heap block. Sizes are in elements and bytes. Results are 1 or
// 0.

// Whether the address lies in the store's memory. The address may be invalid.
PS_API int pstIsStorePers(const void* address);
// Allocates zeroed storage for an array of the store that has no storage.
PS_API int pstNewVArray(void* array, unsigned int n, unsigned int elementSize);
// Changes the number of elements. New elements are zero; 0 elements free the storage. The array must be open for
// update.
PS_API int pstResizeVArray(void* array, unsigned int n, unsigned int elementSize);
PS_API int pstResizeHeapVArray(void* array, unsigned int oldN, unsigned int newN, unsigned int elementSize);
// The first element of an array of the store; null when it has no storage or the storage cannot be read.
PS_API void* pstOpenVArray(const void* array);
// Opens the storage for update. Also opens the object that the array is part of, since the array's 8 bytes or the
// fields beside it may change too.
PS_API int pstUpdateVArray(void* array);
// Frees the storage, in the store or on the heap.
PS_API void pstDeleteVArray(void* array);
PS_API void* pstMalloc(unsigned int size);
PS_API void pstFree(void* memory);

// The dummy element that a failed element access returns: 64 zero bytes, set to zero again each time. Larger elements
// have a dummy of their own size, one for each type.
PS_API extern void* const povDummyArrayPtr;

namespace ps::detail {

// Space for the element count before the elements of a heap array, which keeps the elements aligned.
constexpr std::size_t heapArrayHeader = 16;

constexpr std::size_t dummyElementSize = 64;

// Tells the type manager that an array is being constructed, in case it belongs to a prototype.
PS_API void noteArrayConstruction(const void* array);

// Gives an array of the store that is open for update other storage, with rows behind its n elements, which are
// references. Elements that it has are kept; their addresses end. 1 on success; 0 when there is no room, or when the
// array is too large for rows.
int provideRows(void* array, unsigned int n, Rows rows);

// Says in the store what the elements of an array of the store are, so that they can be read when the structure has
// changed. array is the address of the 8 bytes of a pstVArray that has just been given storage.
PS_API void nameElements(void* array, const Structure& elements);

// Makes known that the program has arrays of these structures.
PS_API void describeElements(const Structure& elements);
template <class T>
struct ElementRegistration {
  ElementRegistration() { describeElements(DescribedStructure<T>::value); }
};
template <class T>
inline const ElementRegistration<T> elementRegistration;

PS_API void signalArrayBound(unsigned int size, unsigned int index);
PS_API void signalArrayUpdate();
PS_API void* cleanDummyElement();

}  // namespace ps::detail

// A variable-size array of flat elements (numbers, references) inside a persistent object. Outside the store it is an
// ordinary heap array. It takes 8 bytes of its object. The elements lie in storage of their own, in the same container,
// which is deleted with the object.
//
// An array can be read while its object is open. Before you write elements, update() must have returned 1; resize and
// extend call it themselves. The address of an element is valid until the array is resized, and at least until 16
// further pages have been loaded. A handle to the array's object does not pin the storage.
template <class T>
class pstVArray {
  static_assert(std::is_trivially_copyable_v<T>, "elements are stored as their bytes");
  static_assert(alignof(T) <= 16, "storage is aligned to 16 bytes");

 public:
  pstVArray() { ps::detail::noteArrayConstruction(this); }

  // An array of n zero elements (null references). It is empty when the store cannot allocate the storage.
  explicit pstVArray(unsigned int n) {
    ps::detail::noteArrayConstruction(this);
    pehSessionDataGetFunction()->operation = "psVArray(type)::psVArrayStructor(type)(<initSize>)";
    if (isPersistent()) {
      pstNewVArray(this, n, sizeof(T));
      nameElements();
    } else {
      pstResizeHeapVArray(this, 0, n, sizeof(T));
    }
  }
  pstVArray(const pstVArray&) = delete;
  pstVArray& operator=(const pstVArray&) = delete;
  ~pstVArray() {
    if (word_ == 0) return;
    pehSessionDataGetFunction()->operation = "psVArray(type)::~psVArrayStructor(type)()";
    pstDeleteVArray(this);
  }

  // 0 for an array that was never allocated, and for one whose storage cannot be read.
  unsigned int size() const {
    if (word_ == 0) return 0;
    if (isPersistent()) {
      const void* const storage = ps::detail::residentStorage(storageId());
      return storage != nullptr ? ps::detail::headerOf(storage)->size / static_cast<unsigned int>(sizeof(T)) : 0;
    }
    unsigned int n = 0;
    std::memcpy(&n, heapBlock(), sizeof n);
    return n;
  }

  // 1 when the array now has n elements.
  [[nodiscard]] int resize(unsigned int n) {
    pehSessionDataGetFunction()->operation = "psVArray(type)::resize()";
    return resizeTo(n);
  }

  // Appends a copy of value, which may be an element of this array; 1 on success.
  [[nodiscard]] int extend(const T& value) {
    pehSessionDataGetFunction()->operation = "psVArray(type)::extend()";
    const T copy = value;
    const unsigned int n = size();
    if (resizeTo(n + 1) != 1) return 0;
    *elem(n) = copy;
    return 1;
  }

  // The address of element i, unchecked.
  T* elem(unsigned int i) { return head() + i; }
  const T* elem(unsigned int i) const { return head() + i; }

  // Element i, checked. A wrong index is signalled, and the dummy element is returned.
  T& operator[](unsigned int i) { return checked(i); }
  const T& operator[](unsigned int i) const { return checked(i); }

  // Stores value at i, checked. Opens the array for update first. 1 on success.
  [[nodiscard]] int iset(unsigned int i, const T& value) {
    pehSessionDataGetFunction()->operation = "psVArray(type)::set()";
    const T copy = value;
    if (!isWithin(i) || update() != 1) return 0;
    *elem(i) = copy;
    return 1;
  }

  // Opens the array for update, together with the object that it is part of. 1 on success, and for an array on the
  // heap. 0, with psteUpdateVArray signalled, when the store refuses.
  [[nodiscard]] int update() {
    if (!isPersistent()) return 1;
    if (pstUpdateVArray(this) == 1) return 1;
    ps::detail::signalArrayUpdate();
    return 0;
  }

  // The same at less cost, when the object that the array is part of is already open for update.
  [[nodiscard]] int updateWithin() {
    return word_ != 0 && isPersistent() && PS_LIKELY(ps::detail::isResidentForUpdate(storageId())) ? 1 : update();
  }

  // The first element; null for an array that was never allocated.
  T* head() { return elements(); }
  const T* head() const { return elements(); }

 private:
  bool isPersistent() const {
    if (ps::detail::isChecked) ps::detail::checkMemoryInUse(this);
    return ps::detail::isInArena(this);
  }

  psId storageId() const {
    psId id;
    std::memcpy(static_cast<void*>(&id), &word_, sizeof id);
    return id;
  }
  T* elements() const {
    if constexpr (ps::detail::isDescribed<T>) static_cast<void>(&ps::detail::elementRegistration<T>);
    if (word_ == 0) return nullptr;
    if (isPersistent()) return static_cast<T*>(ps::detail::residentStorage(storageId()));
    return reinterpret_cast<T*>(heapBlock() + ps::detail::heapArrayHeader);
  }
  char* heapBlock() const { return reinterpret_cast<char*>(static_cast<std::uintptr_t>(word_)); }

  T& checked(unsigned int i) const {
    pehSessionDataGetFunction()->operation = "psVArray(type)::operator[]";
    return isWithin(i) ? elements()[i] : dummyElement();
  }

  static T& dummyElement() {
    if constexpr (sizeof(T) <= ps::detail::dummyElementSize) {
      return *static_cast<T*>(ps::detail::cleanDummyElement());
    } else {
      alignas(T) static unsigned char element[sizeof(T)];
      return *static_cast<T*>(std::memset(element, 0, sizeof element));
    }
  }

  int resizeTo(unsigned int n) {
    if (update() != 1) return 0;
    const unsigned int old = size();
    if (n == old) return 1;
    if (!isPersistent()) return pstResizeHeapVArray(this, old, n, sizeof(T));
    if (pstResizeVArray(this, n, sizeof(T)) != 1) return 0;
    nameElements();
    return 1;
  }

  void nameElements() {
    if constexpr (ps::detail::isDescribed<T>) {
      if (word_ != 0) ps::detail::nameElements(this, ps::detail::DescribedStructure<T>::value);
    }
  }

  bool isWithin(unsigned int i) const {
    const unsigned int n = size();
    if (PS_LIKELY(i < n)) return true;
    // Storage that cannot be read has been signalled already.
    if (n == 0 && word_ != 0) return false;
    ps::detail::signalArrayBound(n, i);
    psThrowException(pehSessionDataGetFunction());
    return false;
  }

  std::uint64_t word_ = 0;
};
