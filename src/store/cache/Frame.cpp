#include "store/cache/Frame.h"

#include "store/SessionCore.h"
#include "store/cache/Page.h"
#include "store/pstDeref.h"

namespace ps::detail {

namespace {

ObjectNotes* findNotes(std::forward_list<ObjectNotes>& all, const psObj* object) {
  for (ObjectNotes& notes : all) {
    if (notes.object == object) return &notes;
  }
  return nullptr;
}

}  // namespace

psObj* openOutOfLine(const psId& id, psMode mode) {
  SessionCore* const session = id.isNull() ? nullptr : SessionCore::required();
  return session != nullptr ? session->openObject(id, mode) : nullptr;
}

psObj* reopenOutOfLine(const psId& id, psObj* held) {
  const SessionCore* const session = SessionCore::current();
  if (session != nullptr && session->isUsable(held) && idAt(held) == id) return held;
  unpin(frameOfObject(held));
  return openOutOfLine(id, pscRead);
}

void* storageOutOfLine(const psId& id) {
  SessionCore* const session = SessionCore::current();
  return session != nullptr ? session->storage(id) : nullptr;
}

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

void dropNotes(const psObj* object) {
  if (!isInArena(object)) return;
  ObjectNotes* const notes = findNotes(frameOfObject(object)->page->notes, object);
  if (notes != nullptr) notes->references.clear();
}

}  // namespace ps::detail

psObj* pstRefPin(const psId* id, psMode mode) {
  if (mode == pscNoOpen) return nullptr;
  return mode == pscRead ? ps::detail::openForReading(*id) : ps::detail::openForUpdate(*id);
}

void pstRefUnpin(psObj* object) {
  if (object != nullptr) ps::detail::unpin(ps::detail::frameOfObject(object));
}
