#include "OurSet.h"

#include <fstream>
#include <memory>
#include <string>
#include <type_traits>

#include "BenchStore.h"
#include "StoredItem.h"
#include "core/psCollectionIterator.h"
#include "hash/psHashSet.h"
#include "sorted/psTreeSet.h"

namespace {

constexpr int entriesPerNode = 480;
constexpr int slotsPerBucket = 101;

// A container takes no more than 512 MiB.
constexpr std::size_t objectsPerContainer = 1000000;

constexpr const char* databaseName = "bench";
constexpr const char* setName = "set";
constexpr const char* storeFile = "store";
constexpr const char* identifierFile = "identifiers";

template <class Collection>
Collection* newSet(const pstHandle<psContObj>& in, KeyKind kind) {
  constexpr bool isTree = std::is_same_v<Collection, psTreeSet>;
  if (kind == KeyKind::identifier) {
    if constexpr (isTree)
      return new (in) psTreeSet(entriesPerNode);
    else
      return new (in) psHashSet(slotsPerBucket, 1);
  }
  pstHandle<psCompare> comparator;
  if (kind == KeyKind::content)
    comparator = new (in) NumberCompare;
  else
    comparator = new (in) WordCompare;
  if constexpr (isTree)
    return new (in) psTreeSet(comparator, entriesPerNode);
  else
    return new (in) psHashSet(comparator, slotsPerBucket, 1);
}

pstHandle<psObj> objectNamed(std::string_view identifier) {
  psId id;
  std::memcpy(static_cast<void*>(&id), identifier.data(), sizeof id);
  return id;
}

// Takes out the element of a key, and deletes it. A tree's iterator finds it once for both; a hash's would look at one
// element after the other.
template <class Collection>
bool removeObject(Collection& set, psCollectionIterator& it, std::string_view key) {
  pstHandle<psObj> object;
  if constexpr (std::is_same_v<Collection, psTreeSet>) {
    if (!it.goTo(static_cast<const void*>(key.data()))) return false;
    object = it.current(pscNoLock);
    if (it.remove() != 1) return false;
  } else {
    object = set.get(key.data());
    if (!set.remove(object)) return false;
  }
  return psDelete(object) == 1;
}

}  // namespace

template <class Collection>
OurSet<Collection>::OurSet(const Setup& setup) : Contestant(setup) {
  std::ifstream file(fileNamed(identifierFile), std::ios::binary);
  if (!file) return;
  identifiers_.resize(2 * setup.count);
  file.read(reinterpret_cast<char*>(identifiers_.data()),
            static_cast<std::streamsize>(identifiers_.size() * sizeof(psId)));
  if (!file) stop("cannot read the identifiers of objects back");
}

template <class Collection>
void OurSet<Collection>::create() {
  openSession();
  if (isByIdentifier()) {
    createObjects();
    bytesOfObjects_ = bytesOfLmdbFile(fileNamed(storeFile));
  }
  if (session_.begin(pscUpdate) != 1) stop(session_.lastError());
  const pstHandle<psDBObj> database = session_.database(databaseName);
  const pstHandle<Collection> set(newSet<Collection>(session_.container(database, "parts"), setup().kind));
  if (set.isNull() || session_.name(set, database, setName) != 1 || session_.commit() != 1) stop(session_.lastError());
}

template <class Collection>
void OurSet<Collection>::open() {
  openSession();
  objectCount_ = setup().count;
}

template <class Collection>
void OurSet<Collection>::add(const KeyList& keys, bool) {
  change([&](Collection& set) {
    for (const std::string_view key : keys) {
      const pstHandle<psObj> object =
          isByIdentifier() ? objectNamed(key) : pstHandle<psObj>(new (objectContainer()) StoredItem(payloadOf(key)));
      if (!set.add(object)) stop("a set does not take an element: " + session_.lastError());
    }
  });
}

