#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/base/psObj.h"
#include "store/cache/PageCache.h"
#include "store/cache/StorageRows.h"
#include "store/cache/TypeRegistry.h"

namespace ps::detail {

class SessionCore;

// The objects of one session's store and the storage of their arrays: opened, created and freed by identifier, in the
// session's transaction.
//
// Operations that fail signal an error, unless the failure simply means "there is no such object". One that lacks
// memory fails too; it makes an update void.
class ObjectSpace {
 public:
  explicit ObjectSpace(SessionCore& session) : session_(session) {}

  // Opens an object, container, database or the federation; null when refused or absent. The result is pinned. What is
  // not of the wanted class, and the storage of an array, are refused.
  psObj* open(const psId& id, psMode mode, unsigned int wanted = objectTypeN);
  // Also true for what is there but cannot be read. Nothing is refused.
  bool exists(const psId& id);
  // 0 when there is no such object, and when it cannot be read, which counts as a refusal.
  std::uint32_t typeOf(const psId& id);
  // The storage that an array names. Null, with a refusal, when it cannot be read, does not exist or is no storage.
  void* storage(const psId& id);
  // The next object of the class after a position, in the order of identifiers; null when there is none.
  psId next(const psId& container, const psId& after, unsigned int typeN);

  // Marks the page of an object or array that is in memory as changed, without calling the guard.
  bool changePageOf(const void* address);

  void* create(std::uint32_t type, std::size_t size, const psId& near);
  // capacity includes the rows.
  void* createStorage(const psId& near, std::uint32_t size, std::uint32_t capacity, Rows rows = Rows::none);
  const ClassInfo* classOf(std::uint32_t type) { return classOf_(type); }

  // Deletes an object, container or database: runs the destructor, then frees it.
  bool destroy(const psId& id, psObj* openForUpdate);
  // Whether everything outside its page that the deletion of an object changes can be read. Called before the deletion
  // begins.
  bool isDeletable(const psId& id, const psObj* object);
  // Frees an object or storage without running a destructor.
  bool free(const psId& id);
  // Frees the storage that an array names. What does not exist or is no storage stays as it is.
  void freeStorage(const psId& id);
  // Frees an object, or deletes a container or database with all that it holds, without running a destructor.
  bool discard(const psObj* object);
  // Restores the class of an object that stays in the store although its destructor has run.
  static void revive(void* object);

  void afterAbort() { beingDeleted_.clear(); }

 private:
  PageCache::Fetch fetch(const psId& id, Page*& page);
  PageCache::Fetch fetchObject(const psId& id, Page*& page);
  bool change(Page& page);
  psObj* openEntry(const psId& id, psMode mode, unsigned int wanted);
  psObj* openInPage(const psId& id, psMode mode, unsigned int wanted);
  bool isOfWanted(const psId& id, const ObjectHeader& object, unsigned int wanted);
  psObj* refuseUpdate(const psId& id);
  bool noteDeletion(const psId& id);
  psObj* refuseForeign(const Page& page, const ForeignObject& object);

  SessionCore& session_;
  ClassLookup classOf_;  // for what is created
  std::vector<psId> beingDeleted_;
};

}  // namespace ps::detail
