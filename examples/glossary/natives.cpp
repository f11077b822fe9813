#include <jni.h>

#include <string>

#include "GlossaryStore.h"
#include "com_vexa_pm_psScalableCollectionsPersistor.h"
#include "glossary_Glossary.h"

// The native methods of the Java classes. Each receives the environment of its thread and passes it on.
namespace {

std::u16string lettersOf(JNIEnv* env, jstring text) {
  std::u16string letters(static_cast<std::size_t>(env->GetStringLength(text)), u'\0');
  env->GetStringRegion(text, 0, static_cast<jsize>(letters.size()), reinterpret_cast<jchar*>(letters.data()));
  return letters;
}

jstring toJava(JNIEnv* env, const std::u16string& letters) {
  return env->NewString(reinterpret_cast<const jchar*>(letters.data()), static_cast<jsize>(letters.size()));
}

JavaText textOf(JNIEnv* env, jobject callee, jstring text) { return {env, callee, text, lettersOf(env, text)}; }

void throwInJava(JNIEnv* env, const char* message) {
  // An exception that Java itself has thrown says more.
  if (env->ExceptionCheck() == JNI_FALSE) env->ThrowNew(env->FindClass("java/lang/IllegalStateException"), message);
}

// Runs the operation and turns its exceptions into Java exceptions. C++ exceptions must not pass through Java.
template <class Result, class Operation>
Result guarded(JNIEnv* env, Operation operation) {
  try {
    return operation();
  } catch (const std::exception& failure) {
    throwInJava(env, failure.what());
    return Result();
  }
}

// The same on a store. After an exception of this operation, or of what it called in Java, the store's changes are
// abandoned, so that nothing half done can be committed.
template <class Result, class Operation>
Result run(JNIEnv* env, jlong address, Operation operation) {
  auto* const store = reinterpret_cast<GlossaryStore*>(address);
  const Result result = guarded<Result>(env, [&] {
    if (store == nullptr) throw GlossaryError("the glossary is closed");
    return operation(*store);
  });
  if (store != nullptr && env->ExceptionCheck() == JNI_TRUE) store->abandon();
  return result;
}

}  // namespace

jlong JNICALL Java_glossary_Glossary_open(JNIEnv* env, jclass, jbyteArray path, jboolean isToChange) {
  return guarded<jlong>(env, [&] {
    std::string bytes(static_cast<std::size_t>(env->GetArrayLength(path)), '\0');
    env->GetByteArrayRegion(path, 0, static_cast<jsize>(bytes.size()), reinterpret_cast<jbyte*>(bytes.data()));
    return reinterpret_cast<jlong>(new GlossaryStore(bytes, isToChange == JNI_TRUE ? pscUpdate : pscRead));
  });
}

void JNICALL Java_glossary_Glossary_close(JNIEnv*, jclass, jlong address) {
  delete reinterpret_cast<GlossaryStore*>(address);
}

void JNICALL Java_glossary_Glossary_commit(JNIEnv* env, jclass, jlong address) {
  run<jboolean>(env, address, [](GlossaryStore& store) { return store.commit(), JNI_TRUE; });
}

void JNICALL Java_glossary_Glossary_put(JNIEnv* env, jclass, jlong address, jobject texts, jstring term,
                                        jstring meaning) {
  run<jboolean>(env, address, [&](GlossaryStore& store) {
    JavaText key = textOf(env, texts, term);
    store.put(key, lettersOf(env, meaning));
    return JNI_TRUE;
  });
}

jstring JNICALL Java_glossary_Glossary_meaningOf(JNIEnv* env, jclass, jlong address, jobject texts, jstring term) {
  return run<jstring>(env, address, [&](GlossaryStore& store) -> jstring {
    JavaText key = textOf(env, texts, term);
    const std::optional<std::u16string> meaning = store.meaningOf(key);
    return meaning ? toJava(env, *meaning) : nullptr;
  });
}

jboolean JNICALL Java_glossary_Glossary_abbreviate(JNIEnv* env, jclass, jlong address, jobject texts,
                                                   jstring abbreviation, jstring term) {
  return run<jboolean>(env, address, [&](GlossaryStore& store) {
    JavaText shortName = textOf(env, texts, abbreviation);
    JavaText longName = textOf(env, texts, term);
    return store.abbreviate(shortName, longName) ? JNI_TRUE : JNI_FALSE;
  });
}

jstring JNICALL Java_glossary_Glossary_termFor(JNIEnv* env, jclass, jlong address, jobject texts,
                                               jstring abbreviation) {
  return run<jstring>(env, address, [&](GlossaryStore& store) -> jstring {
    JavaText key = textOf(env, texts, abbreviation);
    const std::optional<std::u16string> term = store.termFor(key);
    return term ? toJava(env, *term) : nullptr;
  });
}

jobjectArray JNICALL Java_glossary_Glossary_terms(JNIEnv* env, jclass, jlong address) {
  return run<jobjectArray>(env, address, [&](GlossaryStore& store) -> jobjectArray {
    const std::vector<std::u16string> terms = store.terms();
    const jobjectArray result =
        env->NewObjectArray(static_cast<jsize>(terms.size()), env->FindClass("java/lang/String"), nullptr);
    for (std::size_t i = 0; result != nullptr && i < terms.size(); ++i) {
      const jstring term = toJava(env, terms[i]);
      if (term == nullptr) return nullptr;
      env->SetObjectArrayElement(result, static_cast<jsize>(i), term);
      env->DeleteLocalRef(term);
    }
    return result;
  });
}

// The library calls Java in the middle of a search, and Java calls this to get the text that it compares.
jstring JNICALL Java_com_vexa_pm_psScalableCollectionsPersistor_textOf(JNIEnv* env, jclass, jlong element) {
  return guarded<jstring>(env, [&] {
    const auto part = [element](int i) { return static_cast<unsigned short>(element >> 16 * i); };
    const pstHandle<Text> text(psId(part(0), part(1), part(2), part(3)));
    if (text.open(pscRead) != 1 || !text->isWhole()) {
      throw GlossaryError("a text cannot be read. " + pehSessionDataGetFunction()->text());
    }
    return toJava(env, text->letters());
  });
}
