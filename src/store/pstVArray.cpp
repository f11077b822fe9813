#include "store/pstVArray.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "store/base/MemoryGuard.h"
#include "store/base/StoreError.h"
#include "store/psSignal.h"
#include "store/session/SessionCore.h"

using ps::detail::Frame;
using ps::detail::guardMemory;
using ps::detail::headerOf;
using ps::detail::ObjectHeader;
using ps::detail::SessionCore;

namespace {

psId storageOf(const void* array) {
  psId id;
  std::memcpy(static_cast<void*>(&id), array, sizeof id);
  return id;
}

// The capacity for an array that grows from one size to another: a first size exactly, later ones with room to spare,
// so that appending element by element moves the array only rarely.
std::uint32_t capacityFor(std::uint64_t oldBytes, std::uint64_t bytes) {
  if (oldBytes == 0 || bytes <= oldBytes) return static_cast<std::uint32_t>(bytes);
  return static_cast<std::uint32_t>(std::min(ps::detail::largestStorage, std::max(bytes, oldBytes + oldBytes / 2)));
}

// Gives an array of the store new storage with the given content in front, and with rows.
int replaceStorage(SessionCore& session, void* array, std::uint64_t bytes, const void* content,
                   std::uint32_t contentBytes, ps::detail::Rows rows = ps::detail::Rows::none) {
  const psId owner = ps::detail::frameOfAddress(array)->pageId;
  // The array's own page may be written out to make room for the storage, and later changes in it would be lost.
  const ps::detail::PagePin ownerPin(array);
  const ps::detail::PagePin contentPin(content);
  const std::size_t behind = ps::detail::rowBytes(rows, bytes);
  const std::uint32_t capacity =
      behind > 0 ? static_cast<std::uint32_t>(ps::detail::aligned(bytes + behind)) : capacityFor(contentBytes, bytes);
  void* const made = session.objects().createStorage(owner, static_cast<std::uint32_t>(bytes), capacity, rows);
  if (made == nullptr) return 0;
  if (content != nullptr) {
    std::memcpy(made, content, contentBytes);
    ps::detail::copyRows(const_cast<void*>(content), made);
    ps::detail::PageCache::describeLike(content, made);
  }
  const psId id = ps::detail::idAt(made);
  const psId old = storageOf(array);
  std::memcpy(array, &id, sizeof id);
  session.objects().freeStorage(old);
  return 1;
}

bool isAddressable(std::uint64_t bytes) {
  if (bytes <= ps::detail::largestStorage) return true;
  ps::detail::signalStoreError({psErrorKind::full, "an array holds at most 4 GiB"});
  return false;
}

alignas(16) char dummyElement[ps::detail::dummyElementSize];

}  // namespace

void* const povDummyArrayPtr = dummyElement;

int pstIsStorePers(const void* address) { return ps::detail::isInArena(address) ? 1 : 0; }

int pstNewVArray(void* array, unsigned int n, unsigned int elementSize) {
  return guardMemory(0, [&] {
    const std::uint64_t bytes = std::uint64_t{n} * elementSize;
    SessionCore* const session = SessionCore::updating("creating an array");
    if (session == nullptr || !isAddressable(bytes) || !session->objects().changePageOf(array)) return 0;
    return n == 0 ? 1 : replaceStorage(*session, array, bytes, nullptr, 0);
  });
}

int pstResizeVArray(void* array, unsigned int n, unsigned int elementSize) {
  return guardMemory(0, [&] {
    const std::uint64_t bytes = std::uint64_t{n} * elementSize;
    SessionCore* const session = SessionCore::updating("resizing an array");
    if (session == nullptr || !isAddressable(bytes) || !session->objects().changePageOf(array)) return 0;
    if (n == 0) {
      pstDeleteVArray(array);
      return 1;
    }
    const psId id = storageOf(array);
    void* const storage = id.isNull() ? nullptr : session->objects().storage(id);
    if (storage == nullptr) return id.isNull() ? replaceStorage(*session, array, bytes, nullptr, 0) : 0;
    if (!session->objects().changePageOf(storage)) return 0;
    ObjectHeader& header = *headerOf(storage);
    ps::detail::Page& page = *ps::detail::frameOfObject(storage)->page;
    if (session->cache().resizeInPlace(page, header, static_cast<std::uint32_t>(bytes))) return 1;
    return replaceStorage(*session, array, bytes, storage, header.size);
  });
}

