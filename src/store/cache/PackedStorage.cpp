#include "store/cache/PackedStorage.h"

#include <algorithm>
#include <cstring>

#include "store/base/RecordBytes.h"

namespace ps::detail {

namespace {

using Word = std::uint64_t;

constexpr std::size_t wordSize = sizeof(Word);
constexpr std::uint32_t largestPacked = largestWithRows;

enum Parts : std::uint32_t { sparse = 1, abbreviations = 2, counts = 4, nodes = 8 };

// What a packed form consists of.
struct Form {
  std::uint32_t used = 0;  // words up to the last that is not zero
  std::uint32_t parts = 0;
};
static_assert(sizeof(Form) == 8);

constexpr std::size_t bitmapBytes(std::size_t words) { return (words + 63) / 64 * wordSize; }
constexpr std::size_t countBytes(std::size_t words) { return (words + 1) / 2 * wordSize; }

std::size_t bytesOfRows(const Form& form) {
  return ((form.parts & abbreviations) != 0 ? (1 + form.used) * wordSize : 0) +
         ((form.parts & nodes) != 0 ? form.used * wordSize : 0) +
         ((form.parts & counts) != 0 ? countBytes(form.used) : 0);
}

std::size_t setBits(std::string_view bitmap) {
  std::size_t n = 0;
  for (std::size_t i = 0; i < bitmap.size(); i += wordSize) {
    n += static_cast<std::size_t>(__builtin_popcountll(numberIn<Word>(bitmap.data() + i)));
  }
  return n;
}

void appendSparse(const Word* words, std::size_t used, std::size_t nonzero, std::string& bytes) {
  std::size_t bitmap = bytes.size();
  std::size_t word = bitmap + bitmapBytes(used);
  bytes.resize(word + nonzero * wordSize);
  for (std::size_t i = 0; i < used; i += 64, bitmap += wordSize) {
    Word bits = 0;
    for (std::size_t k = i; k < std::min(used, i + 64); ++k) {
      if (words[k] == 0) continue;
      bits |= Word{1} << k % 64;
      std::memcpy(&bytes[word], &words[k], wordSize);
      word += wordSize;
    }
    std::memcpy(&bytes[bitmap], &bits, wordSize);
  }
}

// Writes the words whose bits are set, and returns where the next part begins.
const char* spread(const char* bitmap, std::size_t used, char* storage) {
  const char* word = bitmap + bitmapBytes(used);
  for (std::size_t i = 0; i < bitmapBytes(used); i += wordSize) {
    for (auto bits = numberIn<Word>(bitmap + i); bits != 0; bits &= bits - 1) {
      const std::size_t index = i * 8 + static_cast<std::size_t>(__builtin_ctzll(bits));
      std::memcpy(storage + index * wordSize, word, wordSize);
      word += wordSize;
    }
  }
  return word;
}

}  // namespace

bool appendPacked(const ObjectHeader& header, std::string& bytes) {
  const std::uint32_t size = header.size;
  const bool isTooSmall = size <= 2 * wordSize && rowsOf(header.type) == Rows::none;
  if (size % wordSize != 0 || isTooSmall || size > largestPacked) return false;
  auto* const storage = reinterpret_cast<char*>(const_cast<ObjectHeader*>(&header + 1));
  const Rows rows = rowsOf(header.type);
  const auto* const words = reinterpret_cast<const Word*>(storage);
  Form form;
  std::size_t nonzero = 0;
  for (std::uint32_t i = 0; i < size / wordSize; ++i) {
    if (words[i] == 0) continue;
    form.used = i + 1;
    ++nonzero;
  }
  const std::size_t bytesSparse = bitmapBytes(form.used) + nonzero * wordSize;
  if (bytesSparse < form.used * wordSize) form.parts |= sparse;
  if (includes(rows, Rows::abbreviations) && abbreviationsBehind(storage, size)[-1] != 0) form.parts |= abbreviations;
  if (includes(rows, Rows::nodes)) {
    const psId* const row = nodesBehind(storage, rows, size);
    if (std::any_of(row, row + form.used, [](const psId& node) { return !node.isNull(); })) form.parts |= nodes;
  }
  if (includes(rows, Rows::counts)) {
    const std::uint32_t* const row = countsBehind(storage, rows, size);
    if (std::any_of(row, row + form.used, [](std::uint32_t count) { return count != 0; })) form.parts |= counts;
  }
  const std::size_t bytesPacked = sizeof form + std::min(bytesSparse, form.used * wordSize);
  if (rows == Rows::none && bytesPacked >= size) return false;

  appendNumber(bytes, form);
  if ((form.parts & sparse) != 0) {
    appendSparse(words, form.used, nonzero, bytes);
  } else {
    bytes.append(storage, form.used * wordSize);
  }
  if ((form.parts & abbreviations) != 0) {
    const std::uint64_t* const row = abbreviationsBehind(storage, size) - 1;
    bytes.append(reinterpret_cast<const char*>(row), (1 + form.used) * wordSize);
  }
  if ((form.parts & nodes) != 0) {
    bytes.append(reinterpret_cast<const char*>(nodesBehind(storage, rows, size)), form.used * wordSize);
  }
  if ((form.parts & counts) != 0) {
    bytes.append(reinterpret_cast<const char*>(countsBehind(storage, rows, size)), form.used * sizeof(std::uint32_t));
    bytes.append(countBytes(form.used) - form.used * sizeof(std::uint32_t), '\0');
  }
  return true;
}

bool isPackedForm(std::string_view bytes, std::uint32_t type, std::uint32_t size) {
  if (bytes.size() < sizeof(Form) || size % wordSize != 0 || size > largestPacked) return false;
  const auto form = numberIn<Form>(bytes.data());
  if (form.used > size / wordSize) return false;
  if ((form.parts & abbreviations) != 0 && !includes(rowsOf(type), Rows::abbreviations)) return false;
  if ((form.parts & nodes) != 0 && !includes(rowsOf(type), Rows::nodes)) return false;
  if ((form.parts & counts) != 0 && !includes(rowsOf(type), Rows::counts)) return false;
  std::size_t words = form.used * wordSize;
  if ((form.parts & sparse) != 0) {
    const std::string_view bitmap = bytes.substr(sizeof form, bitmapBytes(form.used));
    if (bitmap.size() < bitmapBytes(form.used)) return false;
    const bool endsInside = form.used % 64 == 0 || numberIn<Word>(bitmap.end() - wordSize) >> form.used % 64 == 0;
    if (!endsInside) return false;
    words = bitmap.size() + setBits(bitmap) * wordSize;
  }
  return bytes.size() == sizeof form + words + bytesOfRows(form);
}

void unpack(std::string_view bytes, std::uint32_t type, std::uint32_t size, char* storage) {
  const auto form = numberIn<Form>(bytes.data());
  const Rows rows = rowsOf(type);
  const char* from = bytes.data() + sizeof form;
  if ((form.parts & sparse) != 0) {
    std::memset(storage, 0, size + rowBytes(rows, size));
    from = spread(from, form.used, storage);
  } else {
    std::memcpy(storage, from, form.used * wordSize);
    std::memset(storage + form.used * wordSize, 0, size - form.used * wordSize + rowBytes(rows, size));
    from += form.used * wordSize;
  }
  if ((form.parts & abbreviations) != 0) {
    std::memcpy(abbreviationsBehind(storage, size) - 1, from, (1 + form.used) * wordSize);
    from += (1 + form.used) * wordSize;
  }
  if ((form.parts & nodes) != 0) {
    std::memcpy(static_cast<void*>(nodesBehind(storage, rows, size)), from, form.used * wordSize);
    from += form.used * wordSize;
  }
  if ((form.parts & counts) != 0) {
    std::memcpy(countsBehind(storage, rows, size), from, form.used * sizeof(std::uint32_t));
  }
}

}  // namespace ps::detail
