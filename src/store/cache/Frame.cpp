#include "store/cache/Frame.h"

#include <new>

#include "store/cache/Page.h"

namespace ps::detail {

SessionHead noSession;
__thread SessionHead* currentSession __attribute__((tls_model("initial-exec"))) = &noSession;

namespace {

ObjectNotes* findNotes(std::forward_list<ObjectNotes>& all, const psObj* object) {
  for (ObjectNotes& notes : all) {
    if (notes.object == object) return &notes;
  }
  return nullptr;
}

psId* provideNotes(const SessionHead& session, const psObj* object, std::size_t size) {
  std::forward_list<ObjectNotes>& all = frameOfObject(object)->page->notes;
  ObjectNotes* notes = findNotes(all, object);
  if (notes == nullptr) notes = &all.emplace_front(ObjectNotes{object, 0, {}});
  if (notes->stamp != session.noteStamp || notes->references.size() != size) {
    notes->references.assign(size, psId());
    notes->stamp = session.noteStamp;
  }
  return notes->references.data();
}

}  // namespace

psId* notesBeside(const psObj* object, int count) {
  const SessionHead& session = *currentSession;
  if (session.readStamp == SessionHead::noStamp || !isInArena(object)) return nullptr;
  try {
    return provideNotes(session, object, static_cast<std::size_t>(count));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

bool mayNoteInRow(const void* storage) {
  SessionHead& session = *currentSession;
  Frame& frame = *frameOfObject(storage);
  if (session.updateStamp != SessionHead::noStamp) return frame.updateStamp == session.updateStamp;
  frame.page->filled = true;
  session.filledRows = true;
  return true;
}

void dropNotes(const psObj* object) {
  if (!isInArena(object)) return;
  ObjectNotes* const notes = findNotes(frameOfObject(object)->page->notes, object);
  if (notes != nullptr) notes->references.clear();
}

}  // namespace ps::detail
