#include "store/cache/PartialRecord.h"

#include "store/base/RecordBytes.h"
#include "store/cache/PageRecord.h"

namespace ps::detail {

bool PartialRecord::read(std::string_view payload, ClassTable& classes) {
  payload_ = payload;
  isUniform_ = readUniform(payload, uniform_);
  if (isUniform_) {
    resolve(classes, uniform_.first);
    return true;
  }
  if (!readContents(payload, contents_)) return false;
  resolve(classes, contents_);
  return true;
}

std::uint16_t PartialRecord::nextSlot() const { return numberIn<RecordHeader>(payload_.data()).nextSlot; }

std::uint64_t PartialRecord::checksum() const {
  return numberIn<std::uint64_t>(payload_.data() - sizeof(std::uint64_t));
}

std::size_t PartialRecord::bytesInMemory() const {
  return isUniform_ ? uniform_.count * bytesInImage(uniform_.first) : ps::detail::bytesInMemory(contents_);
}

bool PartialRecord::find(std::uint16_t slot, RecordedObject& object, std::size_t& bytesBefore) const {
  if (isUniform_) {
    if (slot < uniform_.first.slot || slot - uniform_.first.slot >= static_cast<int>(uniform_.count)) return false;
    const std::uint32_t index = std::uint32_t{slot} - uniform_.first.slot;
    object = uniform_.object(index);
    bytesBefore = index * bytesInImage(object);
    return true;
  }
  bytesBefore = 0;
  for (const RecordedObject& stored : contents_.objects) {
    if (stored.slot == slot) {
      object = stored;
      return true;
    }
    bytesBefore += bytesInImage(stored);
  }
  return false;
}

bool PartialRecord::hasRight(std::string_view key, const RecordedObject& object) const {
  return hasRightBlocks(key, payload_, object.bytes);
}

}  // namespace ps::detail
