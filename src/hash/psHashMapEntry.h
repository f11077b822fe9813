#pragma once

#include "store/psPersistentClass.h"

// A key of a hash map, with its value. An entry lies in the container of its bucket and belongs to the map. The map
// deletes it with the pair. When the pair goes to a bucket in another container, the map creates the entry again there,
// with a new identifier.
class PS_API psHashMapEntry : public psObj {
  PS_PERSISTENT_CLASS(psHashMapEntry, psObj, 4029)

 public:
  psHashMapEntry(pstRef<psObj> key, pstRef<psObj> value);
  ~psHashMapEntry() noexcept override;

  const pstRef<psObj>& key() const { return key_; }
  const pstRef<psObj>& value() const { return value_; }
  // The entry must be open for update.
  void value(pstRef<psObj> value) { value_ = value; }

 private:
  pstRef<psObj> key_;
  pstRef<psObj> value_;  // may be null
};

static_assert(sizeof(psHashMapEntry) == 24, "stored layout");
