#include "core/JavaBridge.h"

#include <jni.h>

#include <array>
#include <atomic>
#include <memory>
#include <new>
#include <utility>

#include "core/psJavaId.h"
#include "store/base/NothingThrown.h"
#include "store/base/StoreError.h"

namespace ps::detail {

namespace {

// A class of the application together with its members that are used here.
template <class Id, std::size_t count>
struct JavaClass {
  jclass reference = nullptr;  // global: the class stays loaded, and with it the identifiers stay good
  std::array<Id, count> members{};
};

struct Member {
  const char* name;
  const char* signature;
};

void throwJava(JNIEnv* env, const char* exceptionClass, const char* message) {
  const jclass exception = env->FindClass(exceptionClass);
  if (exception == nullptr) return;
  env->ThrowNew(exception, message);
  env->DeleteLocalRef(exception);
}

jclass globalReference(JNIEnv* env, jclass local) {
  const auto global = static_cast<jclass>(env->NewGlobalRef(local));
  if (global == nullptr && env->ExceptionCheck() == JNI_FALSE) {
    throwJava(env, "java/lang/OutOfMemoryError", "no memory for a reference to a class");
  }
  return global;
}

// Looks a class up when it is first needed, and keeps it for the life of the process. A look-up that fails leaves its
// exception pending and is made again the next time. When several threads are first at once, each looks up, and all go
// on with what one of them found. No lock is held meanwhile, since class loaders are Java code that may come back here.
template <class Id, std::size_t count>
class ClassLookUp {
 public:
  using Class = JavaClass<Id, count>;
  using Finder = Id (JNIEnv::*)(jclass, const char*, const char*);

  constexpr ClassLookUp(const char* name, Finder finder, const std::array<Member, count>& members)
      : name_(name), finder_(finder), members_(members) {}

  const Class* in(JNIEnv* env) {
    const Class* const known = known_.load(std::memory_order_acquire);
    return known != nullptr ? known : lookUp(env);
  }

 private:
  const Class* lookUp(JNIEnv* env) {
    const jclass local = env->FindClass(name_);
    if (local == nullptr) return nullptr;
    std::unique_ptr<Class> found(new (std::nothrow) Class);
    if (found == nullptr) {
      env->DeleteLocalRef(local);
      throwJava(env, "java/lang/OutOfMemoryError", "no memory for what is known of a class");
      return nullptr;
    }
    const bool isWhole = findMembers(env, local, *found);
    if (isWhole) found->reference = globalReference(env, local);
    env->DeleteLocalRef(local);
    return found->reference != nullptr ? keep(env, std::move(found)) : nullptr;
  }

  bool findMembers(JNIEnv* env, jclass local, Class& found) const {
    for (std::size_t i = 0; i < count; ++i) {
      found.members[i] = (env->*finder_)(local, members_[i].name, members_[i].signature);
      if (found.members[i] == nullptr) return false;
    }
    return true;
  }

  const Class* keep(JNIEnv* env, std::unique_ptr<Class> found) {
    const Class* known = nullptr;
    if (known_.compare_exchange_strong(known, found.get(), std::memory_order_acq_rel)) return found.release();
    env->DeleteGlobalRef(found->reference);
    return known;
  }

  const char* name_;
  Finder finder_;
  std::array<Member, count> members_;
  std::atomic<const Class*> known_{nullptr};
};

// Each method is looked up on its own: one that the application never needs may be missing.
class Method : public ClassLookUp<jmethodID, 1> {
 public:
  constexpr Method(const char* name, const char* signature)
      : ClassLookUp("com/vexa/pm/psScalableCollectionsPersistor", &JNIEnv::GetMethodID, {{{name, signature}}}) {}
};

Method compareWithKey("cpp_compare", "(Ljava/lang/Object;J)I");
Method compareElements("cpp_compare2", "(JJ)I");
Method hashOfKey("cpp_hash", "(Ljava/lang/Object;)I");
Method hashOfElement("cpp_hash2", "(J)I");

// A method that the class may lack. That it lacks one is kept too.
class OptionalMethod : public Method {
 public:
  using Method::Method;

  // Null, with no exception pending, when the class has no such method.
  const Class* in(JNIEnv* env) {
    if (isMissing_.load(std::memory_order_relaxed)) return nullptr;
    const Class* const found = Method::in(env);
    if (found != nullptr || !isPending(env, "java/lang/NoSuchMethodError")) return found;
    isMissing_ = true;
    return nullptr;
  }

 private:
  // Whether an exception of the class is pending. It is cleared then.
  static bool isPending(JNIEnv* env, const char* exceptionClass) {
    const jthrowable pending = env->ExceptionOccurred();
    if (pending == nullptr) return false;
    env->ExceptionClear();
    const jclass expected = env->FindClass(exceptionClass);
    const bool is = expected != nullptr && env->IsInstanceOf(pending, expected) == JNI_TRUE;
    if (!is) env->Throw(pending);
    env->DeleteLocalRef(expected);
    env->DeleteLocalRef(pending);
    return is;
  }

