#pragma once

#include "store/base/StoreError.h"
#include "store/cache/TypeRegistry.h"

namespace ps::detail {

// How objects of one stored layout become objects in memory.
struct ObjectForm {
  const ClassInfo* info = nullptr;       // of the class; null for storage, and when the class is not known
  const LayoutChange* change = nullptr;  // null when their bytes stay as they are
  bool isOlder = false;                  // they are written in another layout
  bool isOfOlderVersion = false;         // programs that write it are refused where this program's layout is
  const Structure* elements = nullptr;   // of storage: what it is an array of, if that is known
  bool namesArrays = false;              // arrays of structures need their storage to say what is in it
  bool keepsVersion = false;             // of a comparator: it cannot be opened, and is written as it is
  StoreError refusal;                    // why they cannot be opened; empty when they can

  bool isUsable() const { return refusal.empty(); }
};

}  // namespace ps::detail
