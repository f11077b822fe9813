#pragma once

#include <cstdint>
#include <vector>

#include "Contestant.h"
#include "store/psSession.h"

// A set of this library, psTreeSet or psHashSet, in a store of its own.
template <class Collection>
class OurSet final : public Contestant {
 public:
  explicit OurSet(const Setup& setup);

  void create() override;
  void open() override;
  void add(const KeyList& keys, bool ascending) override;
  void remove(const KeyList& keys) override;
  std::size_t countHits(const KeyList& keys) override;
  std::size_t walk() override;
  std::uint64_t walkReading() override;
  DiskBytes bytesOnDisk() const override;
  std::uint64_t identifier(std::size_t n) const override { return identifiers_[n].bits(); }

 private:
  void openSession();
  void createSet();
  void createObjects();
  const pstHandle<psContObj>& objectContainer();

  // Calls change(set) in an update transaction, and commits; or use(set) in a read transaction, and returns its result.
  template <class Change>
  void change(Change change);
  template <class Use>
  auto read(Use use);

  psSession session_;
  pstHandle<psContObj> objects_;   // where the next object is created
  std::vector<psId> identifiers_;  // of the objects that are there before, if keys are identifiers
  std::size_t objectCount_ = 0;    // created so far
  DiskBytes bytesOfObjects_;       // if they are there before
};
