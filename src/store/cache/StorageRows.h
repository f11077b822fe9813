#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "store/base/ClassNumbers.h"
#include "store/base/psId.h"
#include "store/cache/Frame.h"

// The storage of an array of references may have rows behind its elements: what a layer above wants to know of each
// element without opening anything. They lie in the same page image, are found by arithmetic, and are stored and
// restored with the storage. The array's size does not count them.
//
// A row is a cache: an entry of 0 says that nothing is known. Whoever changes an element changes its entries too.
namespace ps::detail {

// Storage is addressed with 32 bits, its header included.
constexpr std::uint64_t largestStorage = 0xFFFFFF00U;

enum class Rows : std::uint32_t {
  none = 0,
  abbreviations = 1,  // 8 bytes an element, after a tag of 8 bytes that says what made them
  counts = 2,         // 4 bytes an element
  both = 3,           // all that arrays in files have
  nodes = 4,          // 8 bytes an element: an identifier
  all = 7,
};

constexpr Rows operator|(Rows a, Rows b) {
  return static_cast<Rows>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
constexpr Rows operator&(Rows a, Rows b) {
  return static_cast<Rows>(static_cast<std::uint32_t>(a) & static_cast<std::uint32_t>(b));
}
constexpr bool includes(Rows rows, Rows row) {
  return (static_cast<std::uint32_t>(rows) & static_cast<std::uint32_t>(row)) != 0;
}

// Bytes of the elements of the largest storage that has rows. An array of that size has a page to itself, whatever size
// pages have.
constexpr std::uint32_t largestWithRows = 32768;

constexpr bool isStorage(std::uint32_t type) { return type - storageType <= static_cast<std::uint32_t>(Rows::all); }
constexpr std::uint32_t storageWith(Rows rows) { return storageType + static_cast<std::uint32_t>(rows); }
constexpr Rows rowsOf(std::uint32_t type) {
  return isStorage(type) ? static_cast<Rows>(type - storageType) : Rows::none;
}

// Bytes of the rows of storage whose elements take size bytes.
constexpr std::size_t rowBytes(Rows rows, std::size_t size) {
  return (includes(rows, Rows::abbreviations) ? sizeof(std::uint64_t) + size : 0) +
         (includes(rows, Rows::nodes) ? size : 0) + (includes(rows, Rows::counts) ? size / 2 : 0);
}

// The rows of storage that has them, in this order. Of the abbreviations the tag is the element before the first.
inline std::uint64_t* abbreviationsBehind(void* storage, std::size_t size) {
  return reinterpret_cast<std::uint64_t*>(static_cast<char*>(storage) + size) + 1;
}
inline psId* nodesBehind(void* storage, Rows rows, std::size_t size) {
  return reinterpret_cast<psId*>(static_cast<char*>(storage) + size + rowBytes(rows & Rows::abbreviations, size));
}
inline std::uint32_t* countsBehind(void* storage, Rows rows, std::size_t size) {
  const std::size_t before = rowBytes(rows & (Rows::abbreviations | Rows::nodes), size);
  return reinterpret_cast<std::uint32_t*>(static_cast<char*>(storage) + size + before);
}

// The rows that storage may have whose elements take size bytes.
constexpr Rows fittingRows(Rows rows, std::size_t size) { return size <= largestWithRows ? rows : Rows::none; }

// The rows of the array whose first element has the address.
inline Rows rowsAt(const void* storage) { return isInArena(storage) ? rowsOf(headerOf(storage)->type) : Rows::none; }

// The abbreviations of the array whose first element has the address; null when it is not in the store or has none.
inline std::uint64_t* abbreviationsOf(void* storage) {
  if (!includes(rowsAt(storage), Rows::abbreviations)) return nullptr;
  return abbreviationsBehind(storage, headerOf(storage)->size);
}
// The same for the others.
inline psId* nodesOf(void* storage) {
  const Rows rows = rowsAt(storage);
  return includes(rows, Rows::nodes) ? nodesBehind(storage, rows, headerOf(storage)->size) : nullptr;
}
inline std::uint32_t* countsOf(void* storage) {
  const Rows rows = rowsAt(storage);
  return includes(rows, Rows::counts) ? countsBehind(storage, rows, headerOf(storage)->size) : nullptr;
}

// Copies the rows that storage of the same size has too.
inline void copyRows(void* from, void* to) {
  const std::size_t size = headerOf(from)->size;
  if (headerOf(to)->size != size) return;
  const std::uint64_t* const abbreviations = abbreviationsOf(from);
  const psId* const nodes = nodesOf(from);
  const std::uint32_t* const counts = countsOf(from);
  if (abbreviations != nullptr && abbreviationsOf(to) != nullptr)
    std::memcpy(abbreviationsOf(to) - 1, abbreviations - 1, rowBytes(Rows::abbreviations, size));
  if (nodes != nullptr && nodesOf(to) != nullptr) std::memcpy(static_cast<void*>(nodesOf(to)), nodes, size);
  if (counts != nullptr && countsOf(to) != nullptr) std::memcpy(countsOf(to), counts, rowBytes(Rows::counts, size));
}

}  // namespace ps::detail
