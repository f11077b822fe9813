#include "store/session/SeveralWriters.h"

#include <new>

#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

SessionCore* farSession() {
  SessionCore* const session = SessionCore::current();
  return session != nullptr && session->isReading() && session->cache().hasSeveralWriters() ? session : nullptr;
}

}  // namespace

bool hasSeveralWriters() { return farSession() != nullptr; }

psId* ownContainer(const psId& admin, std::size_t use) {
  SessionCore* const session = farSession();
  if (session == nullptr) return nullptr;
  try {
    return &session->ownContainers[{admin.bits(), use}];
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// Without memory, each page is asked for when its object is opened.
void announceOpening(const psId* ids, std::size_t n) {
  SessionCore* const session = farSession();
  if (session == nullptr) return;
  try {
    session->cache().announce(ids, n);
  } catch (const std::bad_alloc&) {
    return;
  }
}

}  // namespace ps::detail
