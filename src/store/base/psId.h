#pragma once

#include <cstdint>
#include <cstring>

#include "store/base/psExport.h"
#include "store/base/psMode.h"

// Identifier of an object of the store: four unsigned 16-bit parts. A database is named by (DB, 0, 0, 0), a container
// by (DB, OC, 0, 0), an object by all four, with page and slot counted from 1. All four zero is the null identifier.
class alignas(8) PS_API psId {
 public:
  constexpr psId() = default;
  constexpr psId(unsigned short db, unsigned short oc, unsigned short page, unsigned short slot)
      : db_(db), oc_(oc), page_(page), slot_(slot) {}

  constexpr unsigned short get_DB() const { return db_; }
  constexpr unsigned short get_OC() const { return oc_; }
  constexpr unsigned short get_page() const { return page_; }
  constexpr unsigned short get_slot() const { return slot_; }
  void set_DB(unsigned short db) { db_ = db; }
  void set_OC(unsigned short oc) { oc_ = oc; }
  void set_page(unsigned short page) { page_ = page; }
  void set_slot(unsigned short slot) { slot_ = slot; }

  bool isNull() const { return bits() == 0; }
  operator int() const { return isNull() ? 0 : 1; }

  // Whether the store holds a live object, container or database of this identifier. True also when the object's page
  // exists but cannot be read, so that nothing is taken for deleted that is merely unreadable. Never refused.
  bool isValid() const;

  // Opens the object for update, without holding on to it; 1 on success, else 0.
  int update() const;

  // The eight bytes as one number: database in the low 16 bits, slot in the high ones.
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

// Compared with a number, an identifier is "not null" against any number but zero, and "null" against zero.
inline bool operator==(const psId& id, int n) { return id.isNull() == (n == 0); }
inline bool operator!=(const psId& id, int n) { return !(id == n); }
