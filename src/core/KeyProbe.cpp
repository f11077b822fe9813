#include "core/KeyProbe.h"

#include "core/JavaBridge.h"

namespace ps::detail {

RawProbe::RawProbe(const void* key, const ComparatorChoice& choice) : key_(key), comparator_(choice.comparator) {
  if (choice.refused || comparator_.isNull() || comparator_.open(pscRead) != 1) fail();
}

int RawProbe::compare(const pstRef<psObj>& stored) { return comparator_->compare(pstHandle<psObj>(stored), key_); }

HandleProbe::HandleProbe(const pstHandle<psObj>& key, const ComparatorChoice& choice)
    : key_(key), comparator_(choice.comparator) {
  const bool hasComparator = !comparator_.isNull();
  if (choice.refused || key.isNull() || (hasComparator && comparator_.open(pscRead) != 1)) {
    fail();
  } else if (!hasComparator || comparator_->psGetTypeN() == psCompare::pstTypeN) {
    // A plain psCompare overrides nothing: its order is that of identifiers too.
    orderByIdentifier(key.oid());
  }
}

int HandleProbe::compare(const pstRef<psObj>& stored) {
  const pstHandle<psObj> element(stored);
  return comparator_.isNull() ? psCompare::comparePsId(element, key_) : comparator_->compare(element, key_);
}

CallbackProbe::CallbackProbe(int (*function)(unsigned int, unsigned int)) : function_(function) {
  if (function == nullptr) fail();
}

int CallbackProbe::compare(const pstRef<psObj>& stored) {
  return psCompare::compare(pstHandle<psObj>(stored), function_);
}

int JavaProbe::compare(const pstRef<psObj>& stored) {
  const std::optional<int> result = java::compareWithKey(stored.oid(), key_, callee_, env_);
  if (!result) fail();
  return result.value_or(0);
}

}  // namespace ps::detail
