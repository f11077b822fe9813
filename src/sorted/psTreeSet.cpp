#include "sorted/psTreeSet.h"

#include <algorithm>
#include <utility>

#include "core/Containers.h"
#include "tree/NodeAccess.h"
#include "tree/NodeRemoval.h"
#include "tree/TreePosition.h"

using ps::detail::CallbackProbe;
using ps::detail::HandleProbe;
using ps::detail::JavaProbe;
using ps::detail::KeyProbe;
using ps::detail::NodeAccess;
using ps::detail::RawProbe;
using ps::detail::TreePosition;

namespace {

const pstProcessInitTermClass processInitTerm;

// A split of a smaller node fills its parent again: the tree would grow a level with every element.
constexpr int smallestCapacity = 4;

// The three things that are done with a key once it has been located.

bool isIn(const psTreeSet& set, KeyProbe& probe) {
  const TreePosition at = ps::detail::locate(set, probe);
  return !at.failed && at.matched;
}

pstRef<psObj> elementIn(const psTreeSet& set, KeyProbe& probe) {
  const TreePosition at = ps::detail::locate(set, probe);
  return !at.failed && at.matched ? at.element : pstRef<psObj>();
}

bool removeFrom(psTreeSet& set, KeyProbe& probe) {
  const TreePosition at = ps::detail::locate(set, probe);
  return !at.failed && at.matched && ps::detail::removeElement(at.leaf, at.index);
}

// Deletes an object of the set's own, and the container that this leaves empty.
void deletePart(pstHandle<psObj> part) {
  if (!part.isValid()) return;
  pstHandle<psContObj> container = part.containedIn();
  psDelete(part);
  psAdmin::deleteIfEmptyUnnamedNonGC(container);
}

}  // namespace

psTreeSet::psTreeSet(int n, pstHandle<psContObj> adminContainer, pstHandle<psContObj> vArrayContainer) {
  construct(pstRef<psCompare>(), n, std::move(adminContainer), std::move(vArrayContainer));
}

psTreeSet::psTreeSet(pstHandle<psCompare>& comparator, int n, pstHandle<psContObj> adminContainer,
                     pstHandle<psContObj> vArrayContainer) {
  construct(comparator, n, std::move(adminContainer), std::move(vArrayContainer));
}

void psTreeSet::construct(const pstRef<psCompare>& comparator, int n, pstHandle<psContObj> adminContainer,
                          pstHandle<psContObj> vArrayContainer) {
  pstHandle<psBTree> self(this);
  const bool garbageCollectable = ps::detail::isGarbageCollectable(self.containedIn());
  if (adminContainer.isNull()) adminContainer = ps::detail::createContainer(self.oid(), garbageCollectable);
  if (vArrayContainer.isNull()) vArrayContainer = ps::detail::createContainer(self.oid(), garbageCollectable);
  const pstHandle<psSortedArray> elements(new (vArrayContainer) psSortedArray(std::max(n, smallestCapacity)));
  if (elements.isNull()) return;
  NodeAccess::setElements(*this, elements);
  comparator_ = comparator;
  admin_ = pstRef<psTreeAdmin>(new (adminContainer) psTreeAdmin(self));
  if (admin_.isNull()) {
    deletePart(elements);
    NodeAccess::setElements(*this, pstRef<psUnsortedArray>());
  }
}

psTreeSet::~psTreeSet() noexcept {
  if (!admin_.isValid()) return;
  clear();
  deletePart(pstHandle<psObj>(NodeAccess::elements(*this)));
  deletePart(pstHandle<psObj>(admin_));
}

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
  HandleProbe probe(element, {comparator()});
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
  return elementIn(*this, probe);
}

pstRef<psObj> psTreeSet::get(const psObj* element) const {
  const pstHandle<psObj> key(element);
  HandleProbe probe(key, {comparator()});
  return elementIn(*this, probe);
}

pstRef<psObj> psTreeSet::get(int (*compare)(unsigned int, unsigned int)) const {
  CallbackProbe probe(compare);
  return elementIn(*this, probe);
}

pstRef<psObj> psTreeSet::get(_jobject*& key, _jobject*& callee, JNIEnv_* env) const {
  JavaProbe probe(key, callee, env);
  return elementIn(*this, probe);
}

bool psTreeSet::remove(const void* key) {
  RawProbe probe(key, {comparator()});
  return removeFrom(*this, probe);
}

bool psTreeSet::remove(const pstHandle<psObj>& element) {
  HandleProbe probe(element, {comparator()});
  return removeFrom(*this, probe);
}

bool psTreeSet::remove(int (*compare)(unsigned int, unsigned int)) {
  CallbackProbe probe(compare);
  return removeFrom(*this, probe);
}

bool psTreeSet::remove(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  JavaProbe probe(key, callee, env);
  return removeFrom(*this, probe);
}

int psTreeSet::newLow(pstHandle<psBTree>&) { return 1; }

pstHandle<psBTree> psTreeSet::parent() const { return pstHandle<psBTree>(); }

int psTreeSet::parent(const pstHandle<psBTree>&) { return 0; }

int psTreeSet::removeNode(pstHandle<psBTree>& node) {
  return node != psOid() && ps::detail::deleteEmptyNode(node) ? 1 : 0;
}
