#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include "store/base/psExport.h"
#include "store/base/psMode.h"

// Identifier of an object of the store: 4 unsigned parts of 16 bits. A database is (DB, 0, 0, 0), and a container is
// (DB, OC, 0, 0). An object has all 4 parts, with page and slot counted from 1. The null identifier is all zero.
class alignas(8) PS_API psId {
 public:
  constexpr psId() = default;
  constexpr psId(unsigned short db, unsigned short oc, unsigned short page, unsigned short slot)
      : db_(db), oc_(oc), page_(page), slot_(slot) {}

  constexpr unsigned short get_DB() const { return db_; }
  constexpr unsigned short get_OC() const { return oc_; }
  constexpr unsigned short get_page() const { return page_; }
  constexpr unsigned short get_slot() const { return slot_; }
  // Replace a part.
  void set_DB(unsigned short db) { db_ = db; }
  void set_OC(unsigned short oc) { oc_ = oc; }
  void set_page(unsigned short page) { page_ = page; }
  void set_slot(unsigned short slot) { slot_ = slot; }

  bool isNull() const { return bits() == 0; }
  operator int() const { return isNull() ? 0 : 1; }

  // Whether the store holds a live object, container or database of this identifier. Also true when the object's page
  // exists but cannot be read, so that what cannot be read is not taken for deleted. Never refused.
  bool isValid() const;

  // Opens the object for update without keeping it open. 1 on success, else 0.
  [[nodiscard]] int update() const;

  // The 8 bytes as one number: database in the low 16 bits, slot in the high 16 bits.
  std::uint64_t bits() const {
    std::uint64_t value = 0;
    std::memcpy(&value, this, sizeof value);
    return value;
  }

 private:
  unsigned short db_ = 0;
  unsigned short oc_ = 0;
  unsigned short page_ = 0;
  unsigned short slot_ = 0;
};

static_assert(sizeof(psId) == 8, "an identifier is stored as eight bytes");

inline bool operator==(const psId& a, const psId& b) { return a.bits() == b.bits(); }
inline bool operator!=(const psId& a, const psId& b) { return a.bits() != b.bits(); }

// In a comparison with a number, an identifier counts as "not null" for any number but 0, and as "null" for 0.
inline bool operator==(const psId& id, int n) { return id.isNull() == (n == 0); }
inline bool operator!=(const psId& id, int n) { return !(id == n); }

namespace ps::detail {

// The identifier as a number that sorts as identifiers do: database first, then container, page and slot.
inline std::uint64_t orderOf(const psId& id) {
  return std::uint64_t{id.get_DB()} << 48 | std::uint64_t{id.get_OC()} << 32 | std::uint64_t{id.get_page()} << 16 |
         std::uint64_t{id.get_slot()};
}

}  // namespace ps::detail

// The bits of identifiers differ mostly in the middle. The product spreads them over all bits, and its upper half, on
// which all of them bear, becomes the lower.
template <>
struct std::hash<psId> {
  std::size_t operator()(const psId& id) const noexcept {
    const std::uint64_t product = ps::detail::orderOf(id) * 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(product ^ product >> 32);
  }
};
