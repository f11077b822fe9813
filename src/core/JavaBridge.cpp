#include "core/JavaBridge.h"

#include "store/psError.h"

namespace ps::detail::java {

namespace {

std::optional<int> unavailable() {
  psSignal(pscError, psteStore, nullptr,
           "this build of pscollections has no Java bridge; look up with a raw key, a handle or a callback instead");
  return std::nullopt;
}

}  // namespace

std::optional<int> compareWithKey(const psId&, _jobject*, _jobject*, JNIEnv_*) { return unavailable(); }
std::optional<int> compareElements(const psId&, const psId&, _jobject*, JNIEnv_*) { return unavailable(); }
std::optional<int> hashOfKey(_jobject*, _jobject*, JNIEnv_*) { return unavailable(); }
std::optional<int> hashOfElement(const psId&, _jobject*, JNIEnv_*) { return unavailable(); }

}  // namespace ps::detail::java
