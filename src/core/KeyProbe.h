#pragma once

#include <cstdint>
#include <optional>

#include "core/JavaBridge.h"
#include "core/RefusalWatch.h"
#include "core/psCollection.h"
#include "core/psCompare.h"
#include "store/pstRef.h"

// A probe is the key of one operation, in one of the four flavours, together with what compares it. Every algorithm
// that looks for a key is written once, over a probe; the public overloads only choose which probe to make. A whole
// operation takes it as a temporary, since it serves no other; the steps of one take it by reference.
namespace ps::detail {

// A collection's comparator, as far as it could be found out.
struct ComparatorChoice {
  pstRef<psCompare> comparator;  // null: order by identifier
  bool refused = false;          // a node on the way to the collection could not be opened
};

// A comparator, open for the time of one operation: it stays where it is, and need not be looked up for each
// comparison.
class OpenComparator {
 public:
  explicit OpenComparator(const pstRef<psCompare>& comparator) : handle_(comparator) {}

  bool isNull() const { return handle_.isNull(); }
  bool open() {
    object_ = handle_.open(pscRead) == 1 ? handle_.operator->() : nullptr;
    return object_ != nullptr;
  }
  const psCompare* operator->() const { return object_; }

 private:
  pstHandle<psCompare> handle_;
  const psCompare* object_ = nullptr;
};

class KeyProbe {
 public:
  KeyProbe(const KeyProbe&) = delete;
  KeyProbe& operator=(const KeyProbe&) = delete;

  // Compares the stored element with the key, the stored one first: what ordered collections ask. Worth nothing once
  // failed() is true.
  int compare(const pstRef<psObj>& stored) {
    asksForOrder_ = true;
    return order(stored);
  }

  // Whether the stored element matches the key. This, and the hashes of the key and of a stored element, is what hash
  // collections ask; it is worth nothing once failed() is true. When it took opening what does not exist to say so,
  // nothing matches but the key's own object.
  bool equal(const pstRef<psObj>& stored) {
    const RefusalWatch watch;
    return matches(stored) && (!watch.metAbsent() || isKey(stored));
  }
  // Whether the collection, too, calls an element equal to the key whose order is that of the key; see
  // psCollection::equal. Worth nothing once failed() is true.
  virtual bool confirms(const pstRef<psObj>&) { return true; }
  virtual std::uint32_t hash() = 0;
  virtual std::uint32_t hashOf(const pstRef<psObj>& stored) = 0;

  // Whether the answers so far cannot be trusted: there is no usable key or comparator, a call into Java failed, or
  // something was refused since the probe was made, be it within a comparator or on the search's own way. A failed
  // search is no answer, least of all "absent".
  //
  // Nor can they once an object was met that does not exist, if an order was asked for: a comparator that cannot open
  // an element cannot order it, and whatever it says sends the search astray. Hash collections look at one slot
  // alone, and go on beside such elements.
  bool failed() const { return failed_ || (watch_.metAny() && (watch_.refused() || hasLostOrder())); }

  // Forgets what was refused or absent so far: it was met on a way that the operation can do without, and which it
  // began when the probe had not failed.
  void disregardRefusals() { watch_ = RefusalWatch(); }

  // The key's identifier when the order is that of identifiers, so that a search can compare without a call; else null.
  const psId* identifier() const { return identifier_; }

 protected:
  KeyProbe() = default;
  // Whoever watches a whole operation, of which this search is a part, learns that it gave no answer.
  ~KeyProbe() {
    if (hasLostOrder()) RefusalWatch::tellAll();
  }

  virtual int order(const pstRef<psObj>& stored) = 0;
  virtual bool matches(const pstRef<psObj>& stored) { return order(stored) == 0; }
  // Whether the stored element is the very object that is looked for.
  virtual bool isKey(const pstRef<psObj>&) const { return false; }

  void fail() { failed_ = true; }
  void orderByIdentifier(const psId& key) { identifier_ = &key; }

 private:
  bool hasLostOrder() const { return asksForOrder_ && watch_.metAbsent(); }

  RefusalWatch watch_;
  const psId* identifier_ = nullptr;
  bool failed_ = false;
  bool asksForOrder_ = false;
};

// Only a comparator understands a raw key: without one the probe has failed from the start.
class RawProbe final : public KeyProbe {
 public:
  RawProbe(const void* key, const ComparatorChoice& choice);
  std::uint32_t hash() override;
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;

  const void* key_;
  OpenComparator comparator_;
};

// A null object is no key: the probe has failed from the start. key must outlive the probe.
class HandleProbe final : public KeyProbe {
 public:
  HandleProbe(const pstHandle<psObj>& key, const ComparatorChoice& choice);
  // Asks the collection, too, what is equal.
  HandleProbe(const pstHandle<psObj>& key, const psCollection& collection);
  bool confirms(const pstRef<psObj>& stored) override;
  std::uint32_t hash() override { return hashOf(key_); }
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;
  void checkOrder(const pstHandle<psObj>& element) const;
  bool matches(const pstRef<psObj>& stored) override;
  bool isKey(const pstRef<psObj>& stored) const override { return stored == key_; }

  const pstHandle<psObj>& key_;
  OpenComparator comparator_;
  const psCollection* collection_ = nullptr;
};

class CallbackProbe final : public KeyProbe {
 public:
  explicit CallbackProbe(psCompareFunction compareFunction);
  // With the key's hash, for a look-up; and for a change with the function that hashes stored elements as well.
  CallbackProbe(std::uint32_t keyHash, psCompareFunction compareFunction);
  CallbackProbe(std::uint32_t keyHash, psCompareFunction compareFunction, psHashFunction hashFunction);
  std::uint32_t hash() override { return hash_; }
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;

  std::uint32_t hash_ = 0;
  psCompareFunction compare_;
  psHashFunction hashFunction_ = nullptr;
};

// What goes wrong in Java, an exception above all, fails the probe: from then on nothing is called, and the exception
// is the caller's to see. One that is pending from before fails it from the start.
class JavaProbe final : public KeyProbe {
 public:
  JavaProbe(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  // With the key's hash, for a look-up.
  JavaProbe(std::uint32_t keyHash, _jobject*& key, _jobject*& callee, JNIEnv_* env);
  std::uint32_t hash() override;
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;
  int resultOf(const std::optional<int>& answer);

  JavaBridge java_;
  _jobject* key_;
  std::optional<std::uint32_t> hash_;  // when the caller gave it
};

}  // namespace ps::detail
