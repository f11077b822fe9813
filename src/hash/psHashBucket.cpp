#include "hash/psHashBucket.h"

namespace {

const pstProcessInitTermClass processInitTerm;

}  // namespace

psHashBucket::psHashBucket(int depth, int slots) : depth_(depth), entries_(static_cast<unsigned int>(slots)) {}

psHashBucket::~psHashBucket() noexcept {
  if (ps::detail::isInArena(this)) ps::detail::noteChange();
}
