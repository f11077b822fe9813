// What it costs to look up with a Java key: sets that go by identifier, asked in the handle flavour and in the Java
// flavour, with Java methods that compare and hash identifiers; and what as many calls into Java cost when nothing else
// is done. All is in memory.

#include <cstdint>
#include <vector>

#include "BenchStore.h"
#include "RatioReporter.h"
#include "Workloads.h"
#include "hash/psHashSet.h"
#include "sorted/psTreeSet.h"
#include "support/JavaMachine.h"

namespace {

using ps::test::JavaMachine;

// Set once, before anything is measured.
int length = 100000;

// A Java key that can be set to an element, and the method that compares it with elements.
class JavaSide {
 public:
  JavaSide() {
    JavaMachine::start({"-Djava.class.path=" PS_BENCH_CLASSES});
    env = JavaMachine::env();
    const jclass calleeClass = env->FindClass("com/vexa/pm/psScalableCollectionsPersistor");
    const jclass keyClass = env->FindClass("com/vexa/pm/psScalableCollectionsPersistor$Key");
    if (calleeClass == nullptr || keyClass == nullptr) stop("the Java classes are missing");
    callee = env->AllocObject(calleeClass);
    key = env->AllocObject(keyClass);
    compareMethod_ = env->GetMethodID(calleeClass, "cpp_compare", "(Ljava/lang/Object;J)I");
    hashMethod_ = env->GetMethodID(calleeClass, "cpp_hash", "(Ljava/lang/Object;)I");
    idField_ = env->GetFieldID(keyClass, "id", "J");
  }

  void setKey(const psId& id) { env->SetLongField(key, idField_, static_cast<jlong>(id.bits())); }
  int compare(const psId& element) {
    return env->CallIntMethod(callee, compareMethod_, key, static_cast<jlong>(element.bits()));
  }

  int hash() { return env->CallIntMethod(callee, hashMethod_, key); }

  JNIEnv* env = nullptr;
  jobject callee = nullptr;
  jobject key = nullptr;

 private:
  jmethodID compareMethod_ = nullptr;
  jmethodID hashMethod_ = nullptr;
  jfieldID idField_ = nullptr;
};

thread_local psId wanted;
thread_local std::int64_t comparisons = 0;

int compareWithWanted(unsigned int databaseAndContainer, unsigned int pageAndSlot) {
  ++comparisons;
  const psId element(static_cast<unsigned short>(databaseAndContainer >> 16),
                     static_cast<unsigned short>(databaseAndContainer), static_cast<unsigned short>(pageAndSlot >> 16),
                     static_cast<unsigned short>(pageAndSlot));
  return psCompare::comparePsId(element, wanted);
}

class Sets {
 public:
  static Sets& instance() {
    static Sets sets;
    return sets;
  }

  static std::uint32_t hashOf(const psId& id) { return static_cast<std::uint32_t>(psCompare::hashPsId(id)); }

  // Comparisons in a look-up, on average.
  double comparisonsInSorted() {
    return comparisonsIn([&](const psId&) { sorted->contains(compareWithWanted); });
  }
  double comparisonsInHashed() {
    return comparisonsIn([&](const psId& id) { hashed->contains(hashOf(id), compareWithWanted); });
  }

  std::vector<psId> elements;
  pstHandle<psTreeSet> sorted;
  pstHandle<psHashSet> hashed;
  JavaSide java;

 private:
  Sets() {
    elements = createObjects(file_, length);
    if (session_.open(file_.path().string()) != 1 || session_.begin(pscUpdate) != 1) stop(session_.lastError());
    const pstHandle<psContObj> in = session_.container(session_.database("bench"), "sets");
    sorted = new (in) psTreeSet(200);
    hashed = new (in) psHashSet(101, 1);
    for (const int i : shuffledPositions(length)) {
      const pstHandle<psObj> element(elements[static_cast<std::size_t>(i)]);
      if (!sorted->add(element) || !hashed->add(element)) stop("a set does not take an element");
    }
  }

  template <class LookUp>
  double comparisonsIn(LookUp lookUp) {
    comparisons = 0;
    for (const psId& id : elements) {
      wanted = id;
      lookUp(id);
    }
    return static_cast<double>(comparisons) / length;
  }

  ScratchFile file_;
  psSession session_;
};

template <class Contains>
void lookUp(benchmark::State& state, Contains contains) {
  Sets& sets = Sets::instance();
  runGets(
      state, length, [&](int i) { return contains(sets, sets.elements[static_cast<std::size_t>(i)]); },
      [](int) { return true; });
}

// As many calls as a look-up makes, with nothing around them.
void callOnly(benchmark::State& state, bool hashes, double comparisonsInOne) {
  double due = 0;
  lookUp(state, [&](Sets& sets, const psId& id) {
    sets.java.setKey(id);
    if (hashes) benchmark::DoNotOptimize(sets.java.hash());
    int result = 0;
    for (due += comparisonsInOne; due >= 1; --due) result = sets.java.compare(id);
    return result == 0;
  });
}

}  // namespace

int main(int argc, char** argv) {
  length = takeElements(argc, argv, length);
  const auto add = [](const char* name, auto function) { benchmark::RegisterBenchmark(name, function)->UseRealTime(); };
  add("ref/sorted: Java key", [](benchmark::State& state) {
    lookUp(state, [](Sets& sets, const psId& id) {
      sets.java.setKey(id);
      return sets.sorted->contains(sets.java.key, sets.java.callee, sets.java.env);
    });
  });
  add("sorted: its calls into Java alone",
      [](benchmark::State& state) { callOnly(state, false, Sets::instance().comparisonsInSorted()); });
  add("sorted: callback", [](benchmark::State& state) {
    lookUp(state, [](Sets& sets, const psId& id) {
      wanted = id;
      return sets.sorted->contains(compareWithWanted);
    });
  });
  add("sorted: handle", [](benchmark::State& state) {
    lookUp(state, [](Sets& sets, const psId& id) { return sets.sorted->contains(pstHandle<psObj>(id)); });
  });
  add("ref/hashed: Java key", [](benchmark::State& state) {
    lookUp(state, [](Sets& sets, const psId& id) {
      sets.java.setKey(id);
      const int hash = psCompare::hash(sets.java.key, sets.java.callee, sets.java.env);
      return sets.hashed->contains(static_cast<unsigned int>(hash), sets.java.key, sets.java.callee, sets.java.env);
    });
  });
  add("hashed: its calls into Java alone",
      [](benchmark::State& state) { callOnly(state, true, Sets::instance().comparisonsInHashed()); });
  add("hashed: callback", [](benchmark::State& state) {
    lookUp(state, [](Sets& sets, const psId& id) {
      wanted = id;
      return sets.hashed->contains(Sets::hashOf(id), compareWithWanted);
    });
  });
  add("hashed: handle", [](benchmark::State& state) {
    lookUp(state, [](Sets& sets, const psId& id) { return sets.hashed->contains(pstHandle<psObj>(id)); });
  });
  return runWithRatios(argc, argv);
}
