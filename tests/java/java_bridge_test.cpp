#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "arrays/psSortedArray.h"
#include "core/psJavaId.h"
#include "hash/HashPosition.h"
#include "hash/psHashIterator.h"
#include "list/psTreeList.h"
#include "list/psTreeListIterator.h"
#include "store/base/psError.h"
#include "support/HashWorld.h"
#include "support/JavaMachine.h"
#include "support/SetWorld.h"

namespace ps::test {
namespace {

constexpr TempStore::Place memory = TempStore::Place::memory;
const ItemKey anyItem = {psId(1, 1, 1, 1), 1};

jint intFieldOf(JNIEnv* env, jobject object, const char* name) {
  return env->GetIntField(object, env->GetFieldID(env->GetObjectClass(object), name, "I"));
}

std::string textOf(JNIEnv* env, jobject text) {
  const char* const letters = env->GetStringUTFChars(static_cast<jstring>(text), nullptr);
  std::string copy = letters;
  env->ReleaseStringUTFChars(static_cast<jstring>(text), letters);
  return copy;
}

jobject objectFieldOf(JNIEnv* env, jobject object, const char* name, const char* signature) {
  return env->GetObjectField(object, env->GetFieldID(env->GetObjectClass(object), name, signature));
}

TEST(JavaBridge, PassesTheIdentifierAsALongAndDecidesByTheAnswer) {
  JavaKey java(anyItem, true);
  JNIEnv* const env = java.env;
  _jobject* recorder = env->AllocObject(env->FindClass("com/vexa/pm/Recorder"));
  const jfieldID answerField = env->GetFieldID(env->GetObjectClass(recorder), "answer", "I");
  const pstHandle<psObj> element(psId(2, 3, 4, 5));
  const pstHandle<psObj> other(psId(0xFFFE, 0x8001, 0xFFFC, 0x8003));
  const auto asked = [&] { return textOf(env, objectFieldOf(env, recorder, "asked", "Ljava/lang/String;")); };
  for (const int answer : {-9, 0, 9}) {
    const LocalFrame frame(env);
    env->SetIntField(recorder, answerField, answer);
    expectDecided(answer, element, java.key, recorder, env);
    EXPECT_EQ(asked(), "compare 0005000400030002");
    EXPECT_TRUE(env->IsSameObject(objectFieldOf(env, recorder, "key", "Ljava/lang/Object;"), java.key));
    expectDecided(answer, element, other, recorder, env);
    EXPECT_EQ(asked(), "compare2 8003fffc8001fffe 0005000400030002") << "the second element comes first";
    _jobject* nothing = nullptr;
    EXPECT_EQ(psCompare::hash(nothing, recorder, env), answer) << "null is a key like others";
    EXPECT_EQ(asked(), "hash");
    EXPECT_EQ(objectFieldOf(env, recorder, "key", "Ljava/lang/Object;"), nullptr);
    EXPECT_EQ(psCompare::hash(other, recorder, env), answer);
    EXPECT_EQ(asked(), "hash2 8003fffc8001fffe");
  }
}

TEST(JavaBridge, FillsAnIdentifier) {
  JavaKey java(anyItem, true);
  JNIEnv* const env = java.env;
  _jobject* object = env->AllocObject(env->FindClass("COM/vexa/pm/psId"));
  const auto fill = [&](psId id, unsigned int typeN) {
    jsetJavaOidFromOid(env, object, id, typeN);
    std::vector<jint> fields;
    for (const char* const name : {"DB", "OC", "page", "slot", "typeN"})
      fields.push_back(intFieldOf(env, object, name));
    return fields;
  };
  EXPECT_EQ(fill(psId(1, 2, 3, 4), 4025), (std::vector<jint>{1, 2, 3, 4, 4025}));
  EXPECT_EQ(fill(psId(0xFFFF, 0x8000, 0x7FFF, 0xFFFE), 0xFFFFFFFF),
            (std::vector<jint>{0xFFFF, 0x8000, 0x7FFF, 0xFFFE, -1}));

  _jobject* nothing = nullptr;
  psId id(1, 2, 3, 4);
  jsetJavaOidFromOid(env, nothing, id, 1);
  EXPECT_EQ(JavaMachine::takeException(), "java.lang.NullPointerException: the psId to be filled is null");
  jsetJavaOidFromOid(env, java.key, id, 1);
  EXPECT_EQ(JavaMachine::takeException(),
            "java.lang.IllegalArgumentException: not of the class COM.vexa.pm.psId that was found");

  env->ThrowNew(env->FindClass("java/lang/Error"), "before");
  jsetJavaOidFromOid(env, object, id, 1);
  EXPECT_EQ(JavaMachine::takeException(), "java.lang.Error: before");
  pehSessionDataGetFunction()->clear();
  jsetJavaOidFromOid(nullptr, object, id, 1);
  EXPECT_NE(pehSessionDataGetFunction()->text(), "");
  EXPECT_EQ(intFieldOf(env, object, "DB"), 0xFFFF) << "it stays as it was";
}

// Java objects for a call: keys of an item that is there and of one that is not, and what goes with them.
struct Java {
  JavaKey present;
  JavaKey absent;
  _jobject* callee = present.callee;
  JNIEnv* env = present.env;
};

// An operation that takes a Java key. act says whether it did or found anything; calls, whether it has to call Java for
// that where there are elements.
struct Operation {
  std::function<bool(Java& java)> act;
  bool calls = true;
};

std::vector<Operation> operationsOn(SetWorld& world, const ItemKey& absent) {
  psTreeSet& set = *world.set;
  const pstHandle<psObj> element(absent.id);
  const pstHandle<psSortedArray> array(new (world.store.container("arrays")) psSortedArray(4));
  if (world.model.size() > 0) array->addLast(pstRef<psObj>(world.model.list().front().id));
  const std::shared_ptr<psCollectionIterator> iterator(set.iterator());
  auto& treeIterator = static_cast<psTreeIterator&>(*iterator);
  std::vector<Operation> operations = {
      {[=](Java& java) { return psCompare::compare(element, java.present.key, java.callee, java.env) != 0; }},
      {[=](Java& java) { return psCompare::compare(element, array, java.callee, java.env) != 0; }},
      {[=](Java& java) { return psCompare::hash(java.absent.key, java.callee, java.env) != 0; }},
      {[=](Java& java) { return psCompare::hash(element, java.callee, java.env) != 0; }},
      {[=](Java& java) { return array->add(element, java.absent.key, java.callee, java.env, 1) != -1; }},
      {[&](Java& java) { return set.contains(java.present.key, java.callee, java.env); }},
      {[&](Java& java) { return !set.get(java.present.key, java.callee, java.env).isNull(); }},
      {[&, element](Java& java) {
        const pstHandle<psBTree> leaf = set.potentialParentOf(java.absent.key, java.callee, java.env);
        return !leaf.isNull() && leaf == set.potentialParentOf(element);
      }},
      {[&, iterator](Java& java) { return treeIterator.goTo(java.present.key, java.callee, java.env); }},
      {[&, element](Java& java) { return set.add(element, java.absent.key, java.callee, java.env); }},
      {[&](Java& java) { return set.remove(java.present.key, java.callee, java.env); }}};
  if (world.kind == Kind::map) {
    operations.push_back({[&, element](Java& java) {
      return world.map().put(element, element, java.absent.key, java.callee, java.env) == 1;
    }});
  }
  return operations;
}

std::vector<Operation> operationsOn(HashWorld& world, const ItemKey& absent) {
  psHashSet& set = *world.set;
  const pstHandle<psObj> element(absent.id);
  const std::uint32_t hash = world.hashOf({psId(), 0});
  const std::uint32_t absentHash = world.hashOf(absent);
  const std::shared_ptr<psCollectionIterator> iterator(set.iterator());
  auto& hashIterator = static_cast<psHashIterator&>(*iterator);
  std::vector<Operation> operations = {
      {[&, hash](Java& java) { return set.contains(hash, java.present.key, java.callee, java.env); }},
      {[&, hash](Java& java) { return !set.get(hash, java.present.key, java.callee, java.env).isNull(); }},
      {[&, iterator](Java& java) { return hashIterator.goTo(0, java.present.key, java.callee, java.env); }},
      {[&, element](Java& java) { return set.add(element, java.absent.key, java.callee, java.env); }}};
  if (world.kind == Kind::map) {
    psHashMap& map = world.map();
    operations.push_back({[&](Java& java) { return !map.entry(java.present.key, java.callee, java.env).isNull(); }});
    operations.push_back(
        {[&, element](Java& java) { return map.put(element, element, java.absent.key, java.callee, java.env); }});
    operations.push_back({[&, element, absentHash](Java& java) {
                            pstHandle<psHashBucket> bucket(ps::detail::positionOf(map, absentHash)->bucket());
                            return map.addNewEntry(element, element, bucket, absentHash, java.absent.key, java.callee,
                                                   java.env);
                          },
                          false});
  }
  operations.push_back({[&](Java& java) { return set.remove(java.present.key, java.callee, java.env); }});
  return operations;
}

// What keeps Java from being called. begin brings it about, end tells what is wrong, as the caller sees it.
struct Obstacle {
  std::function<void(Java&)> begin;
  std::function<std::string(Java&)> end;
  const char* message;
  bool isSeenAtOnce;  // and not only when something is called
};

const Obstacle obstacles[] = {
    {[](Java& java) { java.env->ThrowNew(java.env->FindClass("java/lang/Error"), "before"); },
     [](Java&) { return JavaMachine::takeException(); }, "java.lang.Error: before", true},
    {[](Java& java) { java.callee = nullptr; }, [](Java&) { return JavaMachine::takeException(); },
     "java.lang.NullPointerException: callee: the object that compares and hashes is null", true},
    {[](Java& java) { java.callee = java.present.key; }, [](Java&) { return JavaMachine::takeException(); },
     "java.lang.IllegalArgumentException: callee: not of the class com.vexa.pm.psScalableCollectionsPersistor that was "
     "found",
     false},
    {[](Java& java) {
       java.env = nullptr;
       pehSessionDataGetFunction()->clear();
     },
     [](Java&) { return pehSessionDataGetFunction()->text(); },
     "there is no Java environment; pass the JNIEnv of the current thread, which must be attached to the JVM", true},
};

template <class World>
void expectNothingDone(World&& world, int size) {
  SCOPED_TRACE(std::string(nameOf(world.kind)) + " of " + std::to_string(size));
  for (int i = 0; i < size; ++i) world.put(i);
  const ItemKey absent = world.newItem(1000);
  const auto hashOfNumber = [](std::int64_t number) { return hashOf(Hashing::content, number); };
  const auto java = [&] { return Java{{{psId(), 0}, true, hashOfNumber(0)}, {absent, true, hashOfNumber(1000)}}; };
  for (const Operation& operation : operationsOn(world, absent)) {
    for (const Obstacle& obstacle : obstacles) {
      if (!obstacle.isSeenAtOnce && (size == 0 || !operation.calls)) continue;
      const LocalFrame frame(JavaMachine::env());
      Java hindered = java();
      obstacle.begin(hindered);
      EXPECT_FALSE(operation.act(hindered)) << obstacle.message;
      EXPECT_EQ(obstacle.end(hindered), obstacle.message);
      EXPECT_EQ(world.complaints(), "");
      if (testing::Test::HasFailure()) return;
    }
  }
  if (size == 0) return;
  for (const Operation& operation : operationsOn(world, absent)) {
    Java free = java();
    EXPECT_TRUE(operation.act(free)) << "it would have done something";
  }
}

TEST(JavaBridge, NothingIsCalledOrChangedWhereSomethingIsWrongAlready) {
  const JavaKey startsTheMachine(anyItem, true);
  for (const int size : {0, 30}) {
    for (const Kind kind : {Kind::set, Kind::map}) {
      expectNothingDone(SetWorld(memory, Flavour::java, true, 4, kind), size);
      expectNothingDone(HashWorld(memory, Flavour::java, Hashing::content, 3, kind), size);
    }
  }
}

TEST(JavaBridge, AListHasNoOrderThatJavaCouldKnow) {
  TempStore store(memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const pstHandle<psTreeList> list(new (store.container("c")) psTreeList(4));
  for (int i = 0; i < 20; ++i) list->add(makeItem(store.container("c"), i).id);
  const std::unique_ptr<psCollectionIterator> iterator(list->iterator());
  iterator->goToIndex(7, pscNoLock);
  JavaKey java({psId(), 9}, true);
  EXPECT_FALSE(static_cast<psTreeIterator&>(*iterator).goTo(java.key, java.callee, java.env));
  EXPECT_FALSE(iterator->hasNext() || iterator->hasPrevious()) << "nothing was looked for";
}

void insertWithFailures(KeyedWorld& world, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  for (int i = 0; i < 200; ++i) {
    const ItemKey item = world.newItem(static_cast<std::int64_t>(random() % 1000));
    const psId value = world.newValue(i);
    const bool isNew = !world.model.contains(item);
    const JavaFailure failure(random() % 25);
    const bool isInserted = world.insert(item, value);
    EXPECT_EQ(isInserted, !JavaFailure::bit() && (isNew || world.kind == Kind::map)) << item.number;
    if (isInserted) world.model.put(item, value);
  }
  EXPECT_EQ(world.complaints(), "");
}

TEST(JavaBridge, ThreadsCallAndFailIndependently) {
  const std::uint64_t seedOfFirst = seedOr(6);
  std::vector<std::thread> threads;
  for (std::uint64_t i = 0; i < 4; ++i) {
    threads.emplace_back([seed = seedOfFirst + i] {
      SCOPED_TRACE("PSCOLLECTIONS_SEED=" + std::to_string(seed) + ", in the first thread");
      insertWithFailures(*std::make_unique<SetWorld>(memory, Flavour::java, true, 4, Kind::set), seed);
      insertWithFailures(*std::make_unique<HashWorld>(memory, Flavour::java, Hashing::content, 3, Kind::map), seed);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace ps::test
