#include "pscol/CollectionKeys.h"

#include <pscollections.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>

#include "pscol/Text.h"
#include "pscol/ValueText.h"

namespace pscol {

namespace {

std::int64_t positionFrom(const std::string& word, std::int64_t whenEmpty) {
  std::int64_t position = 0;
  const char* const end = word.data() + word.size();
  if (word.empty()) return whenEmpty;
  if (std::from_chars(word.data(), end, position).ptr != end || position < 0)
    throw Failure(Status::unusable, inQuotes(word) + " is no position in a list; these are numbers from 0 on");
  return position;
}

using IteratorPointer = std::unique_ptr<psCollectionIterator>;

// Where a walk over a sorted collection begins and ends. The order of elements is the comparator's.
struct Bound {
  psDescribedKey key;
  psId element;  // of a collection that is ordered by identifiers

  // Whether an element comes before the bound, or behind it.
  int side(const pstHandle<psObj>& other, const pstHandle<psCompare>& comparator) const {
    if (comparator.isNull()) return psCompare::comparePsId(other, pstHandle<psObj>(element));
    const void* raw = &key;
    return comparator->compare(other, raw);
  }
};

}  // namespace

CollectionKeys::CollectionKeys(OpenStore& store, const psId& collection)
    : store_(store), id_(collection), kind_(store.inspector().kindOf(collection)) {
  psStoredObject object;
  if (kind_ == psCollectionKind::none)
    throw Failure(Status::negative, store.nameOf(collection) + " is no collection, or cannot be read");
  require(store.session(), store.inspector().object(collection, object));
  visitFields(object, [this](const psStoredLevel& level, const psStoredValue& field) {
    const bool isOfLibrary = level.className == "psTreeSet" || level.className == "psHashSet";
    if (isOfLibrary && field.name == "comparator") comparator_ = field.id;
  });
  comparatorTypeN_ = pstHandle<psObj>(comparator_).typeN();
  if (!isById()) keys_ = psOrderKeysOf(comparatorTypeN_);
}

std::string CollectionKeys::order() const {
  if (kind_ == psCollectionKind::list) return "";
  if (isById()) return "identifiers";
  const ClassNames names(store_);
  std::string text;
  for (const psOrderKey& key : keys_)
    text += (text.empty() ? ": " : ", ") + (key.field.empty() ? "a function" : key.field) +
            (key.descends ? " descending" : "");
  return names[comparatorTypeN_] + text;
}

bool CollectionKeys::canFind() const { return isById() || psTakesDescribedKey(comparatorTypeN_); }

void CollectionKeys::requireKeys() const {
  if (canFind()) return;
  throw Failure(Status::unusable, "the order of this collection, " + order() +
                                      ", is known only to the program that has it; `pscol range` without bounds lists "
                                      "all elements");
}

// Values of several keys stand between commas; the last one may have commas in it.
psDescribedKey CollectionKeys::parse(const std::string& word, bool mayBePart) const {
  psDescribedKey key;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < keys_.size() && begin <= word.size(); ++i) {
    const bool isLast = i + 1 == keys_.size();
    const std::size_t end = isLast ? word.size() : std::min(word.find(',', begin), word.size());
    std::string complaint;
    psKeyValue value;
    if (!psParseKey(word.substr(begin, end - begin), keys_[i], value, complaint))
      throw Failure(Status::unusable, complaint);
    key.values.push_back(std::move(value));
    begin = end + 1;
  }
  if (key.values.size() < keys_.size() && !mayBePart)
    throw Failure(Status::unusable,
                  "the key has " + std::to_string(keys_.size()) + " parts, with commas between them: " + order());
  return key;
}

std::optional<FoundElement> CollectionKeys::find(const std::string& word) {
  requireKeys();
  if (kind_ == psCollectionKind::list) {
    const std::int64_t position = positionFrom(word, 0);
    const pstHandle<psBTree> list(id_);
    if (position >= std::numeric_limits<int>::max()) return {};
    const pstRef<psObj> element = list->get(static_cast<int>(position));
    return element.isNull() ? std::nullopt : std::optional<FoundElement>({element.oid(), {}});
  }
  if (isById()) return findById(word);
  return psIsTree(kind_) ? findSorted(word) : findHashed(word);
}

std::optional<FoundElement> CollectionKeys::findById(const std::string& word) {
  const pstHandle<psObj> wanted(store_.find(word));
  const pstHandle<psCollection> collection(id_);
  if (!collection->contains(wanted)) return {};
  FoundElement found{wanted.oid(), {}};
  if (kind_ == psCollectionKind::sortedMap) found.value = pstHandle<psTreeMap>(id_)->get(wanted).oid();
  if (kind_ == psCollectionKind::hashMap) found.value = pstHandle<psHashMap>(id_)->get(wanted).oid();
  return found;
}

