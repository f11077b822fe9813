#pragma once

#include "core/psJavaTypes.h"
#include "store/base/psExport.h"
#include "store/base/psId.h"

// For the native methods of a Java binding, which keeps identifiers in objects of its class COM.vexa.pm.psId.

// Fills the int fields DB, OC, page, slot and typeN of object. Each part of the identifier is a number from 0 to 65535.
// env is the environment of the calling thread. When the class or a field is missing, or object is null or of another
// class, nothing is set, and a pending Java exception says so. When an exception is pending before, nothing is done.
// Without env, or in a build without Java, an error is signalled.
PS_API void jsetJavaOidFromOid(JNIEnv_* env, _jobject*& object, psId& id, unsigned int typeN);

// Sets one int field to the low 32 bits of value. Nothing is checked.
PS_API void jsetIntField(JNIEnv_* env, _jobject* object, _jfieldID* field, long value);