  std::atomic<bool> isMissing_{false};
};

OptionalMethod abbreviationOfEither("cpp_abbreviation", "(Ljava/lang/Object;J)J");
OptionalMethod versionOfAbbreviations("cpp_abbreviationVersion", "()I");

ClassLookUp<jfieldID, 5> identifierFields("COM/vexa/pm/psId", &JNIEnv::GetFieldID,
                                          {{{"DB", "I"}, {"OC", "I"}, {"page", "I"}, {"slot", "I"}, {"typeN", "I"}}});

// Whether Java can be called: there are an environment and an object, and no exception is pending.
bool canCall(JNIEnv* env, jobject object, const char* complaintAboutNull) {
  if (env == nullptr) {
    ps::detail::signalStoreError(
        {psErrorKind::usage,
         "there is no Java environment; pass the JNIEnv of the current thread, which must be attached to the JVM"});
    return false;
  }
  if (env->ExceptionCheck() == JNI_TRUE) return false;
  if (object == nullptr) throwJava(env, "java/lang/NullPointerException", complaintAboutNull);
  return object != nullptr;
}

bool isInstance(JNIEnv* env, jobject object, jclass ofClass, const char* complaint) {
  if (env->IsInstanceOf(object, ofClass) == JNI_TRUE) return true;
  throwJava(env, "java/lang/IllegalArgumentException", complaint);
  return false;
}

jlong packed(const psId& id) { return static_cast<jlong>(id.bits()); }

}  // namespace

JavaBridge::JavaBridge(_jobject* callee, JNIEnv_* env)
    : callee_(callee),
      env_(env),
      isOpen_(canCall(env, callee, "callee: the object that compares and hashes is null")) {}

template <class Result, class LookUp, class... Arguments>
std::optional<Result> JavaBridge::call(Result (JNIEnv_::*function)(_jobject*, _jmethodID*, ...), LookUp& method,
                                       Arguments... arguments) {
  if (!isOpen_) return std::nullopt;
  isOpen_ = false;
  const auto* const found = method.in(env_);
  if (found == nullptr) {
    // An optional method is missing without an exception.
    isOpen_ = env_->ExceptionCheck() == JNI_FALSE;
    return isOpen_ ? std::optional<Result>(Result{}) : std::nullopt;
  }
  // Where there are several class loaders, two methods need not have been found in the same class.
  if (known_ != found && !isInstance(env_, callee_, found->reference,
                                     "callee: not of the class com.vexa.pm.psScalableCollectionsPersistor that was "
                                     "found")) {
    return std::nullopt;
  }
  known_ = found;
  // Nothing may be thrown through the JVM. What is refused in a native method that Java calls fails the operation.
  const NothingThrown here;
  const Result result = (env_->*function)(callee_, found->members[0], arguments...);
  isOpen_ = env_->ExceptionCheck() == JNI_FALSE;
  return isOpen_ ? std::optional<Result>(result) : std::nullopt;
}

std::optional<int> JavaBridge::compare(const psId& element, _jobject* key) {
  return call(&JNIEnv_::CallIntMethod, compareWithKey, key, packed(element));
}

std::optional<int> JavaBridge::compare(const psId& element, const psId& other) {
  return call(&JNIEnv_::CallIntMethod, compareElements, packed(other), packed(element));
}

std::optional<int> JavaBridge::hash(_jobject* key) { return call(&JNIEnv_::CallIntMethod, hashOfKey, key); }

std::optional<int> JavaBridge::hash(const psId& element) {
  return call(&JNIEnv_::CallIntMethod, hashOfElement, packed(element));
}

std::optional<std::uint64_t> JavaBridge::abbreviation(const psId& element, _jobject* key) {
  const std::optional<jlong> result = call(&JNIEnv_::CallLongMethod, abbreviationOfEither, key, packed(element));
  return result ? std::optional<std::uint64_t>(static_cast<std::uint64_t>(*result)) : std::nullopt;
}

std::optional<std::uint32_t> JavaBridge::abbreviationVersion() {
  const std::optional<jint> result = call(&JNIEnv_::CallIntMethod, versionOfAbbreviations);
  return result ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(*result)) : std::nullopt;
}

}  // namespace ps::detail

using ps::detail::canCall;
using ps::detail::identifierFields;
using ps::detail::isInstance;

void jsetIntField(JNIEnv_* env, _jobject* object, _jfieldID* field, long value) {
  env->SetIntField(object, field, static_cast<jint>(value));
}

void jsetJavaOidFromOid(JNIEnv_* env, _jobject*& object, psId& id, unsigned int typeN) {
  if (!canCall(env, object, "the psId to be filled is null")) return;
  const auto* const found = identifierFields.in(env);
  if (found == nullptr) return;
  if (!isInstance(env, object, found->reference, "not of the class COM.vexa.pm.psId that was found")) return;
  const std::array<long, 5> values = {id.get_DB(), id.get_OC(), id.get_page(), id.get_slot(), static_cast<long>(typeN)};
  for (std::size_t i = 0; i < values.size(); ++i) jsetIntField(env, object, found->members[i], values[i]);
}
