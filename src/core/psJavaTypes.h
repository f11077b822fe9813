#pragma once

// The two types of the Java Native Interface that appear in the signatures of the Java flavour, declared so that users
// of the collections need no Java headers: jobject is _jobject*, JNIEnv is JNIEnv_.
class _jobject;
struct JNIEnv_;
