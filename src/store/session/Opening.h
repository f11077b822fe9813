#pragma once

#include <cstdint>

#include "store/base/ClassNumbers.h"
#include "store/base/psExport.h"
#include "store/cache/Frame.h"
#include "store/cache/StorageRows.h"

// How handles, references and arrays open what they name: inlined for what is in memory and current, out of line for
// everything rarer. Applications do not use these names.
namespace ps::detail {

// Whether T is one of the library's own classes. What is opened as such a class must be an object of it: the references
// in a collection are not the application's, and a file that nobody vouches for may have any in them. As a class of an
// application any object can be opened, since what that class refers to is the application's matter.
template <class T>
constexpr bool isOwnClass() {
  return T::pstTypeN > objectTypeN && T::pstTypeN <= psHighestLibraryTypeN;
}
// The class as which something is opened, as far as it matters.
template <class T>
constexpr unsigned int wantedTypeN() {
  return isOwnClass<T>() ? T::pstTypeN : objectTypeN;
}

// The classes that objects opened as one of T mostly have, for a test without a call. All others are looked up.
template <class T>
struct UsualClasses {
  static constexpr bool include(std::uint32_t type) { return type == T::pstTypeN; }
};

// Whether a class is another, or derives from it.
PS_API bool isOrDerivesFrom(std::uint32_t type, std::uint32_t wanted);
// The same with a look at the answer that was found last, which for comparators and the application's own collections
// is mostly the same.
inline bool isKnownToDerive(std::uint32_t type, std::uint32_t wanted) {
  return PS_LIKELY(currentSession->knownAncestry(wanted) == SessionHead::ancestry(type, wanted)) ||
         isOrDerivesFrom(type, wanted);
}

// Whether an object, or the storage of an array, may be opened as an object of class T.
template <class T>
inline bool isOpenableAs(const void* object) {
  const std::uint32_t type = headerOf(object)->type & ~namedFlag;
  if constexpr (isOwnClass<T>())
    return PS_LIKELY(UsualClasses<T>::include(type)) || isKnownToDerive(type, T::pstTypeN);
  else
    return PS_LIKELY(!isStorage(type));
}

// Opens after asking the guard. The result is pinned; null when refused or when there is no such object. What is not of
// the wanted class is refused as damaged.
PS_API psObj* openOutOfLine(const psId& id, psMode mode, unsigned int wanted);
// For a handle whose address the inlined test does not recognise as the identifier's and current. Returns that address,
// or the right one, pinned in its place. Null, with held unpinned, when the object cannot be opened.
PS_API psObj* reopenOutOfLine(const psId& id, psObj* held, unsigned int wanted);
// The same as openOutOfLine for the storage of an array of an open object. The guard is not called, and nothing is
// pinned.
PS_API void* storageOutOfLine(const psId& id);

// Opens for reading; the result is pinned.
template <class T>
inline psObj* openForReading(const psId& id) {
  SessionHead& session = *currentSession;
  Frame* frame = nullptr;
  char* const object = residentObject(session, id, frame);
  if (PS_UNLIKELY(object == nullptr || !isOpenableAs<T>(object))) return openOutOfLine(id, pscRead, wantedTypeN<T>());
  ++session.opens;
  pin(frame);
  return reinterpret_cast<psObj*>(object);
}

template <class T>
inline psObj* openForUpdate(const psId& id) {
  SessionHead& session = *currentSession;
  Frame* frame = nullptr;
  char* const object = residentObject(session, id, frame);
  if (PS_UNLIKELY(object == nullptr || frame->updateStamp != session.updateStamp || !isOpenableAs<T>(object)))
    return openOutOfLine(id, pscUpdate, wantedTypeN<T>());
  ++session.opens;
  pin(frame);
  return reinterpret_cast<psObj*>(object);
}

// Holds the pin of an opened object and releases it. Null holds nothing.
class PinnedObject {
 public:
  explicit PinnedObject(psObj* opened) : object_(opened), frame_(opened != nullptr ? frameOfObject(opened) : nullptr) {}
  PinnedObject(const PinnedObject&) = delete;
  PinnedObject& operator=(const PinnedObject&) = delete;
  ~PinnedObject() {
    if (frame_ != nullptr) unpin(frame_);
  }

  psObj* get() const { return object_; }

 private:
  psObj* object_;
  Frame* frame_;
};

// The storage of an array if it is in memory and current; null otherwise, and for what is no storage.
inline void* storageInMemory(const psId& id) {
  Frame* frame = nullptr;
  char* const storage = residentObject(*currentSession, id, frame);
  return PS_LIKELY(storage != nullptr && isStorage(headerOf(storage)->type)) ? storage : nullptr;
}

// The storage of an array inside an open object. Calls no guard and pins nothing. Null when it cannot be read.
inline void* residentStorage(const psId& id) {
  void* const storage = storageInMemory(id);
  return PS_LIKELY(storage != nullptr) ? storage : storageOutOfLine(id);
}

}  // namespace ps::detail
