#include "StoredItem.h"

#include "store/pstHandle.h"

PS_REGISTER_CLASS(StoredItem)
PS_REGISTER_CLASS(NumberCompare)
PS_REGISTER_CLASS(WordCompare)

namespace {

// The payload of an element, good for as long as the handle lives. Of what cannot be opened it is zero, which the
// collection notices by itself.
const char* payloadIn(const pstHandle<psObj>& element) {
  static const Payload none{};
  const auto* const item = static_cast<const StoredItem*>(element.operator->());
  return item != nullptr ? item->payload() : none.data();
}

// Collections keep the first 32 bits.
template <class Order>
int hashAt(const void* address) {
  return static_cast<int>(Order::hash(address) >> 32);
}

}  // namespace

int NumberCompare::compare(const pstHandle<psObj>& element, const void*& key) const {
  return ByNumber::compare(payloadIn(element), key);
}
int NumberCompare::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const {
  return ByNumber::compare(payloadIn(element), payloadIn(other));
}
int NumberCompare::hash(const void*& key) const { return hashAt<ByNumber>(key); }
int NumberCompare::hash(const pstHandle<psObj>& element) const { return hashAt<ByNumber>(payloadIn(element)); }

int WordCompare::compare(const pstHandle<psObj>& element, const void*& key) const {
  return ByWord::compare(payloadIn(element), key);
}
int WordCompare::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const {
  return ByWord::compare(payloadIn(element), payloadIn(other));
}
int WordCompare::hash(const void*& key) const { return hashAt<ByWord>(key); }
int WordCompare::hash(const pstHandle<psObj>& element) const { return hashAt<ByWord>(payloadIn(element)); }
