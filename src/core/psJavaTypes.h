#pragma once

// The types of the Java Native Interface that appear in the signatures of the Java flavour, declared so that users of
// the collections need no Java headers: jobject is _jobject*, jfieldID is _jfieldID*, jmethodID is _jmethodID*, JNIEnv
// is JNIEnv_.
class _jobject;
struct _jfieldID;
struct _jmethodID;
struct JNIEnv_;
