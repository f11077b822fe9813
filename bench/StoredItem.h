#pragma once

#include <pscollections.h>

#include "Payload.h"

// An object of the store with a payload.
class StoredItem : public psObj {
  PS_PERSISTENT_CLASS(StoredItem, psObj, 20203)

 public:
  explicit StoredItem(const Payload& payload) : payload_(payload) {}
  std::uint64_t key() const { return payload_[0]; }

 private:
  Payload payload_ = {};
};

// Compares items by their keys. A raw key is the address of one.
class ItemCompare : public psCompare {
  PS_PERSISTENT_CLASS(ItemCompare, psCompare, 20204)

 public:
  ItemCompare() = default;
  int compare(const pstHandle<psObj>& element, const void*& key) const override;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override;
  int hash(const void*& key) const override;
  int hash(const pstHandle<psObj>& element) const override;
  std::uint64_t abbreviation(const void*& key) const override;
  std::uint64_t abbreviation(const pstHandle<psObj>& element) const override;
};
