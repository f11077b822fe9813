#pragma once

#include <utility>

#include "BenchStore.h"
#include "Contestant.h"
#include "KeyOrder.h"

template <class Order>
struct Less {
  bool operator()(const char* a, const char* b) const { return Order::compare(a, b) < 0; }
};

template <class Order>
struct Equal {
  bool operator()(const char* a, const char* b) const { return Order::compare(a, b) == 0; }
};

template <class Order>
struct Hash {
  std::size_t operator()(const char* address) const { return Order::hash(address); }
};

// A container of pointers to objects on the heap, which knows nothing of disks.
template <class Container>
class InMemory final : public Contestant {
 public:
  using Contestant::Contestant;
  ~InMemory() override {
    for (const char* object : container_) delete[] object;
  }

  void create() override {}
  void open() override { stop("what is in memory only cannot be opened again"); }

  void add(const KeyList& keys, bool ascending) override {
    for (const std::string_view key : keys) {
      const char* const object = makeObject(key);
      if (ascending) {
        container_.insert(container_.end(), object);
      } else if (!container_.insert(object).second) {
        stop("a key is in a container already");
      }
    }
  }

  void remove(const KeyList& keys) override {
    for (const std::string_view key : keys) {
      const auto found = container_.find(key.data());
      if (found == container_.end()) stop("a container does not find what is to be removed");
      const char* const object = *found;
      container_.erase(found);
      delete[] object;
    }
  }

  std::size_t countHits(const KeyList& keys) override {
    std::size_t hits = 0;
    for (const std::string_view key : keys) hits += container_.find(key.data()) != container_.end() ? 1 : 0;
    return hits;
  }

  std::size_t walk() override {
    std::size_t count = 0;
    for (const char* object : container_) count += object != nullptr ? 1 : 0;
    return count;
  }

  std::uint64_t walkReading() override {
    std::uint64_t sum = 0;
    for (const char* object : container_) sum += numberAt(object);
    return sum;
  }

 private:
  static const char* makeObject(std::string_view key) {
    const Payload payload = payloadOf(key);
    char* const object = new char[payloadBytes];
    std::memcpy(object, payload.data(), payloadBytes);
    return object;
  }

  Container container_;
};
