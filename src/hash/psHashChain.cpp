#include "hash/psHashChain.h"

namespace {

const pstProcessInitTermClass processInitTerm;

}  // namespace

psHashChain::psHashChain(const pstHandle<psObj>& first, const pstHandle<psObj>& second) : entries_(2) {
  pstRef<psObj>* const entries = entries_.head();
  if (entries == nullptr) return;
  entries[0] = first;
  entries[1] = second;
}

psHashChain::~psHashChain() noexcept = default;
