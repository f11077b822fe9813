#pragma once

#include "store/base/psExport.h"
#include "store/cache/Frame.h"

// How handles, references and arrays open what they name: inlined for what is in memory and current, out of line for
// everything rarer. Applications do not use these names.
namespace ps::detail {

// Opens after asking the guard. The result is pinned; null when refused or when there is no such object.
PS_API psObj* openOutOfLine(const psId& id, psMode mode);
// For a handle whose address the inlined test does not recognise as the identifier's and current. Returns that address,
// or the right one, pinned in its place. Null, with held unpinned, when the object cannot be opened.
PS_API psObj* reopenOutOfLine(const psId& id, psObj* held);
// The same as openOutOfLine for the storage of an array of an open object. The guard is not called, and nothing is
// pinned.
PS_API void* storageOutOfLine(const psId& id);

// Opens for reading; the result is pinned.
inline psObj* openForReading(const psId& id) {
  SessionHead& session = *currentSession;
  Frame* frame = nullptr;
  char* const object = residentObject(session, id, frame);
  if (PS_UNLIKELY(object == nullptr)) return openOutOfLine(id, pscRead);
  ++session.opens;
  pin(frame);
  return reinterpret_cast<psObj*>(object);
}

inline psObj* openForUpdate(const psId& id) {
  SessionHead& session = *currentSession;
  Frame* frame = nullptr;
  char* const object = residentObject(session, id, frame);
  if (PS_UNLIKELY(object == nullptr || frame->updateStamp != session.updateStamp)) return openOutOfLine(id, pscUpdate);
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

// The storage of an array inside an open object. Calls no guard and pins nothing. Null when it cannot be read.
inline void* residentStorage(const psId& id) {
  Frame* frame = nullptr;
  char* const storage = residentObject(*currentSession, id, frame);
  return PS_LIKELY(storage != nullptr) ? storage : storageOutOfLine(id);
}

}  // namespace ps::detail
