#include "store/verify/ArrayOwners.h"

#include <algorithm>

#include "store/base/FiledName.h"
#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

void ArrayOwners::addStorage(const psId& storage) { storage_.push_back(placeOf(storage)); }

void ArrayOwners::addArray(const psId& object, const psId& storage) {
  if (storage.isNull()) return;
  if (containerOf(object) == containerOf(storage))
    arrays_.push_back({placeOf(storage), placeOf(object)});
  else
    farArrays_.push_back({storage, object});
}

void ArrayOwners::complainOfMissing(const psId& object, const psId& storage) {
  findings_.faultOf(psFindingKind::array, object,
                    "has an array whose storage, " + textOf(storage) + ", does not exist");
}

void ArrayOwners::complainOfShared(const psId& object, const psId& storage) {
  sharing_.insert(object);
  findings_.faultOf(psFindingKind::array, object,
                    "has an array whose storage, " + textOf(storage) + ", belongs to another array too");
}

void ArrayOwners::endContainer(const psId& container) {
  const auto idOf = [&container](std::uint32_t place) {
    return psId(container.get_DB(), container.get_OC(), static_cast<unsigned short>(place >> 16),
                static_cast<unsigned short>(place));
  };
  std::sort(arrays_.begin(), arrays_.end(), [](const Array& a, const Array& b) {
    return a.storage != b.storage ? a.storage < b.storage : a.object < b.object;
  });
  const bool isCertain = !hidesArrays_ && unreadablePages_.empty();
  auto array = arrays_.begin();
  // What is named before the storage, or before the end, does not exist.
  const auto skipMissing = [&](std::uint64_t end) {
    for (; array != arrays_.end() && array->storage < end; ++array) {
      if (unreadablePages_.count(static_cast<std::uint16_t>(array->storage >> 16)) == 0)
        complainOfMissing(idOf(array->object), idOf(array->storage));
    }
  };
  for (const std::uint32_t storage : storage_) {
    skipMissing(storage);
    const auto first = array;
    for (; array != arrays_.end() && array->storage == storage; ++array) {
      if (array != first) complainOfShared(idOf(array->object), idOf(storage));
    }
    if (array == first && isCertain) unowned_.push_back(idOf(storage));
  }
  skipMissing(std::uint64_t{1} << 32);
  if (!isCertain) uncertain_.insert(numberOf(container));
  storage_.clear();
  arrays_.clear();
  unreadablePages_.clear();
  hidesArrays_ = false;
}

void ArrayOwners::finish() {
  std::sort(farArrays_.begin(), farArrays_.end(), [](const FarArray& a, const FarArray& b) {
    return orderOf(a.storage) != orderOf(b.storage) ? orderOf(a.storage) < orderOf(b.storage)
                                                    : orderOf(a.object) < orderOf(b.object);
  });
  std::vector<bool> isOwned(unowned_.size(), false);
  for (std::size_t i = 0; i < farArrays_.size(); ++i) {
    if (i > 0 && farArrays_[i].storage == farArrays_[i - 1].storage)
      complainOfShared(farArrays_[i].object, farArrays_[i].storage);
    else
      verifyFar(farArrays_[i], isOwned);
  }
  for (std::size_t i = 0; i < unowned_.size(); ++i) {
    if (!isOwned[i]) noteUnowned(unowned_[i]);
  }
}

void ArrayOwners::verifyFar(const FarArray& array, std::vector<bool>& isOwned) {
  const RecordedPages::Found found = pages_.find(array.storage);
  if (found == RecordedPages::Found::unreadable) return;
  if (found != RecordedPages::Found::storage) return complainOfMissing(array.object, array.storage);
  if (uncertain_.count(numberOf(array.storage)) != 0) return;
  const auto place = std::lower_bound(unowned_.begin(), unowned_.end(), array.storage,
                                      [](const psId& a, const psId& b) { return orderOf(a) < orderOf(b); });
  if (place == unowned_.end() || *place != array.storage) return complainOfShared(array.object, array.storage);
  isOwned[static_cast<std::size_t>(place - unowned_.begin())] = true;
}

void ArrayOwners::noteUnowned(const psId& storage) {
  // In a place, it may belong to an array of another container of which not all is known.
  std::string_view value;
  const StoreKey place = StoreKey::name(containerOf(storage), filedInternally("place"));
  if (!uncertain_.empty() && engine_.get(place, value) != Engine::Lookup::absent) return;
  findings_.note(psFindingKind::unowned, storage, textOf(storage) + " is the storage of no array");
}

}  // namespace ps::detail