std::optional<FoundElement> CollectionKeys::findSorted(const std::string& word) {
  std::optional<FoundElement> found;
  walkSorted(word, word, false, [&found](const FoundElement& element) {
    found = element;
    return false;
  });
  return found;
}

std::optional<FoundElement> CollectionKeys::findHashed(const std::string& word) {
  const psDescribedKey key = parse(word, false);
  const void* const raw = &key;
  if (kind_ == psCollectionKind::hashMap) {
    const pstHandle<psHashMapEntry> entry = pstHandle<psHashMap>(id_)->entry(raw);
    if (entry.isNull()) return {};
    return FoundElement{entry->key().oid(), entry->value().oid()};
  }
  const psId element = pstHandle<psHashSet>(id_)->get(raw).oid();
  return element.isNull() ? std::nullopt : std::optional<FoundElement>({element, {}});
}

void CollectionKeys::walk(const std::string& from, const std::string& to, bool isReverse, const Visitor& visit) {
  const bool isBounded = !from.empty() || !to.empty();
  if (isBounded && psIsHashTable(kind_))
    throw Failure(Status::unusable, "a hash table has no order, and so no range; `pscol get` looks up one key");
  if (kind_ == psCollectionKind::list) return walkList(from, to, isReverse, visit);
  if (psIsHashTable(kind_) || (!isBounded && !isReverse)) return walkAll(visit);
  if (isBounded) requireKeys();
  walkSorted(from, to, isReverse, visit);
}

// Also of a collection that is damaged, as far as it can be read.
void CollectionKeys::walkAll(const Visitor& visit) {
  require(store_.session(), store_.inspector().elements(id_, [&visit](const psElementInfo& element) {
    return visit({element.element, element.value});
  }));
}

void CollectionKeys::walkList(const std::string& from, const std::string& to, bool isReverse, const Visitor& visit) {
  const pstHandle<psBTree> list(id_);
  const std::int64_t size = list->size();
  if (size < 0) throw failureOf(store_.session());
  const std::int64_t first = positionFrom(from, 0);
  const std::int64_t last = std::min(positionFrom(to, size - 1), size - 1);
  const IteratorPointer at(list->iterator());
  for (std::int64_t i = 0; i <= last - first; ++i) {
    const pstRef<psObj> element = i == 0      ? at->goToIndex(static_cast<int>(isReverse ? last : first), pscNoLock)
                                  : isReverse ? at->previous(pscNoLock)
                                              : at->next(pscNoLock);
    if (!visit({element.oid(), {}})) return;
  }
}

void CollectionKeys::walkSorted(const std::string& from, const std::string& to, bool isReverse, const Visitor& visit) {
  const pstHandle<psTreeSet> set(id_);
  const pstHandle<psCompare> comparator(comparator_);
  const auto boundOf = [this](const std::string& word, psDescribedKey::End end) {
    Bound bound;
    if (isById() && !word.empty()) bound.element = store_.find(word);
    if (!isById()) bound.key = parse(word, true);
    bound.key.end = end;
    return bound;
  };
  const std::string& beginWord = isReverse ? to : from;
  const std::string& endWord = isReverse ? from : to;
  using End = psDescribedKey::End;
  const Bound begin = boundOf(beginWord, isReverse ? End::behindLast : End::beforeFirst);
  const Bound end = boundOf(endWord, isReverse ? End::beforeFirst : End::behindLast);
  const IteratorPointer at(set->iterator());
  bool isThere = false;
  if (!beginWord.empty())
    isThere = isById() ? at->goTo(pstHandle<psObj>(begin.element)) : at->goTo(static_cast<const void*>(&begin.key));
  // The element before which it stands comes first in one direction alone.
  if (isReverse && !isThere && (beginWord.empty() || at->next(pscNoLock).isNull()))
    at->goToIndex(std::numeric_limits<int>::max(), pscNoLock);
  const auto sideOf = [&](const pstRef<psObj>& element, const std::string& word, const Bound& bound) {
    const int side = word.empty() ? 0 : bound.side(pstHandle<psObj>(element), comparator);
    return isReverse ? -side : side;
  };
  for (bool isFirst = true;; isFirst = false) {
    const bool stays = isFirst && isThere;
    const pstRef<psObj> element = stays       ? at->current(pscNoLock)
                                  : isReverse ? at->previous(pscNoLock)
                                              : at->next(pscNoLock);
    if (element.isNull() || sideOf(element, endWord, end) > 0) return;
    if (sideOf(element, beginWord, begin) < 0) continue;
    const psId value = psIsMap(kind_) ? at->currentValue().oid() : psId();
    if (!visit({element.oid(), value})) return;
  }
}

}  // namespace pscol
