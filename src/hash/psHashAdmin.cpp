#include "hash/psHashAdmin.h"

#include "core/Containers.h"
#include "store/pstItr.h"

namespace {

const pstProcessInitTermClass processInitTerm;

}  // namespace

psHashAdmin::psHashAdmin(pstHandle<psHashSet>& set) : set_(set), bucketContainer_(set.containedIn()) {}

psHashAdmin::~psHashAdmin() noexcept = default;

int psHashAdmin::deleteBucket(pstHandle<psContObj>& container) {
  if (container.name() != nullptr || ps::detail::isGarbageCollectable(container)) return 1;
  pstItr<psObj> object;
  object.scan(container, pscNoOpen);
  if (!object.next()) return 0;
  return object.next() ? 1 : psDelete(container);
}

pstRef<psContObj> psHashAdmin::provideBucketContainer() {
  return provide(bucketContainer_, bucketCount_, maxBucketsPerContainer_, pstHandle<psObj>(set_));
}

void psHashAdmin::bucketContainer(pstHandle<psContObj>& container) {
  if (psUpdate() != 1) return;
  bucketContainer_ = container;
  bucketCount_ = 0;
  forgetOwn(bucketContainer_);
}

void psHashAdmin::setMaxBucketsPerContainer(int maximum) {
  if (psUpdate() == 1) maxBucketsPerContainer_ = maximum;
}
