#include "core/MapClass.h"

namespace ps::detail {

const MapClass* MapClass::classes = nullptr;

MapClass::MapClass(unsigned int mapTypeN) : mapTypeN_(mapTypeN), others_(classes) { classes = this; }

MapClass::MapClass(unsigned int mapTypeN, unsigned int entryTypeN, ReadEntry readEntry) : MapClass(mapTypeN) {
  entryTypeN_ = entryTypeN;
  readEntry_ = readEntry;
}

bool MapClass::isMap(const pstHandle<psCollection>& collection) {
  const unsigned int type = collection.typeN();
  for (const MapClass* map = classes; map != nullptr; map = map->others_) {
    if (ptmIsKindOf(type, map->mapTypeN_) != 0) return true;
  }
  return false;
}

std::optional<Pair> MapClass::pairFor(const pstHandle<psObj>& keyOrEntry) {
  const unsigned int type = keyOrEntry.typeN();
  for (const MapClass* map = classes; map != nullptr; map = map->others_) {
    if (map->readEntry_ != nullptr && ptmIsKindOf(type, map->entryTypeN_) != 0) return map->readEntry_(keyOrEntry);
  }
  return Pair{keyOrEntry, pstRef<psObj>()};
}

}  // namespace ps::detail
