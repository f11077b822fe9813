#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/base/psObj.h"
#include "store/cache/PageCache.h"
#include "store/cache/TypeRegistry.h"

namespace ps::detail {

class SessionCore;

// The objects of one session's store, and the storage of their arrays: opened, created and freed by identifier, in the
// session's transaction.
//
// Operations that fail signal an error, unless a failure is the plain answer "there is no such object".
class ObjectSpace {
 public:
  explicit ObjectSpace(SessionCore& session) : session_(session) {}

  // Opens an object, container, database or the federation; null when refused or absent. The result is pinned.
  psObj* open(const psId& id, psMode mode);
  // True also for what is there but cannot be read; nothing is refused.
  bool exists(const psId& id);
  // 0 when there is no such object, or it cannot be read, which is refused.
  std::uint32_t typeOf(const psId& id);
  // Storage that an array names; null, with a refusal, when it cannot be read or does not exist.
  void* storage(const psId& id);
  // The next object after a position, in the identifiers' order, that is of the class; null when there is none.
  psId next(const psId& container, const psId& after, unsigned int typeN);

  // Marks the page of an object or array that is in memory as changed, without asking the guard.
  bool changePageOf(const void* address);

  void* create(std::uint32_t type, std::size_t size, const psId& near);
  void* createStorage(const psId& near, std::uint32_t size, std::uint32_t capacity);
  const ClassInfo* classOf(std::uint32_t type) { return classOf_(type); }

  // Deletes an object, container or database: runs the destructor, then frees it.
  bool destroy(const psId& id, psObj* openForUpdate);
  // Whether what the deletion of an object changes outside its page can be read: asked before anything is begun.
  bool isDeletable(const psId& id, const psObj* object);
  // Frees an object or storage without running anything.
  bool free(const psId& id);
  // Frees an object, or deletes a container or database with all it holds, without running anything.
  bool discard(const psObj* object);
  // Restores the class of an object that stays although its destructor has run.
  static void revive(void* object);

  void afterAbort() { beingDeleted_.clear(); }

 private:
  PageCache::Fetch fetch(const psId& id, Page*& page);
  psObj* openEntry(const psId& id, psMode mode);
  psObj* openInPage(const psId& id, psMode mode);

  SessionCore& session_;
  ClassLookup classOf_;  // for what is created
  std::vector<psId> beingDeleted_;
};

}  // namespace ps::detail
