#include "sorted/psTreeSet.h"

#include <utility>

#include "core/KeyWalk.h"
#include "tree/ElementChange.h"
#include "tree/TreeAppender.h"
#include "tree/TreeRoot.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::RawProbe;
using ps::detail::TreeAppender;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

bool addThrough(TreeAppender& appender, psTreeSet& set, const pstHandle<psObj>& element) {
  HandleProbe probe(element, {set.comparator()});
  return appender.appendInOrder(probe, element) || ps::detail::addElement(set, std::move(probe), element);
}

bool isIn(const psTreeSet& set, KeyProbe&& probe) {
  const TreePosition at = ps::detail::locateMatch(set, probe);
  return !at.failed && at.matched;
}

}  // namespace

psTreeSet::psTreeSet(int n, pstHandle<psContObj> adminContainer, pstHandle<psContObj> vArrayContainer)
    : admin_(ps::detail::constructRoot(*this, n, std::move(adminContainer), std::move(vArrayContainer))) {}

psTreeSet::psTreeSet(pstHandle<psCompare>& comparator, int n, pstHandle<psContObj> adminContainer,
                     pstHandle<psContObj> vArrayContainer)
    : admin_(ps::detail::constructRoot(*this, n, std::move(adminContainer), std::move(vArrayContainer), true)),
      comparator_(comparator) {}

psTreeSet::~psTreeSet() noexcept { ps::detail::destroyRoot(*this); }

// A class derived from this one may add in its own way.
bool psTreeSet::addAll(pstHandle<psCollection>& other) {
  if (psGetTypeN() != pstTypeN) return psCollection::addAll(other);
  if (psThis(pscNoOpen) == other) return false;
  TreeAppender appender(*this);
  bool changed = false;
  ps::detail::visitKeys(other, [&](const pstHandle<psObj>& element) {
    changed |= addThrough(appender, *this, element);
    return true;
  });
  return changed;
}

int psTreeSet::append(const pstRef<psObj>* elements, int n) {
  const ps::detail::RefusalWatch watch;
  TreeAppender appender(*this);
  int added = 0;
  for (int i = 0; i < n && !watch.refused(); ++i) {
    if (addThrough(appender, *this, pstHandle<psObj>(elements[i]))) ++added;
  }
  return added;
}

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
