#include "store/session/Relocation.h"

#include <cstring>
#include <utility>
#include <vector>

#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"
#include "store/cache/TypeRegistry.h"
#include "store/session/Opening.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

namespace {

psId wordAt(const char* object, std::uint32_t offset) {
  psId id;
  std::memcpy(static_cast<void*>(&id), object + offset, sizeof id);
  return id;
}

void setWord(char* object, std::uint32_t offset, const psId& id) { std::memcpy(object + offset, &id, sizeof id); }

// Frees a half-made object: its storage as far as it got, then itself. No destructor runs.
void discardCopy(SessionCore& session, const ClassInfo& info, psObj* copy) {
  for (const std::uint32_t offset : info.arrayOffsets) {
    const psId storage = wordAt(reinterpret_cast<const char*>(copy), offset);
    session.objects().freeStorage(storage);
  }
  session.objects().free(idAt(copy));
}

// A copy that is discarded unless it is kept, also when something is thrown.
class ProvisionalCopy {
 public:
  ProvisionalCopy(SessionCore& session, const ClassInfo& info, psObj* copy)
      : session_(session), info_(info), copy_(copy), pin_(copy) {}
  ProvisionalCopy(const ProvisionalCopy&) = delete;
  ProvisionalCopy& operator=(const ProvisionalCopy&) = delete;
  ~ProvisionalCopy() {
    const NothingThrown here;
    if (copy_ != nullptr) discardCopy(session_, info_, copy_);
  }

  psObj* keep() { return std::exchange(copy_, nullptr); }

 private:
  SessionCore& session_;
  const ClassInfo& info_;
  psObj* copy_;
  PagePin pin_;
};

// Gives a copy that still names the original's storage storage of its own.
bool copyStorage(SessionCore& session, const ClassInfo& info, const char* original, psObj* copy) {
  return guardMemory(false, [&] {
    char* const bytes = reinterpret_cast<char*>(copy);
    for (const std::uint32_t offset : info.arrayOffsets) setWord(bytes, offset, psId());
    for (const std::uint32_t offset : info.arrayOffsets) {
      const psId from = wordAt(original, offset);
      if (from.isNull()) continue;
      const void* const source = session.objects().storage(from);
      if (source == nullptr)
        return session.fail(psErrorKind::damaged, "an array of " + textOf(idAt(copy)) + " cannot be read");
      const PagePin pinned(source);
      const std::uint32_t size = headerOf(source)->size;
      void* const target = session.objects().createStorage(idAt(copy), size, size);
      if (target == nullptr) return false;
      std::memcpy(target, source, size);
      PageCache::describeLike(source, target);
      setWord(bytes, offset, idAt(target));
    }
    return true;
  });
}

const ClassInfo* relocatable(SessionCore& session, const psId& id, const char* what) {
  return guardMemory<const ClassInfo*>(nullptr, [&]() -> const ClassInfo* {
    const std::uint64_t refusals = session.refusals;
    const ClassInfo* const info = TypeRegistry::instance().find(session.objects().typeOf(id));
    if (session.refusals != refusals) return nullptr;
    if (info == nullptr || id.get_page() == 0) {
      session.fail(psErrorKind::usage,
                   textOf(id) + " cannot be " + what + ": it is not an object of a registered class");
      return nullptr;
    }
    if (info->relocation == psRelocation::allowed) return info;
    session.fail(psErrorKind::usage, textOf(id) + " cannot be " + what + ": an object of class " + info->name +
                                         " owns others, which would be shared");
    return nullptr;
  });
}

// The bytes of an object in a new place, with storage of its own. The original is told once there is a place.
psObj* duplicate(SessionCore& session, const ClassInfo& info, psObj& original, const psId& near,
                 void (psObj::*tell)()) {
  void* const memory = session.objects().create(info.number, info.size, near);
  if (memory == nullptr) return nullptr;
  ProvisionalCopy copy(session, info, static_cast<psObj*>(memory));
  if (tell != nullptr) (original.*tell)();
  const char* const source = reinterpret_cast<const char*>(&original);
  std::memcpy(memory, source, info.size);
  return copyStorage(session, info, source, static_cast<psObj*>(memory)) ? copy.keep() : nullptr;
}

}  // namespace

psObj* copyObject(const psId& object, const psId& near) {
  SessionCore* const session = SessionCore::updating("a copy");
  if (session == nullptr) return nullptr;
  const ClassInfo* const info = relocatable(*session, object, "copied");
  const SessionCore::Working working(*session);
  if (info == nullptr) return nullptr;
  const PinnedObject original(openForReading<psObj>(object));
  if (original.get() == nullptr) return nullptr;
  psObj* const copy = duplicate(*session, *info, *original.get(), near, nullptr);
  if (copy == nullptr) return nullptr;
  const PagePin pinned(copy);
  copy->psCopyInit();
  return copy;
}

psId moveObject(const psId& object, const psId& near, const std::function<bool(const psId& moved)>& follow) {
  SessionCore* const session = SessionCore::updating("a move");
  if (session == nullptr) return psId();
  const ClassInfo* const info = relocatable(*session, object, "moved");
  const SessionCore::Working working(*session);
  if (info == nullptr) return psId();
  const PinnedObject pinned(openForUpdate<psObj>(object));
  psObj* const original = pinned.get();
  if (original == nullptr || !session->objects().isDeletable(object, original)) return psId();
  psObj* const moved = duplicate(*session, *info, *original, near, &psObj::psPreMoveInit);
  if (moved == nullptr) return psId();
  ProvisionalCopy provisional(*session, *info, moved);
  const psId id = idAt(moved);
  const bool isNamed = (headerOf(original)->type & namedFlag) != 0;
  // A name that cannot be changed voids the transaction, and with it what the follower did.
  if ((follow != nullptr && !follow(id)) || (isNamed && !session->directory().rename(object, id))) return psId();
  provisional.keep();
  if (isNamed) {
    headerOf(moved)->type |= namedFlag;
    headerOf(original)->type &= ~namedFlag;
  }
  discardCopy(*session, *info, original);
  moved->psPostMoveInit();
  return id;
}

}  // namespace ps::detail
