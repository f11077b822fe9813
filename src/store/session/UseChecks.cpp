#include "store/session/UseChecks.h"

#include "store/base/IdText.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

bool isOfThisSession(const Frame& frame) { return frame.session == currentSession->serial; }

// How something of another session than the current one is used.
std::string strangeUse(const Frame& frame) {
  return SessionCore::ofThisThread(frame.session) != nullptr
             ? " is used while another session of its thread is current; make its own current (ps::CurrentSession)"
             : " is used on a thread that did not open it, or after its session was closed";
}

// The name is made only for what is misused: a sound program checks all the time, and may lack the memory for it.
template <class Name>
void checkFrame(const Frame& frame, const Name& name) {
  if (frame.pageId.isNull()) return;  // of a database that did not come into being
  if (!isOfThisSession(frame)) {
    reportMisuse(name() + strangeUse(frame));
    return;
  }
  const SessionCore* const session = SessionCore::current();
  if (session == nullptr || !session->isCurrent(frame)) {
    reportMisuse(name() + " is used after the transaction in which it was opened; keep a handle or a reference, and " +
                 "open the object again");
  }
}

}  // namespace

void checkObjectInUse(const void* object) {
  if (isInArena(object)) checkFrame(*frameOfObject(object), [object] { return textOf(idAt(object)); });
}

void checkMemoryInUse(const void* address) {
  if (!isInArena(address)) return;
  const Frame& frame = *frameOfAddress(address);
  checkFrame(frame, [&frame] {
    return "an object in page " + std::to_string(frame.pageId.get_page()) + " of " +
           textOf(psId(frame.pageId.get_DB(), frame.pageId.get_OC(), 0, 0));
  });
}

void checkHandleInUse(const void* object) {
  const Frame& frame = *frameOfObject(object);
  if (isOfThisSession(frame)) return;
  reportMisuse("an open handle to " + textOf(idAt(object)) + strangeUse(frame) + "; or close it, and open one here");
}

// The memory of a session that was closed waits for its handles, wherever they go.
void checkHandleLetGo(const void* object) {
  const Frame& frame = *frameOfObject(object);
  if (SessionCore::ofThisThread(frame.session) != nullptr || (frame.pins & Frame::detached) != 0) return;
  reportMisuse("an open handle to " + textOf(idAt(object)) +
               " is closed on a thread that did not open it, while its session is open");
}

}  // namespace ps::detail
