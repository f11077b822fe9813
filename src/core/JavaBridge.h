#pragma once

#include <cstdint>
#include <optional>

#include "core/psJavaTypes.h"
#include "store/base/psId.h"

namespace ps::detail {

// Calls the Java object callee, for one operation, in the thread of env. An empty result means that the call failed. A
// Java exception is then pending in env; without an environment an error is signalled instead. Nothing is called while
// an exception is pending, even one from before.
class JavaBridge {
 public:
  JavaBridge(_jobject* callee, JNIEnv_* env);

  // Whether a call can be made.
  bool isOpen() const { return isOpen_; }

  std::optional<int> compare(const psId& element, _jobject* key);
  std::optional<int> compare(const psId& element, const psId& other);
  std::optional<int> hash(_jobject* key);
  std::optional<int> hash(const psId& element);
  // The abbreviation of the key, or of the element when key is null. 0 where the class has no such method.
  std::optional<std::uint64_t> abbreviation(const psId& element, _jobject* key);
  std::optional<std::uint32_t> abbreviationVersion();

 private:
  template <class Result, class LookUp, class... Arguments>
  std::optional<Result> call(Result (JNIEnv_::*function)(_jobject*, _jmethodID*, ...), LookUp& method,
                             Arguments... arguments);

  _jobject* callee_;
  JNIEnv_* env_;
  bool isOpen_ = false;
  const void* known_ = nullptr;  // the class that callee is known to be of, with the method called last
};

}  // namespace ps::detail
