#pragma once

#include "core/psJavaTypes.h"
#include "support/Item.h"

// The Java side of the key flavours, for the calling thread: a JVM is started with the first key.
namespace ps::test {

// Why there is no Java for tests; "" when there is.
std::string whyNoJava();

// A Java object that stands for an item, its number or its identifier, with the others that go with it in a call.
class JavaKey {
 public:
  JavaKey(const ItemKey& item, bool byNumber, std::uint32_t hash = 0);
  JavaKey(const JavaKey&) = delete;
  JavaKey& operator=(const JavaKey&) = delete;
  ~JavaKey();

  _jobject* key = nullptr;
  _jobject* callee = nullptr;
  JNIEnv_* env = nullptr;
};

// Lets the k-th call into Java that is made while the object lives throw an exception.
class JavaFailure {
 public:
  explicit JavaFailure(std::uint64_t k);
  JavaFailure(const JavaFailure&) = delete;
  JavaFailure& operator=(const JavaFailure&) = delete;
  ~JavaFailure();

  // Whether the last one of this thread was thrown, and found pending when its JavaKey went. The key ends it, and
  // complains when anything was called after it.
  static bool bit();
};

}  // namespace ps::test
