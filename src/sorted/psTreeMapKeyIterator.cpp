#include "sorted/psTreeMapKeyIterator.h"

psTreeMapKeyIterator::psTreeMapKeyIterator(pstHandle<psTreeMap>& map) : psTreeIterator(map) {}

psTreeMapKeyIterator::~psTreeMapKeyIterator() = default;

pstRef<psObj> psTreeMapKeyIterator::currentValue() {
  if (!standsInLeaf() || position_ < 0) return pstRef<psObj>();
  values_.use(leaf_->values());
  const pstRef<psObj>* const value = values_.at(position_);
  return value != nullptr ? *value : pstRef<psObj>();
}
