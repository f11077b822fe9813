#include "core/PlaceCheck.h"

#include "store/base/IdText.h"
#include "store/base/psChecked.h"
#include "store/psHandleBase.h"

namespace ps::detail {

void PlaceCheck::note(const Place& place) {
  place_ = place;
  readStamp_ = currentSession->readStamp;
  updateStamp_ = currentSession->updateStamp;
}

void PlaceCheck::compare(const Place& found) const {
  if (place_.holder.isNull() || found.holder != place_.holder || found.position != place_.position) return;
  if (readStamp_ != currentSession->readStamp || updateStamp_ != currentSession->updateStamp) return;
  if (found.count != place_.count || found.stored != place_.stored) reportForeignChange(found.holder);
}

void reportForeignChange(const psId& holder) {
  reportMisuse("an iterator that stands in " + textOf(holder) +
               " is used after its collection was changed, though not by the iterator; position it again with goTo or "
               "goToIndex");
}

}  // namespace ps::detail