template <class Collection>
void OurSet<Collection>::remove(const KeyList& keys) {
  change([&](Collection& set) {
    const std::unique_ptr<psCollectionIterator> it(set.iterator());
    for (const std::string_view key : keys) {
      const bool isRemoved = isByIdentifier() ? set.remove(objectNamed(key)) : removeObject(set, *it, key);
      if (!isRemoved) stop("a set does not remove an element: " + session_.lastError());
    }
  });
}

template <class Collection>
std::size_t OurSet<Collection>::countHits(const KeyList& keys) {
  return read([&](const Collection& set) {
    std::size_t hits = 0;
    if (isByIdentifier()) {
      for (const std::string_view key : keys) hits += set.contains(objectNamed(key)) ? 1 : 0;
    } else {
      for (const std::string_view key : keys) hits += set.contains(static_cast<const void*>(key.data())) ? 1 : 0;
    }
    return hits;
  });
}

template <class Collection>
std::size_t OurSet<Collection>::walk() {
  return read([](const Collection& set) {
    std::size_t count = 0;
    const std::unique_ptr<psCollectionIterator> it(set.iterator());
    while (it->hasNext()) count += it->next(pscNoLock).isNull() ? 0 : 1;
    return count;
  });
}

template <class Collection>
std::uint64_t OurSet<Collection>::walkReading() {
  return read([](const Collection& set) {
    std::uint64_t sum = 0;
    const std::unique_ptr<psCollectionIterator> it(set.iterator());
    while (it->hasNext()) sum += numberAt(pstRef<StoredItem>(it->next(pscNoLock))->payload());
    return sum;
  });
}

template <class Collection>
DiskBytes OurSet<Collection>::bytesOnDisk() const {
  const DiskBytes bytes = bytesOfLmdbFile(fileNamed(storeFile));
  return {bytes.files - bytesOfObjects_.files, bytes.inUse - bytesOfObjects_.inUse};
}

template <class Collection>
void OurSet<Collection>::openSession() {
  psSessionOptions options;
  options.cacheLimit = setup().cacheBytes;
  if (session_.open(fileNamed(storeFile).string(), options) != 1) stop(session_.lastError());
}

template <class Collection>
void OurSet<Collection>::createObjects() {
  if (session_.begin(pscUpdate) != 1) stop(session_.lastError());
  while (identifiers_.size() < 2 * setup().count) {
    identifiers_.push_back(pstHandle<psObj>(new (objectContainer()) StoredItem(Payload{})).oid());
  }
  if (session_.commit() != 1) stop(session_.lastError());
  std::ofstream file(fileNamed(identifierFile), std::ios::binary);
  file.write(reinterpret_cast<const char*>(identifiers_.data()),
             static_cast<std::streamsize>(identifiers_.size() * sizeof(psId)));
  if (!file.flush()) stop("cannot keep the identifiers of objects");
}

// Where one more object is to be created.
template <class Collection>
const pstHandle<psContObj>& OurSet<Collection>::objectContainer() {
  if (objects_.isNull() || objectCount_ % objectsPerContainer == 0) {
    const std::string name = "objects " + std::to_string(objectCount_ / objectsPerContainer);
    objects_ = session_.container(session_.database(databaseName), name.c_str());
  }
  ++objectCount_;
  return objects_;
}

template <class Collection>
template <class Change>
void OurSet<Collection>::change(Change change) {
  if (session_.begin(pscUpdate) != 1) stop(session_.lastError());
  pstHandle<Collection> set;
  if (set.lookupObj(session_.database(databaseName), setName, pscUpdate) != 1) stop(session_.lastError());
  change(*set);
  if (session_.commit() != 1) stop(session_.lastError());
}

template <class Collection>
template <class Use>
auto OurSet<Collection>::read(Use use) {
  if (session_.begin(pscRead) != 1) stop(session_.lastError());
  pstHandle<Collection> set;
  if (set.lookupObj(session_.database(databaseName), setName, pscRead) != 1) stop(session_.lastError());
  const auto result = use(*set);
  session_.abort();
  return result;
}

template class OurSet<psTreeSet>;
template class OurSet<psHashSet>;
