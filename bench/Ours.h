#pragma once

#include <pscollections.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "Contestant.h"

// A collection of this library in a store of its own: psTreeSet, psHashSet, psTreeMap, in which each key is its own
// value, or psTreeList, in which the same few elements come again and again.
template <class Collection>
class Ours : public Contestant {
 public:
  explicit Ours(const Setup& setup);

  void create() override;
  void open() override;
  void add(const Keys& keys, bool ascending) override;
  void remove(const Keys& keys) override;
  void addAtOnce(const Keys& keys) override;
  void drop() override;
  std::size_t countHits(const Keys& keys) override;
  std::size_t countHitsAtOnce(const Keys& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;
  DiskBytes bytesOnDisk() const override;
  std::uint64_t identifier(std::size_t n) const override { return identifiers_[n].bits(); }

 protected:
  // Calls use(collection) in a read transaction, and returns its result.
  template <class Use>
  auto read(Use use);

 private:
  static constexpr const char* databaseName = "bench";
  static constexpr const char* collectionName = "collection";

  void createObjects();
  const pstHandle<psContObj>& objectContainer();
  // The object that the key stands for, if objects are there before.
  pstHandle<psObj> objectOf(std::uint64_t key) const;
  pstHandle<psObj> objectFor(std::uint64_t key);
  bool put(Collection& collection, std::uint64_t key);
  bool has(const Collection& collection, std::uint64_t key) const;

  // Calls change(collection) in an update transaction, and commits.
  template <class Change>
  void change(Change change);

  psSession session_;
  pstHandle<psContObj> objects_;   // where the next object is created
  std::vector<psId> identifiers_;  // of the objects that are there before
  std::size_t objectCount_ = 0;    // created so far
  DiskBytes bytesOfObjects_;       // if they are there before
};

template <class Collection>
template <class Use>
auto Ours<Collection>::read(Use use) {
  pstHandle<Collection> collection;
  if (session_.begin(pscRead) != 1 ||
      collection.lookupObj(session_.database(databaseName), collectionName, pscRead) != 1) {
    throw std::runtime_error(session_.lastError());
  }
  const auto result = use(*collection);
  session_.abort();
  return result;
}
