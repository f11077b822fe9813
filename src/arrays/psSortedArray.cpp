#include "arrays/psSortedArray.h"

#include <utility>

#include "arrays/NodeSearch.h"

using ps::detail::ArrayView;
using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::RawProbe;
using ps::detail::SearchEnds;
using ps::detail::SearchResult;

namespace {

const pstProcessInitTermClass processInitTerm;

SearchResult search(const psSortedArray& array, KeyProbe&& probe, unsigned char leaf) {
  const ArrayView view(array);
  return leaf != 0 ? ps::detail::searchElements(view, probe, SearchEnds::asked)
                   : ps::detail::NodeSearch::run(view, probe, SearchEnds::asked);
}

int insert(psSortedArray& array, const pstHandle<psObj>& element, KeyProbe&& probe, unsigned char leaf) {
  if (element.isNull()) return -1;
  if (array.isEmpty()) return array.addLast(element) ? 0 : -1;
  const SearchResult found = search(array, std::move(probe), leaf);
  return !found.failed && array.insertBefore(element, found.position) == 1 ? found.position : -1;
}

}  // namespace

psSortedArray::~psSortedArray() noexcept = default;

int psSortedArray::binarySearch(const pstHandle<psObj>& key, pstHandle<psCompare>& comparator,
                                unsigned char leaf) const {
  return search(*this, HandleProbe(key, {comparator}), leaf).position;
}

int psSortedArray::binarySearch(const void* key, pstHandle<psCompare>& comparator, unsigned char leaf) const {
  return search(*this, RawProbe(key, {comparator}), leaf).position;
}

int psSortedArray::binarySearch(psCompareFunction compare, unsigned char leaf) const {
  return search(*this, CallbackProbe(compare), leaf).position;
}

int psSortedArray::binarySearch(_jobject*& key, _jobject*& callee, JNIEnv_* env, unsigned char leaf) const {
  return search(*this, JavaProbe(key, callee, env), leaf).position;
}

int psSortedArray::add(const pstHandle<psObj>& element, pstHandle<psCompare>& comparator, unsigned char leaf) {
  return insert(*this, element, HandleProbe(element, {comparator}), leaf);
}

int psSortedArray::add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env,
                       unsigned char leaf) {
  JavaProbe probe(key, callee, env);
  // While an exception is pending nothing is added, not even to an empty array.
  return probe.failed() ? -1 : insert(*this, element, std::move(probe), leaf);
}
