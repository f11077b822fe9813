#pragma once

#include "store/psHandleBase.h"

// A reference to an object of any class. Handles and references of every class can be made from it.
class d_Ref_Any {
 public:
  d_Ref_Any() = default;
  d_Ref_Any(const psId& id) : id_(id) {}
  d_Ref_Any(const psHandleBase& handle) : id_(handle.oid()) {}
  d_Ref_Any(const psRefBase& reference) : id_(reference.oid()) {}

  bool is_null() const { return id_.isNull(); }
  // Makes it null.
  void clear() { id_ = psId(); }
  const psId& oid() const { return id_; }

 private:
  psId id_;
};
