#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <functional>
#include <iterator>
#include <utility>

#include "core/psCompare.h"
#include "core/psJavaId.h"
#include "hash/psHashSet.h"
#include "support/Item.h"
#include "support/JavaMachine.h"
#include "support/TempStore.h"

// Look-ups of classes and methods, in a JVM that at first lacks the application's classes, and later some of their
// members.
namespace ps::test {
namespace {

// How many classes, methods and fields were looked up, and global references made, less those deleted.
enum LookedUp { classes, methods, fields, globals };
using LookUps = std::array<int, 4>;

constexpr LookUps none = {};
constexpr LookUps ofMissingClass = {1, 0, 0, 0};
constexpr LookUps ofMissingMethod = {1, 1, 0, 0};
constexpr LookUps ofMissingLastField = {1, 0, 5, 0};
constexpr LookUps ofMethod = {1, 1, 0, 1};
constexpr LookUps ofMethodThatIsNotKept = {2, 1, 0, 0};  // and the exception's class

LookUps made{};
bool lacksMemory = false;  // for global references

LookUps take() { return std::exchange(made, none); }

const JNINativeInterface_* original = nullptr;

JNINativeInterface_ countingInterface() {
  JNINativeInterface_ counting = *original;
  counting.FindClass = [](JNIEnv* env, const char* name) {
    ++made[classes];
    return original->FindClass(env, name);
  };
  counting.GetMethodID = [](JNIEnv* env, jclass of, const char* name, const char* signature) {
    ++made[methods];
    return original->GetMethodID(env, of, name, signature);
  };
  counting.GetFieldID = [](JNIEnv* env, jclass of, const char* name, const char* signature) {
    ++made[fields];
    return original->GetFieldID(env, of, name, signature);
  };
  counting.NewGlobalRef = [](JNIEnv* env, jobject object) -> jobject {
    if (lacksMemory) return nullptr;
    ++made[globals];
    return original->NewGlobalRef(env, object);
  };
  counting.DeleteGlobalRef = [](JNIEnv* env, jobject object) {
    --made[globals];
    original->DeleteGlobalRef(env, object);
  };
  return counting;
}

// An environment that counts what it is asked for.
JNIEnv* countingEnv() {
  JavaMachine::start({"-Xcheck:jni", "-Djava.class.path=nowhere"});
  JNIEnv* const env = JavaMachine::env();
  original = env->functions;
  static const JNINativeInterface_ counting = countingInterface();
  env->functions = &counting;
  return env;
}

// Ends the pending exception and gives its class; "" when there is none.
std::string takeException() {
  const std::string text = JavaMachine::takeException();
  return text.substr(0, text.find(':'));
}

jobject define(JNIEnv* env, const std::string& name) {
  std::ifstream file(PS_PARTIAL_CLASSES "/" + name + ".class", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const jclass loaders = original->FindClass(env, "java/lang/ClassLoader");
  const jmethodID systemLoader = env->GetStaticMethodID(loaders, "getSystemClassLoader", "()Ljava/lang/ClassLoader;");
  const jobject loader = env->CallStaticObjectMethod(loaders, systemLoader);
  EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
  const jclass defined = env->DefineClass(name.c_str(), loader, reinterpret_cast<const jbyte*>(bytes.data()),
                                          static_cast<jsize>(bytes.size()));
  EXPECT_NE(defined, nullptr) << name;
  return env->AllocObject(defined);
}

class JavaLookUp : public testing::Test {
 protected:
  JavaLookUp() {
    EXPECT_EQ(store_->begin(pscUpdate), 1);
    element_ = makeItem(store_.container("c"), 1).id;
    set_ = new (store_.container("c")) psHashSet(3, 1);
  }

  LookUps lookUpsOf(const std::function<int()>& call, int expected) const {
    take();
    EXPECT_EQ(call(), expected);
    return take();
  }

  void fillIdentifier() {
    psId filling(1, 2, 3, 4);
    jsetJavaOidFromOid(env_, id_, filling, 4025);
  }

  void lookUpWhatIsMissing();
  void lookUpWhatIsThere();

  JNIEnv* env_ = countingEnv();
  TempStore store_{TempStore::Place::memory};
  pstHandle<psObj> element_;
  pstHandle<psHashSet> set_;
  jobject key_ = env_->NewStringUTF("key");
  jobject callee_ = key_;
  jobject id_ = key_;
  const std::function<int()> compare_ = [this] { return psCompare::compare(element_, key_, callee_, env_); };
  const std::function<int()> compareElements_ = [this] {
    return psCompare::compare(element_, element_, callee_, env_);
  };
  const std::function<int()> hash_ = [this] { return psCompare::hash(key_, callee_, env_); };
  const std::function<int()> hashElement_ = [this] { return psCompare::hash(element_, callee_, env_); };
  const std::function<int()> fill_ = [this] { return fillIdentifier(), 0; };
};

// The rounds make more local references than there is room for, should any be left.
void JavaLookUp::lookUpWhatIsMissing() {
  for (int round = 0; round < 50; ++round) {
    for (const auto& call : {compare_, compareElements_, hash_, hashElement_, fill_}) {
      ASSERT_EQ(lookUpsOf(call, 0), ofMissingClass);
      ASSERT_EQ(takeException(), "java.lang.NoClassDefFoundError");
    }
    ASSERT_FALSE(set_->add(element_, key_, callee_, env_));
    ASSERT_EQ(takeException(), "java.lang.NoClassDefFoundError");
  }
}

void JavaLookUp::lookUpWhatIsThere() {
  lacksMemory = true;
  ASSERT_EQ(lookUpsOf(compare_, 0), ofMethodThatIsNotKept);
  ASSERT_EQ(takeException(), "java.lang.OutOfMemoryError");
  lacksMemory = false;
  ASSERT_EQ(lookUpsOf(compare_, 11), ofMethod);
  ASSERT_EQ(lookUpsOf(hash_, 12), ofMethod);
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(lookUpsOf(compare_, 11), none);
    ASSERT_EQ(lookUpsOf(hash_, 12), none);
    ASSERT_EQ(lookUpsOf(compareElements_, 0), ofMissingMethod);
    ASSERT_EQ(takeException(), "java.lang.NoSuchMethodError");
    ASSERT_EQ(lookUpsOf(fill_, 0), ofMissingLastField);
    ASSERT_EQ(takeException(), "java.lang.NoSuchFieldError");
  }
  const jfieldID slot = original->GetFieldID(env_, env_->GetObjectClass(id_), "slot", "I");
  ASSERT_EQ(env_->GetIntField(id_, slot), 0);
  ASSERT_TRUE(set_->add(element_, key_, callee_, env_));
}

TEST_F(JavaLookUp, IsTriedAgainUntilItSucceedsAndThenNoMore) {
  lookUpWhatIsMissing();
  callee_ = define(env_, "com/vexa/pm/psScalableCollectionsPersistor");
  id_ = define(env_, "COM/vexa/pm/psId");
  if (HasFailure()) return;
  lookUpWhatIsThere();
  EXPECT_EQ(JavaMachine::complaints(), "");
}

}  // namespace
}  // namespace ps::test
