#include "Ours.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "StoredItem.h"

namespace {

constexpr int entriesPerNode = 480;
constexpr int slotsPerBucket = 101;

// A container takes no more than 512 MiB.
constexpr std::size_t objectsPerContainer = 1000000;

// With few objects, a store's file is nearly all list.
constexpr std::size_t objectsOfLists = 1000;

constexpr const char* storeFile = "store";
constexpr const char* identifierFile = "identifiers";

template <class Collection>
constexpr bool isHash = std::is_same_v<Collection, psHashSet>;
template <class Collection>
constexpr bool isMap = std::is_same_v<Collection, psTreeMap>;
template <class Collection>
constexpr bool isList = std::is_same_v<Collection, psTreeList>;

void require(bool isDone, const psSession& session) {
  if (!isDone) throw std::runtime_error(session.lastError());
}

// By the comparator, or by identifier when it is null.
template <class Collection>
Collection* newCollection(const pstHandle<psContObj>& in, pstHandle<psCompare> comparator) {
  if constexpr (isList<Collection>) {
    return new (in) psTreeList(entriesPerNode);
  } else if constexpr (isHash<Collection>) {
    return new (in) psHashSet(comparator, slotsPerBucket, 1);
  } else {
    return new (in) Collection(comparator, entriesPerNode);
  }
}

// Takes out the element of a key, and deletes it. A tree's iterator finds it once for both; a hash's would look at one
// element after the other.
template <class Collection>
bool removeObject(Collection& collection, psCollectionIterator& it, std::uint64_t key) {
  pstHandle<psObj> object;
  if constexpr (isHash<Collection>) {
    object = collection.get(static_cast<const void*>(&key));
    if (!collection.remove(object)) return false;
  } else {
    if (!it.goTo(static_cast<const void*>(&key))) return false;
    object = it.current(pscNoLock);
    if (it.remove() != 1) return false;
  }
  return psDelete(object) == 1;
}

}  // namespace

template <class Collection>
Ours<Collection>::Ours(const Setup& setup) : Contestant(setup) {
  if (ownsObjects()) return;
  identifiers_.resize(isList<Collection> ? objectsOfLists : 2 * setup.count);
  std::ifstream file(fileNamed(identifierFile), std::ios::binary);
  file.read(reinterpret_cast<char*>(identifiers_.data()),
            static_cast<std::streamsize>(identifiers_.size() * sizeof(psId)));
}

template <class Collection>
void Ours<Collection>::create() {
  open();
  objectCount_ = 0;
  if (!ownsObjects()) {
    createObjects();
    bytesOfObjects_ = bytesOfLmdbFile(fileNamed(storeFile));
  }
  require(session_.begin(pscUpdate) == 1, session_);
  const pstHandle<psDBObj> database = session_.database(databaseName);
  const pstHandle<psContObj> in = session_.container(database, "parts");
  pstHandle<psCompare> comparator;
  if (ownsObjects()) comparator = new (in) ItemCompare;
  const pstHandle<Collection> collection(newCollection<Collection>(in, comparator));
  require(!collection.isNull() && session_.name(collection, database, collectionName) == 1, session_);
  require(session_.commit() == 1, session_);
}

template <class Collection>
void Ours<Collection>::open() {
  psSessionOptions options;
  options.cacheLimit = setup().cacheBytes;
  require(session_.open(fileNamed(storeFile).string(), options) == 1, session_);
  objectCount_ = setup().count;
}

template <class Collection>
void Ours<Collection>::add(const Keys& keys, bool) {
  change([&](Collection& collection) {
    for (const std::uint64_t key : keys) require(put(collection, key), session_);
  });
}

template <class Collection>
void Ours<Collection>::remove(const Keys& keys) {
  change([&](Collection& collection) {
    const std::unique_ptr<psCollectionIterator> it(collection.iterator());
    for (const std::uint64_t key : keys) {
      require(ownsObjects() ? removeObject(collection, *it, key) : collection.remove(objectOf(key)), session_);
    }
  });
}

template <class Collection>
void Ours<Collection>::addAtOnce(const Keys& keys) {
  change([&](Collection& collection) {
    std::vector<pstRef<psObj>> elements;
    for (const std::uint64_t key : keys) elements.emplace_back(objectFor(key));
    const int n = static_cast<int>(keys.size());
    if constexpr (isMap<Collection>) {
      require(collection.append(elements.data(), elements.data(), n) == n, session_);
    } else {
      require(collection.append(elements.data(), n) == n, session_);
    }
  });
}

template <class Collection>
void Ours<Collection>::drop() {
  require(session_.begin(pscUpdate) == 1, session_);
  pstHandle<psObj> collection;
  require(collection.lookupObj(session_.database(databaseName), collectionName, pscUpdate) == 1, session_);
  require(psDelete(collection) == 1 && session_.commit() == 1, session_);
}

template <class Collection>
std::size_t Ours<Collection>::countHits(const Keys& keys) {
  return read([&](const Collection& collection) {
    std::size_t hits = 0;
    if (ownsObjects()) {
      for (const std::uint64_t& key : keys) hits += collection.contains(static_cast<const void*>(&key)) ? 1 : 0;
    } else {
      for (const std::uint64_t key : keys) hits += has(collection, key) ? 1 : 0;
    }
    return hits;
  });
}

