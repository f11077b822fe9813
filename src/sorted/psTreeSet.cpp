#include "sorted/psTreeSet.h"

#include <utility>

#include "tree/TreePosition.h"
#include "tree/TreeRoot.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::RawProbe;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

bool isIn(const psTreeSet& set, KeyProbe& probe) {
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
  HandleProbe probe(element, {comparator()});
  return ps::detail::addElement(*this, probe, element);
}

bool psTreeSet::add(const pstHandle<psObj>& element, int (*compare)(unsigned int, unsigned int)) {
  CallbackProbe probe(compare);
  return ps::detail::addElement(*this, probe, element);
}

bool psTreeSet::add(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
  JavaProbe probe(key, callee, env);
  return ps::detail::addElement(*this, probe, element);
}

bool psTreeSet::contains(const void* key) const {
  RawProbe probe(key, {comparator()});
  return isIn(*this, probe);
}

bool psTreeSet::contains(const pstHandle<psObj>& element) const {
  HandleProbe probe(element, *this);
  return isIn(*this, probe);
}

bool psTreeSet::contains(int (*compare)(unsigned int, unsigned int)) const {
  CallbackProbe probe(compare);
  return isIn(*this, probe);
}

bool psTreeSet::contains(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  JavaProbe probe(key, callee, env);
  return isIn(*this, probe);
}

pstRef<psObj> psTreeSet::get(const void* key) const {
  RawProbe probe(key, {comparator()});
  return ps::detail::storedFor(*this, probe);
}

pstRef<psObj> psTreeSet::get(const pstHandle<psObj>& element) const {
  HandleProbe probe(element, *this);
  return ps::detail::storedFor(*this, probe);
}

pstRef<psObj> psTreeSet::get(int (*compare)(unsigned int, unsigned int)) const {
  CallbackProbe probe(compare);
  return ps::detail::storedFor(*this, probe);
}

pstRef<psObj> psTreeSet::get(_jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  JavaProbe probe(key, callee, env);
  return ps::detail::storedFor(*this, probe);
}

bool psTreeSet::remove(const void* key) {
  RawProbe probe(key, {comparator()});
  return ps::detail::removeMatch(*this, probe);
}

bool psTreeSet::remove(const pstHandle<psObj>& element) {
  HandleProbe probe(element, *this);
  return ps::detail::removeMatch(*this, probe);
}

bool psTreeSet::remove(int (*compare)(unsigned int, unsigned int)) {
  CallbackProbe probe(compare);
  return ps::detail::removeMatch(*this, probe);
}

bool psTreeSet::remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  JavaProbe probe(key, callee, env);
  return ps::detail::removeMatch(*this, probe);
}
