#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

// The pages of a file as LMDB 0.9 writes them on a 64-bit machine, read without trust in any of their bytes.
namespace ps::detail {

struct LmdbTree {
  std::uint32_t pageSize;  // in the tree of free pages; else unused
  std::uint16_t flags;
  std::uint16_t depth = 0;
  std::uint64_t branchPages = 0;
  std::uint64_t leafPages = 0;
  std::uint64_t overflowPages = 0;
  std::uint64_t entries = 0;
  std::uint64_t root = ~std::uint64_t{0};
};

// The head of the pages 0 and 1; the rest of them is zero. A commit writes one of the two in turn.
struct LmdbMeta {
  static constexpr std::uint32_t rightMagic = 0xBEEFC0DE;
  static constexpr std::uint16_t pageFlag = 0x08;

  std::uint64_t number;
  std::uint16_t unused = 0;
  std::uint16_t flags = pageFlag;
  std::uint32_t bounds = 0;
  std::uint32_t magic = rightMagic;
  std::uint32_t version = 1;
  std::uint64_t address = 0;
  std::uint64_t mapSize = 0;
  LmdbTree free{0, 0x4008};
  LmdbTree main{0, 0};
  std::uint64_t lastPage = 1;
  std::uint64_t commit = 0;
};
static_assert(sizeof(LmdbMeta) == 152);

// A page of a tree. The bytes belong to the caller. Entries may be asked for only after faultOf has found nothing.
class LmdbPage {
 public:
  static constexpr std::uint64_t none = ~std::uint64_t{0};
  static constexpr std::size_t headSize = 16;

  struct Entry {
    std::string_view key;
    std::uint64_t child = none;     // of a branch page
    std::string_view value;         // of a leaf
    bool isOverflow = false;        // the value lies in pages of its own instead
    std::uint64_t overflow = none;  // the first of them
    std::uint32_t overflowSize = 0;
  };

  explicit LmdbPage(std::string_view bytes) : bytes_(bytes) {}

  // Null, or what is wrong with a page that should be a branch or a leaf with this number.
  const char* faultOf(std::uint64_t number, bool isLeaf, std::vector<std::uint32_t>& places) const;
  // Whether it begins a value in overflow pages, and how many they are.
  bool beginsOverflow(std::uint64_t number) const { return this->number() == number && flags() == overflowFlag; }
  std::uint32_t overflowPages() const { return load<std::uint32_t>(12); }

  std::size_t entries() const { return (lower() - headSize) / sizeof(std::uint16_t); }
  Entry entry(std::size_t index) const;

 private:
  static constexpr std::uint16_t branchFlag = 0x01;
  static constexpr std::uint16_t leafFlag = 0x02;
  static constexpr std::uint16_t overflowFlag = 0x04;
  static constexpr std::uint16_t valueInOverflow = 0x01;
  static constexpr std::size_t nodeHeadSize = 8;

  template <class T>
  T load(std::size_t at) const {
    T value{};
    std::memcpy(&value, bytes_.data() + at, sizeof value);
    return value;
  }
  std::uint64_t number() const { return load<std::uint64_t>(0); }
  std::uint16_t flags() const { return load<std::uint16_t>(10); }
  std::uint16_t lower() const { return load<std::uint16_t>(12); }
  std::uint16_t upper() const { return load<std::uint16_t>(14); }
  std::size_t nodeAt(std::size_t index) const { return load<std::uint16_t>(headSize + sizeof(std::uint16_t) * index); }
  std::uint32_t valueSizeAt(std::size_t node) const {
    return load<std::uint16_t>(node) | std::uint32_t{load<std::uint16_t>(node + 2)} << 16;
  }
  bool isLeaf() const { return flags() == leafFlag; }
  std::size_t nodeSizeAt(std::size_t node) const;
  const char* faultOfPlaces(std::vector<std::uint32_t>& places) const;

  std::string_view bytes_;
};

}  // namespace ps::detail
