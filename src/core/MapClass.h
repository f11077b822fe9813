#pragma once

#include <optional>

#include "core/psCollection.h"

namespace ps::detail {

struct Pair {
  pstRef<psObj> key;
  pstRef<psObj> value;
};

// What other collections must know of a class of maps. The folder that defines the class announces it by a static
// object.
class MapClass {
 public:
  using ReadEntry = std::optional<Pair> (*)(const pstHandle<psObj>& entry);

  explicit MapClass(unsigned int mapTypeN);
  // A class whose pairs are objects of the class entryTypeN. readEntry returns nothing for an entry that cannot be
  // opened.
  MapClass(unsigned int mapTypeN, unsigned int entryTypeN, ReadEntry readEntry);
  MapClass(const MapClass&) = delete;
  MapClass& operator=(const MapClass&) = delete;

  // Whether the collection is a map, so that its key iterator gives values.
  static bool isMap(const pstHandle<psCollection>& collection);
  // The pair that an object stands for in a map: an entry's pair, or the object as a key with a null value. Empty for
  // an entry that cannot be opened.
  static std::optional<Pair> pairFor(const pstHandle<psObj>& keyOrEntry);

 private:
  static const MapClass* classes;

  unsigned int mapTypeN_;
  unsigned int entryTypeN_ = 0;
  ReadEntry readEntry_ = nullptr;
  const MapClass* others_;
};

}  // namespace ps::detail
