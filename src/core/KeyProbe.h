#pragma once

#include <cstdint>
#include <optional>

#include "core/JavaBridge.h"
#include "core/RefusalWatch.h"
#include "core/psCollection.h"
#include "core/psCompare.h"
#include "store/pstRef.h"

// A probe is the key of an operation, in one of the 4 flavours, together with the comparison. Every algorithm that
// looks for a key is written once, over a probe; the public overloads only choose the probe. An operation takes it as a
// temporary, since a probe serves one operation. The steps of an operation take it by reference.
namespace ps::detail {

// A collection's comparator, as far as it could be determined.
struct ComparatorChoice {
  pstRef<psCompare> comparator;  // null: order by identifier
  bool refused = false;          // a node on the way to the collection could not be opened
};

// A comparator that is open during one operation. It stays at its address, so comparisons need no look-up.
class OpenComparator {
 public:
  explicit OpenComparator(const pstRef<psCompare>& comparator) : handle_(comparator) {}

  bool isNull() const { return handle_.isNull(); }
  bool open() {
    object_ = handle_.operator->();
    return object_ != nullptr;
  }
  const psCompare* operator->() const { return object_; }

  // Says what made an abbreviation.
  std::uint64_t tag() const { return std::uint64_t{object_->psGetTypeN()} << 32 | object_->abbreviationVersion(); }
  std::uint64_t abbreviationOf(const pstRef<psObj>& stored) const {
    return object_->abbreviation(pstHandle<psObj>(stored));
  }

 private:
  pstHandle<psCompare> handle_;
  const psCompare* object_ = nullptr;
};

// A number that sorts as a key does; see psCompare::abbreviation. Numbers are comparable only under one tag, which says
// what made them.
struct Abbreviation {
  std::uint64_t tag = 0;
  std::uint64_t value = 0;  // 0: not known

  bool isKnown() const { return value != 0; }
};

class KeyProbe {
 public:
  KeyProbe(const KeyProbe&) = delete;
  KeyProbe& operator=(const KeyProbe&) = delete;

  // Compares the stored element, which comes first, with the key. Ordered collections use this. The result is
  // meaningless once failed() is true.
  int compare(const pstRef<psObj>& stored) {
    asksForOrder_ = true;
    return order(stored);
  }

  // The key's abbreviation. It is made when it is first asked for. It means nothing once failed() is true.
  const Abbreviation& abbreviation() {
    if (!isAbbreviated_ && !failed()) {
      isAbbreviated_ = true;
      asksForOrder_ = true;
      abbreviation_ = abbreviate();
    }
    return abbreviation_;
  }
  // That of a stored element, under the same tag.
  virtual std::uint64_t abbreviationOf(const pstRef<psObj>&) { return 0; }

  // In a checked build, reports abbreviations that contradict a comparison.
  void checkAbbreviation(const pstRef<psObj>& stored, int result);

  // Whether the stored element matches the key. Hash collections use this, and the hashes of the key and of stored
  // elements. The result is meaningless once failed() is true. When the answer took opening an object that does not
  // exist, only the key's own object matches.
  bool equal(const pstRef<psObj>& stored) {
    const RefusalWatch watch;
    return matches(stored) && (!watch.metAbsent() || isKey(stored));
  }
  // Whether the collection also calls an element equal to the key when the order does; see psCollection::equal. The
  // result is meaningless once failed() is true.
  virtual bool confirms(const pstRef<psObj>&) { return true; }
  virtual std::uint32_t hash() = 0;
  virtual std::uint32_t hashOf(const pstRef<psObj>& stored) = 0;

  // Whether the answers so far cannot be trusted: there is no usable key or comparator, a call into Java failed, or
  // something was refused since the probe was made, in a comparator or in the search itself. A failed search is no
  // answer, and must not be taken for "absent".
  //
  // An order cannot be trusted either after an object was met that does not exist: a comparator that cannot open an
  // element cannot order it, and its result leads the search astray. Hash collections look at only one slot, so such
  // elements do not affect them.
  bool failed() const { return failed_ || (watch_.metAny() && (watch_.refused() || hasLostOrder())); }

