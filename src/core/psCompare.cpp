#include "core/psCompare.h"

#include "core/JavaBridge.h"
#include "core/RawKey.h"

using ps::detail::handleOfRawKey;
using ps::detail::JavaBridge;

namespace {

const pstProcessInitTermClass processInitTerm;

int callWithIdentifier(const psId& id, psCompareFunction f) {
  const unsigned int databaseAndContainer = static_cast<unsigned int>(id.get_DB()) << 16 | id.get_OC();
  const unsigned int pageAndSlot = static_cast<unsigned int>(id.get_page()) << 16 | id.get_slot();
  return f(databaseAndContainer, pageAndSlot);
}

}  // namespace

psCompare::~psCompare() noexcept = default;

int psCompare::compare(const pstHandle<psObj>& element, const void*& key) const {
  return comparePsId(element, handleOfRawKey(key));
}

int psCompare::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const {
  return comparePsId(element, other);
}

int psCompare::hash(const void*& key) const { return hashPsId(handleOfRawKey(key)); }

int psCompare::hash(const pstHandle<psObj>& element) const { return hashPsId(element); }

std::uint64_t psCompare::abbreviation(const void*&) const { return 0; }

std::uint64_t psCompare::abbreviation(const pstHandle<psObj>&) const { return 0; }

std::uint32_t psCompare::abbreviationVersion() const { return 0; }

unsigned int psCompare::elementTypeN() const { return psObj::pstTypeN; }

int psCompare::compare(const pstHandle<psObj>& element, psCompareFunction f) {
  return callWithIdentifier(element.oid(), f);
}

int psCompare::hash(const pstHandle<psObj>& element, psHashFunction f) { return callWithIdentifier(element.oid(), f); }

int psCompare::compare(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return JavaBridge(callee, env).compare(element.oid(), key).value_or(0);
}

int psCompare::hash(_jobject*& key, _jobject*& callee, JNIEnv_* env) {
  return JavaBridge(callee, env).hash(key).value_or(0);
}

int psCompare::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other, _jobject*& callee,
                       JNIEnv_* env) {
  return JavaBridge(callee, env).compare(element.oid(), other.oid()).value_or(0);
}

int psCompare::hash(const pstHandle<psObj>& element, _jobject*& callee, JNIEnv_* env) {
  return JavaBridge(callee, env).hash(element.oid()).value_or(0);
}

int psCompare::comparePsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b) {
  const std::uint64_t first = ps::detail::orderOf(a.oid());
  const std::uint64_t second = ps::detail::orderOf(b.oid());
  return (first > second) - (first < second);
}

int psCompare::hashPsId(const pstHandle<psObj>& element) {
  const psId& id = element.oid();
  std::uint32_t hash = std::uint32_t{id.get_page()} << 20;
  hash |= (id.get_slot() & 0x7FU) << 13;
  hash |= (id.get_OC() & 0x7FU) << 6;
  // Stored hashes were made with this addition: it is part of the format of the hash collections that it carries.
  hash += id.get_DB();
  return static_cast<int>(hash);
}
