#include "store/verify/ArraySearch.h"

#include "store/base/psId.h"

namespace ps::detail {

void ArraySearch::search(const ClassLevel& level) {
  const ClassInfo* const info = TypeRegistry::instance().find(level.number);
  // A class that has a version may have neither fields nor bytes of its own, over others that nobody describes.
  if (level.fields.empty()) searchOpaque(0, info != nullptr ? info->size : 0, info);
  for (const FieldShape& field : level.fields) {
    if (field.kind == FieldKind::opaque)
      searchOpaque(field.offset, field.size, info);
    else
      search(field, 0);
  }
}

void ArraySearch::search(const FieldShape& field, std::uint32_t begin) {
  if (field.kind != FieldKind::array && field.kind != FieldKind::structure) return;
  for (std::uint32_t i = 0; i < field.count; ++i) {
    if (steps_ == 0) {
      mayHide_ = true;
      return;
    }
    --steps_;
    const std::uint32_t at = begin + field.offset + i * field.size;
    if (field.kind == FieldKind::array) arrays_.push_back(at);
    for (const FieldShape& part : field.parts)
      if (field.kind == FieldKind::structure) search(part, at);
  }
}

// A class that is not described has its arrays where this program has them.
void ArraySearch::searchOpaque(std::uint32_t begin, std::uint32_t size, const ClassInfo* info) {
  if (info == nullptr || info->virtualTable == 0) {
    mayHide_ = true;
    return;
  }
  mayHide_ |= info->hidesArrays;
  for (const std::uint32_t offset : info->arrayOffsets) {
    if (offset >= begin && offset - begin + sizeof(psId) <= size) arrays_.push_back(offset);
  }
}

}  // namespace ps::detail
