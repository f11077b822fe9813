#include "JavaLookUp.h"

#include <dlfcn.h>
#include <jni.h>

#include <stdexcept>
#include <type_traits>

namespace {

// The JVM of this process, which can have no second one; it stays until the process ends.
JNIEnv* startJava() {
  char classPath[] = "-Djava.class.path=" PS_BENCH_CLASSES;
  char collector[] = "-XX:+UseSerialGC";
  JavaVMOption options[] = {{classPath, nullptr}, {collector, nullptr}};
  JavaVMInitArgs arguments = {JNI_VERSION_1_8, 2, options, JNI_FALSE};
  void* const library = dlopen(PS_JVM, RTLD_NOW);
  const auto create =
      reinterpret_cast<decltype(&JNI_CreateJavaVM)>(library != nullptr ? dlsym(library, "JNI_CreateJavaVM") : nullptr);
  JavaVM* machine = nullptr;
  JNIEnv* env = nullptr;
  if (create == nullptr || create(&machine, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) {
    throw std::runtime_error("the JVM " PS_JVM " does not start");
  }
  return env;
}

// A Java key that can be set to an element, and the object whose methods compare and hash it.
struct JavaKey {
  JavaKey() : env(startJava()) {
    const jclass calleeClass = env->FindClass("com/vexa/pm/psScalableCollectionsPersistor");
    const jclass keyClass = env->FindClass("com/vexa/pm/psScalableCollectionsPersistor$Key");
    if (calleeClass == nullptr || keyClass == nullptr) throw std::runtime_error("the Java classes are missing");
    callee = env->AllocObject(calleeClass);
    key = env->AllocObject(keyClass);
    idField = env->GetFieldID(keyClass, "id", "J");
  }

  JNIEnv* env;
  jobject callee = nullptr;
  jobject key = nullptr;
  jfieldID idField = nullptr;
};

}  // namespace

template <class Set>
std::size_t JavaLookUp<Set>::countHits(const Keys& keys) {
  static JavaKey java;
  return this->read([&](Set& set) {
    std::size_t hits = 0;
    for (const std::uint64_t key : keys) {
      java.env->SetLongField(java.key, java.idField, static_cast<jlong>(key));
      if constexpr (std::is_same_v<Set, psTreeSet>) {
        hits += set.contains(java.key, java.callee, java.env) ? 1 : 0;
      } else {
        const int hash = psCompare::hash(java.key, java.callee, java.env);
        hits += set.contains(static_cast<unsigned int>(hash), java.key, java.callee, java.env) ? 1 : 0;
      }
    }
    return hits;
  });
}

template class JavaLookUp<psTreeSet>;
template class JavaLookUp<psHashSet>;
