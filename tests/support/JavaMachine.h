#pragma once

#include <jni.h>

#include <string>
#include <vector>

namespace ps::test {

// The JVM of this process, which can have no second one. It stays until the process ends.
class JavaMachine {
 public:
  // Starts it with these options beside those that keep it small.
  static void start(const std::vector<std::string>& options);
  // The environment of the calling thread, which is attached if need be, until it ends.
  static JNIEnv* env();
  // Ends the exception that is pending in the calling thread and gives its text; "" when there is none.
  static std::string takeException();
  // What the JVM had to say, -Xcheck:jni above all.
  static std::string complaints();
};

// Frees the local references that are made while it lives.
class LocalFrame {
 public:
  explicit LocalFrame(JNIEnv* env) : env_(env) { env_->PushLocalFrame(16); }
  LocalFrame(const LocalFrame&) = delete;
  LocalFrame& operator=(const LocalFrame&) = delete;
  ~LocalFrame() { env_->PopLocalFrame(nullptr); }

 private:
  JNIEnv* env_;
};

}  // namespace ps::test
