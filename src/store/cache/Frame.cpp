#include "store/cache/Frame.h"

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

}  // namespace

psId* notesBeside(const psObj* object, int count) {
  const SessionHead& session = *currentSession;
  if (session.readStamp == SessionHead::noStamp || !isInArena(object)) return nullptr;
  std::forward_list<ObjectNotes>& all = frameOfObject(object)->page->notes;
  ObjectNotes* notes = findNotes(all, object);
  if (notes == nullptr) notes = &all.emplace_front(ObjectNotes{object, 0, {}});
  const auto size = static_cast<std::size_t>(count);
  if (notes->stamp != session.noteStamp || notes->references.size() != size) {
    notes->stamp = session.noteStamp;
    notes->references.assign(size, psId());
  }
  return notes->references.data();
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
