#pragma once

#include "KeyOrder.h"
#include "Payload.h"
#include "core/psCompare.h"

// An object of the store with a payload.
class StoredItem : public psObj {
  PS_PERSISTENT_CLASS(StoredItem, psObj, 20203)

 public:
  explicit StoredItem(const Payload& payload) : payload_(payload) {}
  const char* payload() const { return payload_.data(); }

 private:
  Payload payload_ = {};
};

// Both comparators take the address of a key as raw key.

class NumberCompare : public psCompare {
  PS_PERSISTENT_CLASS(NumberCompare, psCompare, 20204)

 public:
  NumberCompare() = default;
  int compare(const pstHandle<psObj>& element, const void*& key) const override;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override;
  int hash(const void*& key) const override;
  int hash(const pstHandle<psObj>& element) const override;
};

class WordCompare : public psCompare {
  PS_PERSISTENT_CLASS(WordCompare, psCompare, 20205)

 public:
  WordCompare() = default;
  int compare(const pstHandle<psObj>& element, const void*& key) const override;
  int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const override;
  int hash(const void*& key) const override;
  int hash(const pstHandle<psObj>& element) const override;
};
