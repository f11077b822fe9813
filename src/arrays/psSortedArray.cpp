#include "arrays/psSortedArray.h"

#include <utility>

#include "arrays/ArrayEdit.h"
#include "arrays/NodeSearch.h"

using ps::detail::Abbreviation;
using ps::detail::ArrayEdit;
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

SearchResult search(const psSortedArray& array, KeyProbe& probe, unsigned char leaf) {
  const ArrayView view(array);
  return leaf != 0 ? ps::detail::searchElements(view, probe, SearchEnds::asked)
                   : ps::detail::NodeSearch::run(view, probe, SearchEnds::asked);
}

SearchResult search(const psSortedArray& array, KeyProbe&& probe, unsigned char leaf) {
  return search(array, probe, leaf);
}

int insert(psSortedArray& array, const pstHandle<psObj>& element, KeyProbe&& probe, unsigned char leaf) {
  if (element.isNull()) return -1;
  SearchResult found;
  if (!array.isEmpty()) found = search(array, probe, leaf);
  if (found.failed) return -1;
  Abbreviation abbreviation;
  if (leaf != 0 && !probe.failed() && ArrayView(array).keepsAbbreviations()) {
    abbreviation = probe.abbreviation();
    if (probe.failed()) return -1;
  }
  ArrayEdit edit(array);
  if (!edit.isOpen() || edit.isFull()) return -1;
  edit.insert(found.position, element, abbreviation);
  return found.position;
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
