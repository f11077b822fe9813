#include "sorted/psTreeSet.h"

#include <utility>

#include "tree/ElementChange.h"
#include "tree/TreeRoot.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::RawProbe;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

bool isIn(const psTreeSet& set, KeyProbe&& probe) {
  const TreePosition at = ps::detail::locateMatch(set, probe);
  return !at.failed && at.matched;
}

}  // namespace

psTreeSet::psTreeSet(int n, pstHandle<psContObj> adminContainer, pstHandle<psContObj> vArrayContainer)
    : admin_(ps::detail::constructRoot(*this, n, std::move(adminContainer), std::move(vArrayContainer))) {}

psTreeSet::psTreeSet(pstHandle<psCompare>& comparator, int n, pstHandle<psContObj> adminContainer,
                     pstHandle<psContObj> vArrayContainer)
    : psTreeSet(n, std::move(adminContainer), std::move(vArrayContainer)) {
  comparator_ = comparator;
}

psTreeSet::~psTreeSet() noexcept { ps::detail::destroyRoot(*this); }

const pstRef<psTreeAdmin>& psTreeSet::admin() const { return admin_; }
pstRef<psCompare> psTreeSet::comparator() const { return comparator_; }

bool psTreeSet::add(const pstHandle<psObj>& element) {
  return ps::detail::addElement(*this, HandleProbe(element, {comparator()}), element);
}

bool psTreeSet::add(const pstHandle<psObj>& element, psCompareFunction compare) {
  return ps::detail::addElement(*this, CallbackProbe(compare), element);
}

bool psTreeSet::add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return ps::detail::addElement(*this, JavaProbe(key, callee, env), element);
}

bool psTreeSet::contains(const void* key) const { return isIn(*this, RawProbe(key, {comparator()})); }

bool psTreeSet::contains(const pstHandle<psObj>& element) const { return isIn(*this, HandleProbe(element, *this)); }

bool psTreeSet::contains(psCompareFunction compare) const { return isIn(*this, CallbackProbe(compare)); }

bool psTreeSet::contains(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return isIn(*this, JavaProbe(key, callee, env));
}

pstRef<psObj> psTreeSet::get(const void* key) const {
  return ps::detail::storedFor(*this, RawProbe(key, {comparator()}));
}

pstRef<psObj> psTreeSet::get(const pstHandle<psObj>& element) const {
  return ps::detail::storedFor(*this, HandleProbe(element, *this));
}

pstRef<psObj> psTreeSet::get(psCompareFunction compare) const {
  return ps::detail::storedFor(*this, CallbackProbe(compare));
}

pstRef<psObj> psTreeSet::get(_jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  return ps::detail::storedFor(*this, JavaProbe(key, callee, env));
}

bool psTreeSet::remove(const void* key) { return ps::detail::removeMatch(*this, RawProbe(key, {comparator()})); }

bool psTreeSet::remove(const pstHandle<psObj>& element) {
  return ps::detail::removeMatch(*this, HandleProbe(element, *this));
}

bool psTreeSet::remove(psCompareFunction compare) { return ps::detail::removeMatch(*this, CallbackProbe(compare)); }

bool psTreeSet::remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return ps::detail::removeMatch(*this, JavaProbe(key, callee, env));
}
