#pragma once

#include <stdexcept>
#include <utility>

#include "Contestant.h"
#include "Payload.h"

// Payloads are ordered and hashed by their first numbers, to which the containers have pointers.

struct LessNumber {
  bool operator()(const std::uint64_t* a, const std::uint64_t* b) const { return *a < *b; }
};

struct EqualNumber {
  bool operator()(const std::uint64_t* a, const std::uint64_t* b) const { return *a == *b; }
};

struct HashNumber {
  std::size_t operator()(const std::uint64_t* number) const { return hashOf(*number); }
};

// A container of pointers to objects on the heap, which knows nothing of disks.
template <class Container>
class InMemory final : public Contestant {
 public:
  using Contestant::Contestant;
  ~InMemory() override {
    for (const std::uint64_t* object : container_) delete[] object;
  }

  void create() override {}
  void open() override { throw std::runtime_error("what is in memory only cannot be opened again"); }

  void add(const Keys& keys, bool ascending) override {
    for (const std::uint64_t key : keys) {
      const std::uint64_t* const object = makeObject(key);
      if (ascending) {
        container_.insert(container_.end(), object);
      } else if (!container_.insert(object).second) {
        throw std::runtime_error("a key is in a container already");
      }
    }
  }

  void remove(const Keys& keys) override {
    for (const std::uint64_t& key : keys) {
      const auto found = container_.find(&key);
      if (found == container_.end()) throw std::runtime_error("a container does not find what is to be removed");
      const std::uint64_t* const object = *found;
      container_.erase(found);
      delete[] object;
    }
  }

  void drop() override {
    for (const std::uint64_t* object : container_) delete[] object;
    container_.clear();
  }

  std::size_t countHits(const Keys& keys) override {
    std::size_t hits = 0;
    for (const std::uint64_t& key : keys) hits += container_.find(&key) != container_.end() ? 1 : 0;
    return hits;
  }

  std::size_t walk() override {
    std::size_t count = 0;
    for (const std::uint64_t* object : container_) count += object != nullptr ? 1 : 0;
    return count;
  }

  std::uint64_t walkReading() override {
    std::uint64_t sum = 0;
    for (const std::uint64_t* object : container_) sum += *object;
    return sum;
  }

 private:
  static const std::uint64_t* makeObject(std::uint64_t key) {
    const Payload payload = payloadOf(key);
    auto* const object = new std::uint64_t[payload.size()];
    std::memcpy(object, payload.data(), sizeof payload);
    return object;
  }

  Container container_;
};
