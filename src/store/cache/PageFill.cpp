#include "store/cache/PageFill.h"

#include "store/cache/PageContents.h"

namespace ps::detail {

namespace {

// Bytes that the engine keeps for a record with so many of objects: whole pages.
std::size_t engineBytes(std::size_t objectBytes) {
  constexpr std::size_t enginePage = 4096;
  constexpr std::size_t besideObjects = 112;  // the engine's head and the record's
  return (objectBytes + besideObjects + enginePage - 1) / enginePage * enginePage;
}

// Whether a page is better not filled any further: the record would grow into another page of the engine, and even when
// the image is full most of that would be empty.
bool endsHere(const Page& page, std::size_t more, std::size_t usedThen) {
  constexpr double worthAnotherPage = 1.1;
  const std::size_t then = page.recordBytes + more;
  const bool isUncertain = 4 * page.packableBytes > page.recordBytes;
  if (isUncertain || page.recordBytes == 0 || engineBytes(then) == engineBytes(page.recordBytes)) return false;
  const std::size_t begin = objectsBegin(page.frame->slotLimit);
  const std::size_t whenFull = then * (page.bytes - begin) / (usedThen - begin);
  const auto filled = [](std::size_t bytes) {
    return static_cast<double>(bytes) / static_cast<double>(engineBytes(bytes));
  };
  return filled(page.recordBytes) > filled(whenFull) * worthAnotherPage;
}

}  // namespace

// The storage of an array of references is packed, and how much of it will be used is not known. That of a text is
// seldom of such a size, but the sizes of texts differ, so each takes an entry of the record's directory.
void noteRecorded(Page& page, std::uint32_t type, std::uint32_t size, std::size_t bytes) {
  page.recordBytes += bytes;
  if (isStorage(type) && size % sizeof(psId) == 0) page.packableBytes += bytes;
}

std::size_t recordedSize(std::uint32_t type, std::uint32_t size) {
  constexpr std::size_t inDirectory = 8;
  return padded(storedSize(type, size)) + (isStorage(type) ? inDirectory : 0);
}

bool fits(const Page& page, std::uint32_t type, std::uint32_t size, std::uint32_t capacity) {
  const std::size_t used = page.used + sizeof(ObjectHeader) + aligned(capacity);
  if (page.nextSlot > page.frame->slotLimit || used > page.bytes) return false;
  return !endsHere(page, recordedSize(type, size), used);
}

}  // namespace ps::detail
