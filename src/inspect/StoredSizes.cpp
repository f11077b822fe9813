#include "inspect/StoredSizes.h"

#include "store/base/RecordBytes.h"

namespace ps::detail {

std::uint64_t StoredSizes::of(const psId& id) {
  if (objects_.find(id) != RecordedPages::Found::object) return 0;
  const RecordedObject& object = objects_.object();
  std::uint64_t bytes = padded(object.bytes.size());
  const ClassInfo* const info = classOf_(object.type & ~namedFlag);
  if (info == nullptr) return bytes;
  for (const std::uint32_t offset : info->arrayOffsets) {
    if (offset < omitted(object.type) || offset + sizeof(psId) > object.size) continue;
    const auto storage = numberIn<psId>(object.bytes.data() + offset - omitted(object.type));
    if (storages_.find(storage) == RecordedPages::Found::storage) bytes += padded(storages_.object().bytes.size());
  }
  return bytes;
}

}  // namespace ps::detail
