#pragma once

#include <array>
#include <cstdint>
#include <unordered_map>

#include "store/base/psId.h"

namespace ps::detail {

// A set of identifiers of objects. It takes 2 to 3 bits for each slot of pages most of whose objects are in it, and
// about 60 bytes for an object that is alone in its page.
class ObjectSet {
 public:
  // False when the object is there already.
  bool insert(const psId& id);
  bool contains(const psId& id) const;

  // Calls visit for each object of this set that is not in the other one.
  template <class Visit>
  void visitMissing(const ObjectSet& other, Visit visit) const {
    for (const auto& [block, bits] : blocks_) {
      const auto found = other.blocks_.find(block);
      for (unsigned i = 0; i < bits.size(); ++i)
        visitBits(block * bitsInBlock + i * bitsInWord,
                  found != other.blocks_.end() ? bits[i] & ~found->second[i] : bits[i], visit);
    }
  }
  void insertAll(const ObjectSet& other);

 private:
  static constexpr unsigned bitsInWord = 64;
  using Block = std::array<std::uint64_t, 4>;
  static constexpr unsigned bitsInBlock = bitsInWord * std::tuple_size<Block>::value;

  // The identifier of which orderOf makes the number.
  static psId idOf(std::uint64_t number) {
    const auto part = [number](unsigned shift) { return static_cast<unsigned short>(number >> shift); };
    return psId(part(48), part(32), part(16), part(0));
  }

  template <class Visit>
  static void visitBits(std::uint64_t number, std::uint64_t bits, Visit visit) {
    for (; bits != 0; bits &= bits - 1) visit(idOf(number + static_cast<unsigned>(__builtin_ctzll(bits))));
  }

  std::unordered_map<std::uint64_t, Block> blocks_;
};

}  // namespace ps::detail