template <class Collection>
std::size_t Ours<Collection>::countHitsAtOnce(const Keys& keys) {
  if constexpr (isHash<Collection>) {
    constexpr std::size_t atOnce = 1000;
    return read([&](const Collection& collection) {
      std::vector<pstRef<psObj>> found(atOnce);
      std::vector<pstRef<psObj>> elements(atOnce);
      std::vector<const void*> rawKeys(atOnce);
      std::size_t hits = 0;
      for (std::size_t begin = 0; begin < keys.size(); begin += atOnce) {
        const std::size_t count = std::min(atOnce, keys.size() - begin);
        const int n = static_cast<int>(count);
        for (std::size_t i = 0; i < count; ++i) {
          rawKeys[i] = &keys[begin + i];
          elements[i] = objectOf(keys[begin + i]);
        }
        hits += static_cast<std::size_t>(ownsObjects() ? collection.getMany(rawKeys.data(), found.data(), n)
                                                       : collection.getMany(elements.data(), found.data(), n));
      }
      return hits;
    });
  } else {
    return countHits(keys);
  }
}

template <class Collection>
std::size_t Ours<Collection>::walk() {
  return read([](const Collection& collection) {
    std::unique_ptr<psCollectionIterator> it;
    if constexpr (isMap<Collection>) {
      it.reset(collection.valueIterator());
    } else {
      it.reset(collection.iterator());
    }
    std::size_t count = 0;
    while (it->hasNext()) count += it->next(pscNoLock).isNull() ? 0 : 1;
    return count;
  });
}

template <class Collection>
std::uint64_t Ours<Collection>::walkReading() {
  return read([&](const Collection& collection) {
    const std::unique_ptr<psCollectionIterator> it(collection.iterator());
    std::uint64_t sum = 0;
    if (ownsObjects()) {
      while (it->hasNext()) sum += pstRef<StoredItem>(it->next(pscNoLock))->key();
    } else {
      while (it->hasNext()) {
        const std::uint64_t key = it->next(pscNoLock).oid().bits();
        sum += it->currentValue().isNull() ? 0 : key;
      }
    }
    return sum;
  });
}

template <class Collection>
DiskBytes Ours<Collection>::bytesOnDisk() const {
  const DiskBytes bytes = bytesOfLmdbFile(fileNamed(storeFile));
  return {bytes.files - bytesOfObjects_.files, bytes.inUse - bytesOfObjects_.inUse};
}

template <class Collection>
void Ours<Collection>::createObjects() {
  require(session_.begin(pscUpdate) == 1, session_);
  for (psId& id : identifiers_) id = pstHandle<psObj>(new (objectContainer()) StoredItem(Payload{})).oid();
  require(session_.commit() == 1, session_);
  std::ofstream file(fileNamed(identifierFile), std::ios::binary);
  file.write(reinterpret_cast<const char*>(identifiers_.data()),
             static_cast<std::streamsize>(identifiers_.size() * sizeof(psId)));
  if (!file.flush()) throw std::runtime_error("cannot keep the identifiers of objects");
}

// Where one more object is to be created.
template <class Collection>
const pstHandle<psContObj>& Ours<Collection>::objectContainer() {
  if (objects_.isNull() || objectCount_ % objectsPerContainer == 0) {
    const std::string name = "objects " + std::to_string(objectCount_ / objectsPerContainer);
    objects_ = session_.container(session_.database(databaseName), name.c_str());
  }
  ++objectCount_;
  return objects_;
}

template <class Collection>
pstHandle<psObj> Ours<Collection>::objectOf(std::uint64_t key) const {
  if constexpr (isList<Collection>) {
    return identifiers_[key % objectsOfLists];
  } else {
    psId id;
    std::memcpy(static_cast<void*>(&id), &key, sizeof id);
    return id;
  }
}

template <class Collection>
bool Ours<Collection>::put(Collection& collection, std::uint64_t key) {
  const pstHandle<psObj> object = objectFor(key);
  if constexpr (isMap<Collection>) {
    return collection.put(object, object) == 1;
  } else {
    return collection.add(object);
  }
}

// A new one, unless objects are there before.
template <class Collection>
pstHandle<psObj> Ours<Collection>::objectFor(std::uint64_t key) {
  return ownsObjects() ? pstHandle<psObj>(new (objectContainer()) StoredItem(payloadOf(key))) : objectOf(key);
}

// If objects are there before.
template <class Collection>
bool Ours<Collection>::has(const Collection& collection, std::uint64_t key) const {
  if constexpr (isList<Collection>) {
    return collection.get(static_cast<int>(key)).oid() == objectOf(key).oid();
  } else if constexpr (isMap<Collection>) {
    const pstHandle<psObj> object = objectOf(key);
    return collection.get(object).oid() == object.oid();
  } else {
    return collection.contains(objectOf(key));
  }
}

template <class Collection>
template <class Change>
void Ours<Collection>::change(Change change) {
  require(session_.begin(pscUpdate) == 1, session_);
  pstHandle<Collection> collection;
  require(collection.lookupObj(session_.database(databaseName), collectionName, pscUpdate) == 1, session_);
  change(*collection);
  require(session_.commit() == 1, session_);
}

template class Ours<psTreeSet>;
template class Ours<psHashSet>;
template class Ours<psTreeMap>;
template class Ours<psTreeList>;