int pstResizeHeapVArray(void* array, unsigned int oldN, unsigned int newN, unsigned int elementSize) {
  char* block = nullptr;
  std::memcpy(static_cast<void*>(&block), array, sizeof block);
  if (newN == 0) {
    std::free(block);
    block = nullptr;
  } else {
    constexpr std::size_t head = ps::detail::heapArrayHeader;
    const std::size_t bytes = std::size_t{newN} * elementSize;
    block = static_cast<char*>(std::realloc(block, head + bytes));
    if (block == nullptr) return 0;
    const std::size_t kept = std::min(bytes, std::size_t{oldN} * elementSize);
    std::memset(block + head + kept, 0, bytes - kept);
    std::memcpy(block, &newN, sizeof newN);
  }
  std::memcpy(array, static_cast<const void*>(&block), sizeof block);
  return 1;
}

void* pstOpenVArray(const void* array) {
  const psId id = storageOf(array);
  return id.isNull() ? nullptr : ps::detail::residentStorage(id);
}

int pstUpdateVArray(void* array) {
  SessionCore* const session = SessionCore::updating("updating an array");
  if (session == nullptr) return 0;
  const psId id = storageOf(array);
  const psId asked = id.isNull() ? ps::detail::frameOfAddress(array)->pageId : id;
  if (!session->admits(asked, pscUpdate) || !session->objects().changePageOf(array)) return 0;
  if (id.isNull()) return 1;
  void* const storage = session->objects().storage(id);
  return storage != nullptr && session->objects().changePageOf(storage) ? 1 : 0;
}

void pstDeleteVArray(void* array) {
  if (!ps::detail::isInArena(array)) {
    pstResizeHeapVArray(array, 0, 0, 1);
    return;
  }
  const psId id = storageOf(array);
  SessionCore* const session = SessionCore::current();
  // An image that is not current says nothing of what is to be freed.
  if (id.isNull() || session == nullptr || !session->objects().changePageOf(array)) return;
  session->objects().freeStorage(id);
  std::memset(array, 0, sizeof id);
}

void* pstMalloc(unsigned int size) { return std::malloc(size); }
void pstFree(void* memory) { std::free(memory); }

namespace ps::detail {

int provideRows(void* array, unsigned int n, Rows rows) {
  return guardMemory(0, [&] {
    const std::uint64_t bytes = std::uint64_t{n} * sizeof(psId);
    SessionCore* const session = SessionCore::updating("updating an array");
    if (session == nullptr || n == 0 || bytes > largestWithRows) return 0;
    const psId id = storageOf(array);
    void* const storage = id.isNull() ? nullptr : session->objects().storage(id);
    if (storage == nullptr && !id.isNull()) return 0;
    const std::uint32_t kept =
        storage != nullptr ? std::min(headerOf(storage)->size, static_cast<std::uint32_t>(bytes)) : 0;
    return replaceStorage(*session, array, bytes, storage, kept, rows);
  });
}

void nameElements(void* array, const Structure& elements) {
  const psId id = storageOf(array);
  if (!isResidentForUpdate(id)) return;
  guardMemory(false, [&] {
    PageCache::describeElements(residentStorage(id), elements);
    return true;
  });
}

void signalArrayBound(unsigned int size, unsigned int index) {
  if (size == 0) {
    psSignal(pscError, psteVArraySizeZero, nullptr, index);
  } else {
    psSignal(pscError, psteVArrayBound, nullptr, size - 1, index);
  }
}

void signalArrayUpdate() { psSignal(pscError, psteUpdateVArray, nullptr); }

void* cleanDummyElement() {
  std::memset(dummyElement, 0, sizeof dummyElement);
  return dummyElement;
}

}  // namespace ps::detail
