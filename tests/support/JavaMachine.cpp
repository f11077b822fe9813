#include "support/JavaMachine.h"

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

// The leak checker cannot walk the JVM's thread-local storage, and what the JVM leaves behind at the end is its own.
extern "C" const char* __lsan_default_options() { return "use_tls=0"; }
extern "C" const char* __lsan_default_suppressions() { return "leak:libjvm.so\nleak:libzip.so\n"; }

namespace ps::test {

namespace {

JavaVM* machine = nullptr;

struct Complaints {
  std::mutex mutex;
  std::string text;
};

// Never destroyed: the JVM's threads go on while this process ends.
Complaints& complaintsOfAll() {
  static auto& complaints = *new Complaints;
  return complaints;
}

jint JNICALL keepComplaint(std::FILE*, const char* format, va_list arguments) {
  char text[1000];
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  const std::lock_guard<std::mutex> lock(complaintsOfAll().mutex);
  complaintsOfAll().text += text;
  return length;
}

// The thread's attachment.
struct Attachment {
  JNIEnv* env = nullptr;

  Attachment() {
    if (machine->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr) != JNI_OK) std::abort();
  }
  ~Attachment() { machine->DetachCurrentThread(); }
};

}  // namespace

void JavaMachine::start(const std::vector<std::string>& options) {
  std::vector<std::string> texts = {"-Xmx64m", "-XX:+UseSerialGC", "-XX:-UsePerfData"};
  texts.insert(texts.end(), options.begin(), options.end());
  std::vector<JavaVMOption> list = {{const_cast<char*>("vfprintf"), reinterpret_cast<void*>(keepComplaint)}};
  for (std::string& text : texts) list.push_back({text.data(), nullptr});
  JavaVMInitArgs arguments = {JNI_VERSION_1_8, static_cast<jint>(list.size()), list.data(), JNI_FALSE};
  // Not linked to, so that only programs that need a JVM load it.
  void* const library = dlopen(PS_JVM, RTLD_NOW);
  const auto create =
      reinterpret_cast<decltype(&JNI_CreateJavaVM)>(library != nullptr ? dlsym(library, "JNI_CreateJavaVM") : nullptr);
  JNIEnv* env = nullptr;
  if (create == nullptr || create(&machine, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) {
    std::fprintf(stderr, "The JVM %s does not start. %s\n", PS_JVM, complaints().c_str());
    std::exit(1);
  }
}

JNIEnv* JavaMachine::env() {
  thread_local Attachment attachment;
  return attachment.env;
}

std::string JavaMachine::takeException() {
  const LocalFrame frame(env());
  const jthrowable exception = env()->ExceptionOccurred();
  if (exception == nullptr) return "";
  env()->ExceptionClear();
  const jmethodID toString = env()->GetMethodID(env()->GetObjectClass(exception), "toString", "()Ljava/lang/String;");
  const auto text = static_cast<jstring>(env()->CallObjectMethod(exception, toString));
  if (env()->ExceptionCheck() == JNI_TRUE) std::abort();
  const char* const letters = env()->GetStringUTFChars(text, nullptr);
  std::string copy = letters;
  env()->ReleaseStringUTFChars(text, letters);
  return copy;
}

std::string JavaMachine::complaints() {
  const std::lock_guard<std::mutex> lock(complaintsOfAll().mutex);
  return complaintsOfAll().text;
}

}  // namespace ps::test
