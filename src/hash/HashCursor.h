#pragma once

#include <memory>

#include "hash/psHashSet.h"

namespace ps::detail {

class HashWalk;

// A place in a hash set or map, for iterators that are values; see TreeCursor. In a map the elements are the keys.
class PS_API HashCursor {
 public:
  HashCursor() noexcept;
  HashCursor(const psId& table, bool isMap) noexcept;
  HashCursor(const HashCursor& other);
  HashCursor(HashCursor&& other) noexcept;
  HashCursor& operator=(const HashCursor& other);
  HashCursor& operator=(HashCursor&& other) noexcept;
  ~HashCursor();

  const psId& collection() const { return table_; }

  bool toFirst(pstRef<psObj>& element);
  bool toLast(pstRef<psObj>& element);
  bool forward(pstRef<psObj>& element);
  bool back(pstRef<psObj>& element);
  // To the element that matches. False also when there is none; the cursor is then behind the last.
  bool find(const void* key, pstRef<psObj>& element);
  bool find(const pstHandle<psObj>& key, pstRef<psObj>& element);

  bool standsOn(const pstRef<psObj>& element) const;
  pstRef<psObj> value() const;
  bool remove();

 private:
  PS_HIDDEN bool canWalk();
  template <class MakeProbe>
  PS_HIDDEN bool findBy(MakeProbe makeProbe, pstRef<psObj>& element);

  psId table_;
  bool isMap_ = false;
  std::unique_ptr<HashWalk> walk_;  // null: nowhere
};

}  // namespace ps::detail
