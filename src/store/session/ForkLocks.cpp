#include "store/session/ForkLocks.h"

#include <pthread.h>

#include "store/cache/Arena.h"
#include "store/cache/TypeRegistry.h"
#include "store/catalog/CatalogEntry.h"
#include "store/engine/LmdbEnvironment.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

// In the order in which threads take them: catalog entries grow by blocks of the arena; nothing else is taken while one
// of these is held. What sets up classes, under the registry's lock, must therefore not fork.
void lockAll() {
  TypeRegistry::instance().lockForFork();
  LmdbEnvironment::lockForFork();
  CatalogEntry::lockForFork();
  Arena::instance().lockForFork();
}

void unlockAll(bool inChild) {
  Arena::instance().unlockAfterFork();
  CatalogEntry::unlockAfterFork();
  LmdbEnvironment::unlockAfterFork(inChild);
  TypeRegistry::instance().unlockAfterFork(inChild);
}

void inParent() { unlockAll(false); }

void inChild() {
  unlockAll(true);
  SessionCore::markForked();
}

// Before any thread can hold one of the locks.
const int registered = pthread_atfork(&lockAll, &inParent, &inChild);

}  // namespace

int watchForks() { return registered; }

}  // namespace ps::detail
