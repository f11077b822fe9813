#include "core/KeyProbe.h"

#include "store/base/IdText.h"

namespace ps::detail {

namespace {

constexpr unsigned int lastTypeOfLibrary = 9999;

// In the tags of abbreviations in place of a comparator's class number; no class has it.
constexpr std::uint64_t javaMadeIt = std::uint64_t{0xFFFFFFFF} << 32;

}  // namespace

void KeyProbe::checkAbbreviation(const pstRef<psObj>& stored, int result) {
  if (!abbreviation_.isKnown() || failed()) return;
  const std::uint64_t other = abbreviationOf(stored);
  const bool contradicts = (other < abbreviation_.value && result >= 0) || (other > abbreviation_.value && result <= 0);
  if (other == 0 || !contradicts || failed()) return;
  reportMisuse("the comparator's abbreviations of " + textOf(stored.oid()) + ", " + std::to_string(other) +
               ", and of the key, " + std::to_string(abbreviation_.value) + ", contradict compare, which says " +
               std::to_string(result) + "; abbreviations must sort as compare does");
}

RawProbe::RawProbe(const void* key, const ComparatorChoice& choice) : key_(key), comparator_(choice.comparator) {
  if (choice.refused || comparator_.isNull() || !comparator_.open()) fail();
}

int RawProbe::order(const pstRef<psObj>& stored) { return comparator_->compare(pstHandle<psObj>(stored), key_); }

Abbreviation RawProbe::abbreviate() { return {comparator_.tag(), comparator_->abbreviation(key_)}; }

std::uint32_t RawProbe::hash() { return static_cast<std::uint32_t>(comparator_->hash(key_)); }

std::uint32_t RawProbe::hashOf(const pstRef<psObj>& stored) {
  return static_cast<std::uint32_t>(comparator_->hash(pstHandle<psObj>(stored)));
}

HandleProbe::HandleProbe(const pstHandle<psObj>& key, const ComparatorChoice& choice)
    : key_(key), comparator_(choice.comparator) {
  const bool hasComparator = !comparator_.isNull();
  if (choice.refused || key.isNull() || (hasComparator && !comparator_.open())) {
    fail();
  } else if (!hasComparator || comparator_->psGetTypeN() == psCompare::pstTypeN) {
    // A plain psCompare overrides nothing: its order is that of identifiers too.
    orderByIdentifier(key.oid());
  }
}

HandleProbe::HandleProbe(const pstHandle<psObj>& key, const psCollection& collection)
    : HandleProbe(key, ComparatorChoice{collection.comparator()}) {
  collection_ = &collection;
}

int HandleProbe::order(const pstRef<psObj>& stored) {
  const pstHandle<psObj> element(stored);
  if (comparator_.isNull()) return psCompare::comparePsId(element, key_);
  if (isChecked) checkOrder(element);
  return comparator_->compare(element, key_);
}

Abbreviation HandleProbe::abbreviate() {
  if (identifier() != nullptr) return {};
  return {comparator_.tag(), comparator_->abbreviation(key_)};
}

// In a checked build, reports a comparator that contradicts itself with the operands exchanged, or with an element and
// itself.
void HandleProbe::checkOrder(const pstHandle<psObj>& element) const {
  const auto signOf = [](int result) { return (result > 0) - (result < 0); };
  const RefusalWatch watch;
  const int forth = signOf(comparator_->compare(element, key_));
  const int back = signOf(comparator_->compare(key_, element));
  if (watch.metAny() || (forth == -back && (forth == 0 || element != key_))) return;
  reportMisuse(std::string("the comparator of class ") + comparator_->psGetTypeName() + " orders " +
               textOf(element.oid()) + " and " + textOf(key_.oid()) + " by " + std::to_string(forth) +
               " and the other way round by " + std::to_string(back) + "; an order must be total");
}

bool HandleProbe::matches(const pstRef<psObj>& stored) {
  return collection_ != nullptr ? collection_->equal(pstHandle<psObj>(stored), key_) : order(stored) == 0;
}

bool HandleProbe::confirms(const pstRef<psObj>& stored) {
  // The library's own collections call those elements equal that their order calls equal.
  const bool asks = collection_ != nullptr && collection_->psGetTypeN() > lastTypeOfLibrary;
  return !asks || collection_->equal(pstHandle<psObj>(stored), key_);
}

std::uint32_t HandleProbe::hashOf(const pstRef<psObj>& stored) {
  const pstHandle<psObj> element(stored);
  return static_cast<std::uint32_t>(comparator_.isNull() ? psCompare::hashPsId(element) : comparator_->hash(element));
}

CallbackProbe::CallbackProbe(psCompareFunction compareFunction) : compare_(compareFunction) {
  if (compareFunction == nullptr) fail();
}

CallbackProbe::CallbackProbe(std::uint32_t keyHash, psCompareFunction compareFunction)
    : CallbackProbe(compareFunction) {
  hash_ = keyHash;
}

CallbackProbe::CallbackProbe(std::uint32_t keyHash, psCompareFunction compareFunction, psHashFunction hashFunction)
    : CallbackProbe(keyHash, compareFunction) {
  hashFunction_ = hashFunction;
  if (hashFunction == nullptr) fail();
}

int CallbackProbe::order(const pstRef<psObj>& stored) { return psCompare::compare(pstHandle<psObj>(stored), compare_); }

std::uint32_t CallbackProbe::hashOf(const pstRef<psObj>& stored) {
  return static_cast<std::uint32_t>(psCompare::hash(pstHandle<psObj>(stored), hashFunction_));
}

JavaProbe::JavaProbe(_jobject*& key, _jobject*& callee, JNIEnv_* env) : java_(callee, env), key_(key) {
  if (!java_.isOpen()) fail();
}

JavaProbe::JavaProbe(std::uint32_t keyHash, _jobject*& key, _jobject*& callee, JNIEnv_* env)
    : JavaProbe(key, callee, env) {
  hash_ = keyHash;
}

int JavaProbe::order(const pstRef<psObj>& stored) { return resultOf(java_.compare(stored.oid(), key_)); }

Abbreviation JavaProbe::abbreviate() {
  const auto value = resultOf(java_.abbreviation(psId(), key_));
  if (value == 0) return {};
  return {javaMadeIt | resultOf(java_.abbreviationVersion()), value};
}

std::uint64_t JavaProbe::abbreviationOf(const pstRef<psObj>& stored) {
  return resultOf(java_.abbreviation(stored.oid(), nullptr));
}

std::uint32_t JavaProbe::hash() { return hash_ ? *hash_ : static_cast<std::uint32_t>(resultOf(java_.hash(key_))); }

std::uint32_t JavaProbe::hashOf(const pstRef<psObj>& stored) {
  return static_cast<std::uint32_t>(resultOf(java_.hash(stored.oid())));
}

}  // namespace ps::detail
