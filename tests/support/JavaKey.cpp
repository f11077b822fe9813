#include "support/JavaKey.h"

#include <gtest/gtest.h>

#include "core/psJavaId.h"
#include "support/HashWorld.h"
#include "support/JavaMachine.h"

namespace ps::test {

namespace {

psId idOf(jlong packed) {
  const auto part = [packed](int i) { return static_cast<unsigned short>(packed >> 16 * i); };
  return psId(part(0), part(1), part(2), part(3));
}

jint JNICALL compareWithNumberIn(JNIEnv*, jclass, jlong element, jlong number) {
  return compareWithNumber(idOf(element), number);
}

jint JNICALL hashOfIn(JNIEnv*, jclass, jlong element) { return static_cast<jint>(hashOfStored(idOf(element))); }

jlong JNICALL abbreviationOfIn(JNIEnv*, jclass, jlong element) {
  return static_cast<jlong>(ItemCompare().abbreviation(pstHandle<psObj>(idOf(element))));
}

jlong JNICALL abbreviationOfNumberIn(JNIEnv*, jclass, jlong number) {
  const void* key = &number;
  return static_cast<jlong>(ItemCompare().abbreviation(key));
}

jint JNICALL versionOfAbbreviationsIn(JNIEnv*, jclass) {
  return static_cast<jint>(ItemCompare().abbreviationVersion());
}

// Complains at the end about what the JVM found fault with in the whole run.
class Complaints : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    const std::string complaints = JavaMachine::complaints();
    EXPECT_EQ(complaints.substr(known_), "");
    known_ = complaints.size();
  }
  std::size_t known_ = 0;
};

void startMachine() {
  JavaMachine::start({"-Xcheck:jni", "-Djava.class.path=" PS_TEST_CLASSES});
  testing::UnitTest::GetInstance()->listeners().Append(new Complaints);
  JNIEnv* const env = JavaMachine::env();
  const JNINativeMethod methods[] = {
      {const_cast<char*>("compareWithNumber"), const_cast<char*>("(JJ)I"),
       reinterpret_cast<void*>(compareWithNumberIn)},
      {const_cast<char*>("hashOf"), const_cast<char*>("(J)I"), reinterpret_cast<void*>(hashOfIn)},
      {const_cast<char*>("abbreviationOf"), const_cast<char*>("(J)J"), reinterpret_cast<void*>(abbreviationOfIn)},
      {const_cast<char*>("abbreviationOfNumber"), const_cast<char*>("(J)J"),
       reinterpret_cast<void*>(abbreviationOfNumberIn)},
      {const_cast<char*>("versionOfAbbreviations"), const_cast<char*>("()I"),
       reinterpret_cast<void*>(versionOfAbbreviationsIn)}};
  const jclass callee = env->FindClass("com/vexa/pm/psScalableCollectionsPersistor");
  ASSERT_EQ(env->RegisterNatives(callee, methods, 5), JNI_OK);
  env->DeleteLocalRef(callee);
}

thread_local bool hasThrown = false;

// What each thread calls, and what it needs to make keys.
struct Side {
  JNIEnv* env = nullptr;
  jclass keyClass = nullptr;
  jclass idClass = nullptr;
  jobject callee = nullptr;
  jfieldID calls = nullptr;
  jfieldID failingCall = nullptr;

  Side() {
    static const bool isStarted = (startMachine(), true);
    env = isStarted ? JavaMachine::env() : nullptr;
    keyClass = env->FindClass("com/vexa/pm/Key");
    idClass = env->FindClass("COM/vexa/pm/psId");
    const jclass calleeClass = env->FindClass("com/vexa/pm/psScalableCollectionsPersistor");
    callee = make(calleeClass, "()V");
    calls = env->GetFieldID(calleeClass, "calls", "I");
    failingCall = env->GetFieldID(calleeClass, "failingCall", "I");
    env->DeleteLocalRef(calleeClass);
  }

  template <class... Arguments>
  jobject make(jclass ofClass, const char* signature, Arguments... arguments) const {
    const jobject object = env->NewObject(ofClass, env->GetMethodID(ofClass, "<init>", signature), arguments...);
    EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
    return object;
  }

  void failAt(std::uint64_t k) {
    env->SetIntField(callee, calls, 0);
    env->SetIntField(callee, failingCall, static_cast<jint>(k));
  }

  void endException() {
    if (env->ExceptionCheck() == JNI_FALSE) return;
    env->ExceptionClear();
    hasThrown = true;
    EXPECT_EQ(env->GetIntField(callee, calls), env->GetIntField(callee, failingCall)) << "called while one was pending";
  }
};

Side& side() {
  thread_local Side sideOfThread;
  return sideOfThread;
}

}  // namespace

std::string whyNoJava() { return ""; }

JavaKey::JavaKey(const ItemKey& item, bool byNumber, std::uint32_t hash) : callee(side().callee), env(side().env) {
  _jobject* id = nullptr;
  if (!byNumber) {
    id = side().make(side().idClass, "()V");
    psId identifier = item.id;
    jsetJavaOidFromOid(env, id, identifier, 0);
  }
  key = side().make(side().keyClass, "(JLCOM/vexa/pm/psId;I)V", static_cast<jlong>(item.number), id,
                    static_cast<jint>(hash));
  env->DeleteLocalRef(id);
}

JavaKey::~JavaKey() {
  side().endException();
  env->DeleteLocalRef(key);
}

JavaFailure::JavaFailure(std::uint64_t k) {
  hasThrown = false;
  side().failAt(k);
}

JavaFailure::~JavaFailure() { side().failAt(0); }

bool JavaFailure::bit() { return hasThrown; }

}  // namespace ps::test
