#pragma once

#include <optional>

#include "core/psJavaTypes.h"
#include "store/psId.h"

// The one place where the library calls Java. Each function calls a method of callee, a Java object that the
// application hands in; identifiers cross as numbers. No value means that the call failed: a Java exception is then
// pending in env, or this build cannot call Java, which is signalled.
namespace ps::detail::java {

std::optional<int> compareWithKey(const psId& element, _jobject* key, _jobject* callee, JNIEnv_* env);
std::optional<int> compareElements(const psId& element, const psId& other, _jobject* callee, JNIEnv_* env);
std::optional<int> hashOfKey(_jobject* key, _jobject* callee, JNIEnv_* env);
std::optional<int> hashOfElement(const psId& element, _jobject* callee, JNIEnv_* env);

}  // namespace ps::detail::java