  // Forgets what was refused or absent so far. The operation met it on a way that it can do without, and the probe had
  // not failed before.
  void disregardRefusals() {
    if (watch_.metAny()) isAbbreviated_ = false;
    watch_ = RefusalWatch();
  }

  // The key's identifier when the order is that of identifiers, so that a search can compare without a call. Otherwise
  // null.
  const psId* identifier() const { return identifier_; }

 protected:
  KeyProbe() = default;
  // Everyone who watches the whole operation learns that this search gave no answer.
  ~KeyProbe() {
    if (hasLostOrder()) RefusalWatch::tellAll();
  }

  virtual int order(const pstRef<psObj>& stored) = 0;
  virtual Abbreviation abbreviate() { return {}; }
  virtual bool matches(const pstRef<psObj>& stored) { return order(stored) == 0; }
  // Whether the stored element is the very object that is looked for.
  virtual bool isKey(const pstRef<psObj>&) const { return false; }

  void fail() { failed_ = true; }
  void orderByIdentifier(const psId& key) { identifier_ = &key; }

 private:
  bool hasLostOrder() const { return asksForOrder_ && watch_.metAbsent(); }

  RefusalWatch watch_;
  const psId* identifier_ = nullptr;
  Abbreviation abbreviation_;
  bool isAbbreviated_ = false;
  bool failed_ = false;
  bool asksForOrder_ = false;
};

// Only a comparator understands a raw key. Without one the probe has failed from the start.
class RawProbe final : public KeyProbe {
 public:
  RawProbe(const void* key, const ComparatorChoice& choice);
  std::uint64_t abbreviationOf(const pstRef<psObj>& stored) override { return comparator_.abbreviationOf(stored); }
  std::uint32_t hash() override;
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;
  Abbreviation abbreviate() override;

  const void* key_;
  OpenComparator comparator_;
};

// A null object is no key, so the probe has failed from the start. key must outlive the probe.
class HandleProbe final : public KeyProbe {
 public:
  HandleProbe(const pstHandle<psObj>& key, const ComparatorChoice& choice);
  // The collection also decides what is equal.
  HandleProbe(const pstHandle<psObj>& key, const psCollection& collection);
  std::uint64_t abbreviationOf(const pstRef<psObj>& stored) override { return comparator_.abbreviationOf(stored); }
  bool confirms(const pstRef<psObj>& stored) override;
  std::uint32_t hash() override { return hashOf(key_); }
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;
  Abbreviation abbreviate() override;
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
  // The first form takes the key's hash, for a look-up. The second also takes the function that hashes stored elements,
  // for a change.
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

// A failure in Java, such as an exception, fails the probe. From then on nothing is called, and the caller sees the
// exception. An exception that is pending before fails the probe from the start.
class JavaProbe final : public KeyProbe {
 public:
  JavaProbe(_jobject*& key, _jobject*& callee, JNIEnv_* env);
  // With the key's hash, for a look-up.
  JavaProbe(std::uint32_t keyHash, _jobject*& key, _jobject*& callee, JNIEnv_* env);
  std::uint64_t abbreviationOf(const pstRef<psObj>& stored) override;
  std::uint32_t hash() override;
  std::uint32_t hashOf(const pstRef<psObj>& stored) override;

 private:
  int order(const pstRef<psObj>& stored) override;
  Abbreviation abbreviate() override;
  template <class Result>
  Result resultOf(const std::optional<Result>& answer) {
    if (!answer) fail();
    return answer.value_or(Result{});
  }

  JavaBridge java_;
  _jobject* key_;
  std::optional<std::uint32_t> hash_;  // when the caller gave it
};

}  // namespace ps::detail
