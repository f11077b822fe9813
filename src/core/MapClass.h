#pragma once

#include <optional>

#include "core/psCollection.h"

namespace ps::detail {

struct Pair {
  pstRef<psObj> key;
  pstRef<psObj> value;
};

// A class of maps, as far as other collections must know it. The folder that defines the class announces it by one
// object of static storage.
class MapClass {
 public:
  using ReadEntry = std::optional<Pair> (*)(const pstHandle<psObj>& entry);

  explicit MapClass(unsigned int mapTypeN);
  // A class whose pairs are objects, of the class entryTypeN. readEntry gives nothing for one that cannot be opened.
  MapClass(unsigned int mapTypeN, unsigned int entryTypeN, ReadEntry readEntry);
  MapClass(const MapClass&) = delete;
  MapClass& operator=(const MapClass&) = delete;

  // Whether the collection is a map: its key iterator tells values.
  static bool isMap(const pstHandle<psCollection>& collection);
  // The pair that an object stands for in a map: an entry's, or the object as a key with a null value. Nothing for an
  // entry that cannot be opened.
  static std::optional<Pair> pairFor(const pstHandle<psObj>& keyOrEntry);

 private:
  static const MapClass* classes;

  unsigned int mapTypeN_;
  unsigned int entryTypeN_ = 0;
  ReadEntry readEntry_ = nullptr;
  const MapClass* others_;
};

}  // namespace ps::detail
