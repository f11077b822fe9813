#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/psPersistentClass.h"
#include "store/psSession.h"
#include "store/pstItr.h"
#include "store/pstVArray.h"
#include "support/Process.h"
#include "support/ScratchFolder.h"
#include "support/TempStore.h"

namespace ps::test {

// Objects of the store's own tests. Their fields are public: the tests write what a class would hide.

// Flat fields alone.
class Flat : public psObj {
  PS_PERSISTENT_CLASS(Flat, psObj, 20200)

 public:
  explicit Flat(std::int64_t n) : number(n) {}

  std::int64_t number = 0;
  pstRef<psObj> other;
};

// A field and an array.
class Blob : public psObj {
  PS_PERSISTENT_CLASS(Blob, psObj, 20201)

 public:
  explicit Blob(std::int64_t n) : number(n) {}
  Blob(std::int64_t n, const std::string& content) : number(n) { fill(content); }

  int fill(const std::string& content);

  std::int64_t number = 0;
  pstVArray<char> bytes;
};

// A subclass with an array of its own.
class Linked : public Blob {
  PS_PERSISTENT_CLASS(Linked, Blob, 20202)

 public:
  using Blob::Blob;

  pstVArray<pstRef<psObj>> links;
};

// Nearly half a page of the usual size, all of it decided by its number.
class Brick : public psObj {
  PS_PERSISTENT_CLASS(Brick, psObj, 20203)

 public:
  explicit Brick(std::uint64_t n) { set(n); }
  void set(std::uint64_t n);
  bool is(std::uint64_t n) const;

  // Opens every brick of a container, and after that writes to this one. The sum of the numbers.
  std::uint64_t walkThenSet(const pstHandle<psContObj>& container, std::uint64_t n);

  std::uint64_t words[480];
};

// What an object of these classes holds, whichever it is.
struct Content {
  unsigned int typeN = 0;
  std::int64_t number = 0;
  std::string bytes;
  std::vector<psId> links;

  bool operator==(const Content& other) const {
    return typeN == other.typeN && number == other.number && bytes == other.bytes && links == other.links;
  }
};
Content contentOf(const pstHandle<psObj>& object);

// Bytes that differ for each seed.
std::string pattern(std::uint64_t seed, std::size_t size);

// The objects of class T and its subclasses in a container, in the order of a scan.
template <class T>
std::vector<psId> scanned(const pstHandle<psContObj>& container) {
  std::vector<psId> ids;
  pstItr<T> found;
  found.scan(container, pscNoOpen);
  while (found.next()) ids.push_back(found.oid());
  return ids;
}

}  // namespace ps::test
