#include "core/JavaBridge.h"
#include "core/psJavaId.h"
#include "store/base/StoreError.h"

// Stands in for JavaBridge.cpp where the library is built without a JDK's headers.
namespace {

void signalMissing() {
  ps::detail::signalStoreError(
      {psErrorKind::usage,
       "this build of pscollections cannot call Java; build it where a JDK is installed (Debian: "
       "openjdk-17-jdk-headless), or look up with a raw key, a handle or a callback instead"});
}

}  // namespace

namespace ps::detail {

JavaBridge::JavaBridge(_jobject* callee, JNIEnv_* env) : callee_(callee), env_(env) { signalMissing(); }

std::optional<int> JavaBridge::compare(const psId&, _jobject*) { return std::nullopt; }
std::optional<int> JavaBridge::compare(const psId&, const psId&) { return std::nullopt; }
std::optional<int> JavaBridge::hash(_jobject*) { return std::nullopt; }
std::optional<int> JavaBridge::hash(const psId&) { return std::nullopt; }
std::optional<std::uint64_t> JavaBridge::abbreviation(const psId&, _jobject*) { return std::nullopt; }
std::optional<std::uint32_t> JavaBridge::abbreviationVersion() { return std::nullopt; }

}  // namespace ps::detail

void jsetIntField(JNIEnv_*, _jobject*, _jfieldID*, long) { signalMissing(); }
void jsetJavaOidFromOid(JNIEnv_*, _jobject*&, psId&, unsigned int) { signalMissing(); }
