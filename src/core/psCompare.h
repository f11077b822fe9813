#pragma once

#include <cstdint>

#include "core/psJavaTypes.h"
#include "store/psPersistentClass.h"

// Functions of the application that compare or hash a stored element, given by its identifier. The first argument has
// the database in its high half and the container in its low half; the second has page and slot.
using psCompareFunction = int (*)(unsigned int, unsigned int);
using psHashFunction = int (*)(unsigned int, unsigned int);

// Decides the order and the hash of a collection's elements. A comparator is an object of the store, so that
// collections can refer to it. An application derives from this class and overrides what it needs. A collection without
// a comparator uses identifiers, by comparePsId and hashPsId, as this class itself does.
//
// Keys come in 4 flavours, and every look-up of the library exists in each:
//   raw key    a pointer that only an overridden comparator understands
//   handle     an object, compared as a stored element is
//   callback   a function that compares, or hashes, a stored element given by its identifier; it knows the key itself
//   Java       a Java object, compared by a method of the Java object callee
//
// A comparison puts the stored element first. The result is negative when the element sorts before the key, zero when
// they match, and positive when it sorts after. Only the sign counts.
//
// What a comparator needs:
// - A class of its own, derived with PS_PERSISTENT_CLASS and registered in every program that uses its collections.
// - A total order, which does not change while elements are in a collection. Elements that compare equal hash equal.
// - Overrides of both raw-key operations, or of neither. Without them a raw key is the address of a handle.
// - It may open objects. It must not change the collection that calls it, and must not throw.
//
// When a comparator cannot open an object, it may return anything, since the result is not used. If the open was
// refused, the operation changes nothing and returns its failure result. If the object has been deleted, an ordered
// collection does the same, for every operation that meets the object, until removeAllDeleted has removed it. A hash
// collection is not affected: no key matches the deleted object but the object itself.
class PS_API psCompare : public psObj {
  PS_PERSISTENT_CLASS(psCompare, psObj, 4013)

 public:
  psCompare() = default;
  ~psCompare() noexcept override;

  // The raw-key form takes key to be the address of a pstHandle<psObj>, and null to be the null handle. Override both
  // raw-key operations to give raw keys another meaning.
  virtual int compare(const pstHandle<psObj>& element, const void*& key) const;
  virtual int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const;
  virtual int hash(const void*& key) const;
  virtual int hash(const pstHandle<psObj>& element) const;

  // Optional: a number that sorts as the key or the element does, as far as it goes, or 0 for none. Where two numbers
  // differ, compare must say the same; where they are equal, compare decides. Keys and elements share one scale.
  // psAbbreviation.h makes such numbers. Sorted collections keep those of their elements, so that a search opens an
  // element only where numbers are equal. They use them when the comparator had them as the first element was added.
  //
  // When an object cannot be opened, the number may be anything. What is returned must not change for an element that
  // is stored, not even where compare would not notice.
  virtual std::uint64_t abbreviation(const void*& key) const;
  virtual std::uint64_t abbreviation(const pstHandle<psObj>& element) const;
  // Give another number here when abbreviation changes: what was kept is then not used any more, but made anew.
  virtual std::uint32_t abbreviationVersion() const;

  // Optional: the class that all elements are of, or of a subclass, since the comparator takes them for it. A
  // verification finds the elements of other classes, as only a file has that somebody has forged, and does not have
  // them compared. Here, any.
  virtual unsigned int elementTypeN() const;

  // The results of compare as predicates. In each flavour an override of compare decides them too.
  bool less(const pstHandle<psObj>& element, const void* key) const { return compare(element, key) < 0; }
  bool lessOrEqual(const pstHandle<psObj>& element, const void* key) const { return compare(element, key) <= 0; }
  bool greater(const pstHandle<psObj>& element, const void* key) const { return compare(element, key) > 0; }
  bool greaterOrEqual(const pstHandle<psObj>& element, const void* key) const { return compare(element, key) >= 0; }
  bool equal(const pstHandle<psObj>& element, const void* key) const { return compare(element, key) == 0; }

