#include "hash/psHashChain.h"

#include <algorithm>

namespace {

const pstProcessInitTermClass processInitTerm;

}  // namespace

psHashChain::psHashChain(const pstHandle<psObj>& first, const pstHandle<psObj>& second)
    : psHashChain(std::vector<pstRef<psObj>>{first, second}) {}

psHashChain::psHashChain(const std::vector<pstRef<psObj>>& entries)
    : entries_(static_cast<unsigned int>(entries.size())) {
  if (entries_.size() == entries.size()) std::copy(entries.begin(), entries.end(), entries_.head());
}

psHashChain::~psHashChain() noexcept = default;
