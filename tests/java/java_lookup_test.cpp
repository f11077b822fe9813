#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>

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

struct LookUps {
  int classes = 0;
  int methods = 0;
  int fields = 0;
  int globals = 0;

  bool operator==(const LookUps& other) const {
    return classes == other.classes && methods == other.methods && fields == other.fields && globals == other.globals;
  }
};

std::ostream& operator<<(std::ostream& out, const LookUps& lookUps) {
  return out << lookUps.classes << " classes, " << lookUps.methods << " methods, " << lookUps.fields << " fields, "
             << lookUps.globals << " global references";
}

LookUps made;
const JNINativeInterface_* original = nullptr;

// Has the environment count what it is asked for.
void countLookUps(JNIEnv* env) {
  static JNINativeInterface_ counting = *env->functions;
  original = env->functions;
  counting.FindClass = [](JNIEnv* in, const char* name) {
    ++made.classes;
    return original->FindClass(in, name);
  };
  counting.GetMethodID = [](JNIEnv* in, jclass of, const char* name, const char* signature) {
    ++made.methods;
    return original->GetMethodID(in, of, name, signature);
  };
  counting.GetFieldID = [](JNIEnv* in, jclass of, const char* name, const char* signature) {
    ++made.fields;
    return original->GetFieldID(in, of, name, signature);
  };
  counting.NewGlobalRef = [](JNIEnv* in, jobject object) {
    ++made.globals;
    return original->NewGlobalRef(in, object);
  };
  env->functions = &counting;
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

// One of the functions that call Java: what it gives, and how it looks up.
struct Call {
  std::function<int()> make;
  LookUps failing;     // without the class
  LookUps succeeding;  // the first time that all is there
  int result;
};

TEST(JavaLookUp, IsTriedAgainUntilItSucceedsAndThenNoMore) {
  JavaMachine::start({"-Xcheck:jni", "-Djava.class.path=nowhere"});
  JNIEnv* const env = JavaMachine::env();
  countLookUps(env);
  TempStore store(TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psObj> element(makeItem(store.container("c"), 1).id);
  const pstHandle<psHashSet> set(new (store.container("c")) psHashSet(3, 1));
  jobject key = env->NewStringUTF("key");
  jobject callee = key;
  jobject id = key;
  const Call calls[] = {{[&] { return psCompare::compare(element, key, callee, env); }, {1, 0, 0, 0}, {1, 1, 0, 1}, 11},
                        {[&] { return psCompare::hash(key, callee, env); }, {1, 0, 0, 0}, {1, 1, 0, 1}, 12},
                        {[&] { return psCompare::hash(element, callee, env); }, {1, 0, 0, 0}, {1, 1, 0, 1}, 13}};
  const auto compareElements = [&] { return psCompare::compare(element, element, callee, env); };
  const auto fillIdentifier = [&] {
    psId filling(1, 2, 3, 4);
    jsetJavaOidFromOid(env, id, filling, 4025);
    return 0;
  };
  const auto lookUpsOf = [&](const std::function<int()>& call, int expected) {
    made = LookUps();
    EXPECT_EQ(call(), expected);
    return made;
  };

  for (int i = 0; i < 50; ++i) {  // more than there is room for local references
    for (const Call& call : calls) {
      EXPECT_EQ(lookUpsOf(call.make, 0), call.failing);
      EXPECT_EQ(takeException(), "java.lang.NoClassDefFoundError");
    }
    EXPECT_EQ(lookUpsOf(fillIdentifier, 0), (LookUps{1, 0, 0, 0}));
    EXPECT_EQ(takeException(), "java.lang.NoClassDefFoundError");
    EXPECT_FALSE(set->add(element, key, callee, env));
    EXPECT_EQ(takeException(), "java.lang.NoClassDefFoundError");
    if (HasFailure()) return;
  }

  callee = define(env, "com/vexa/pm/psScalableCollectionsPersistor");
  id = define(env, "COM/vexa/pm/psId");
  for (const Call& call : calls) {
    EXPECT_EQ(lookUpsOf(call.make, call.result), call.succeeding);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(lookUpsOf(call.make, call.result), LookUps());
  }
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(lookUpsOf(compareElements, 0), (LookUps{1, 1, 0, 0}));
    EXPECT_EQ(takeException(), "java.lang.NoSuchMethodError");
    EXPECT_EQ(lookUpsOf(fillIdentifier, 0), (LookUps{1, 0, 5, 0})) << "the last field is missing";
    EXPECT_EQ(takeException(), "java.lang.NoSuchFieldError");
    if (HasFailure()) return;
  }
  const jfieldID slot = original->GetFieldID(env, env->GetObjectClass(id), "slot", "I");
  EXPECT_EQ(env->GetIntField(id, slot), 0);
  EXPECT_TRUE(set->add(element, key, callee, env));
  EXPECT_EQ(set->size(), 1);
  EXPECT_EQ(JavaMachine::complaints(), "");
}

}  // namespace
}  // namespace ps::test
