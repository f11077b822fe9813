#include "sorted/psTreeMapKeyIterator.h"

#include "arrays/ArrayView.h"
#include "tree/NodeLinks.h"

psTreeMapKeyIterator::psTreeMapKeyIterator(pstHandle<psTreeMap>& map) : psTreeIterator(map) {}

psTreeMapKeyIterator::~psTreeMapKeyIterator() = default;

pstRef<psObj> psTreeMapKeyIterator::currentValue() {
  if (position_ < 0 || !ps::detail::isReadable(leaf_)) return pstRef<psObj>();
  const ps::detail::ArrayView values(leaf_->values());
  return position_ < values.count() ? values[position_] : pstRef<psObj>();
}