  bool less(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const { return compare(a, b) < 0; }
  bool lessOrEqual(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const { return compare(a, b) <= 0; }
  bool greater(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const { return compare(a, b) > 0; }
  bool greaterOrEqual(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const { return compare(a, b) >= 0; }
  bool equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b) const { return compare(a, b) == 0; }

  // Callback flavour: the result of f for the element's identifier. f is called once.
  static int compare(const pstHandle<psObj>& element, psCompareFunction f);
  static int hash(const pstHandle<psObj>& element, psHashFunction f);
  static bool less(const pstHandle<psObj>& element, psCompareFunction f) { return compare(element, f) < 0; }
  static bool lessOrEqual(const pstHandle<psObj>& element, psCompareFunction f) { return compare(element, f) <= 0; }
  static bool greater(const pstHandle<psObj>& element, psCompareFunction f) { return compare(element, f) > 0; }
  static bool greaterOrEqual(const pstHandle<psObj>& element, psCompareFunction f) { return compare(element, f) >= 0; }
  static bool equal(const pstHandle<psObj>& element, psCompareFunction f) { return compare(element, f) == 0; }

  // Java flavour: the result of a method of callee, which is an object of the application's class
  // com.vexa.pm.psScalableCollectionsPersistor. An element is passed to Java as a long: database in the low 16 bits,
  // then container, then page, and the slot in the high 16 bits.
  //
  //   compare(element, key, ...)    int cpp_compare(Object key, long element)
  //   compare(element, other, ...)  int cpp_compare2(long other, long element)
  //   hash(key, ...)                int cpp_hash(Object key)
  //   hash(element, ...)            int cpp_hash2(long element)
  //   abbreviation, optional        long cpp_abbreviation(Object key, long element)
  //   abbreviationVersion, optional int cpp_abbreviationVersion()
  //
  // cpp_abbreviation is asked for the key, or for the element when key is null. Its result counts as unsigned.
  //
  // A process uses one class loader: the class that it found is kept, and is used for all later objects.
  //
  // env is the environment of the calling thread, which must be attached to the JVM. A class or method is looked up at
  // its first call, and again after a look-up that failed. When a call fails, the result is 0 and the exception is
  // pending. When an exception is pending before, nothing is called, the result is 0, and the exception stays pending.
  // So check for an exception before you take elements for equal. Without env, or in a build without Java, the result
  // is 0 and an error is signalled.
  static int compare(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env);
  static int hash(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  static int compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other, _jobject*& callee, JNIEnv_* env);
  static int hash(const pstHandle<psObj>& element, _jobject*& callee, JNIEnv_* env);

  static bool less(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
    return compare(element, key, callee, env) < 0;
  }
  static bool lessOrEqual(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
    return compare(element, key, callee, env) <= 0;
  }
  static bool greater(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
    return compare(element, key, callee, env) > 0;
  }
  static bool greaterOrEqual(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
    return compare(element, key, callee, env) >= 0;
  }
  static bool equal(const pstHandle<psObj>& element, _jobject*& key, _jobject*& callee, JNIEnv_* env) {
    return compare(element, key, callee, env) == 0;
  }

  static bool less(const pstHandle<psObj>& a, const pstHandle<psObj>& b, _jobject*& callee, JNIEnv_* env) {
    return compare(a, b, callee, env) < 0;
  }
  static bool lessOrEqual(const pstHandle<psObj>& a, const pstHandle<psObj>& b, _jobject*& callee, JNIEnv_* env) {
    return compare(a, b, callee, env) <= 0;
  }
  static bool greater(const pstHandle<psObj>& a, const pstHandle<psObj>& b, _jobject*& callee, JNIEnv_* env) {
    return compare(a, b, callee, env) > 0;
  }
  static bool greaterOrEqual(const pstHandle<psObj>& a, const pstHandle<psObj>& b, _jobject*& callee, JNIEnv_* env) {
    return compare(a, b, callee, env) >= 0;
  }
  static bool equal(const pstHandle<psObj>& a, const pstHandle<psObj>& b, _jobject*& callee, JNIEnv_* env) {
    return compare(a, b, callee, env) == 0;
  }

  // The order and the hash of identifiers. Neither opens the objects, and no override changes them. comparePsId returns
  // exactly -1, 0 or 1, by database, container, page and slot in this order. A null handle has the identifier (0, 0, 0,
  // 0).
  static int comparePsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b);
  static int hashPsId(const pstHandle<psObj>& element);
  static bool lessPsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b) { return comparePsId(a, b) < 0; }
  static bool lessOrEqualPsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b) { return comparePsId(a, b) <= 0; }
  static bool greaterPsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b) { return comparePsId(a, b) > 0; }
  static bool greaterOrEqualPsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b) {
    return comparePsId(a, b) >= 0;
  }
  static bool equalPsId(const pstHandle<psObj>& a, const pstHandle<psObj>& b) { return comparePsId(a, b) == 0; }
};

static_assert(sizeof(psCompare) == 8, "a comparator has no field of its own");
