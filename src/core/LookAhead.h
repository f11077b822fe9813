#pragma once

#include <array>

#include "core/KeyWalk.h"
#include "core/psCollection.h"

namespace ps::detail {

// A class of collections whose look-ups take less time when they are announced many at a time: what they will read is
// prefetched, so that they wait for memory together and not one after the other. Nothing is loaded or refused, and the
// look-ups find what they would find without. The folder that defines the class announces it by a static object.
class LookAhead {
 public:
  static constexpr int most = 64;  // look-ups at a time

  using ForObjects = void (*)(const psCollection& collection, const pstHandle<psObj>* keys, int n);
  using ForRawKeys = void (*)(const psCollection& collection, const void* const* keys, int n);

  LookAhead(unsigned int typeN, ForObjects forObjects, ForRawKeys forRawKeys);
  LookAhead(const LookAhead&) = delete;
  LookAhead& operator=(const LookAhead&) = delete;

  // At most `most` look-ups.
  static void announce(const psCollection& collection, const pstHandle<psObj>* keys, int n);
  static void announce(const psCollection& collection, const void* const* keys, int n);

 private:
  // Null for other classes, and while every open is to be seen by a guard.
  static const LookAhead* of(const psCollection& collection);

  static const LookAhead* classes;

  unsigned int typeN_;
  ForObjects forObjects_;
  ForRawKeys forRawKeys_;
  const LookAhead* others_;
};

// Visits the elements of a collection, or the keys of a map, as visitKeys does. visit looks each up in target.
template <class Visit>
bool visitKeysOf(pstHandle<psCollection>& collection, const psCollection& target, Visit visit) {
  std::array<pstHandle<psObj>, LookAhead::most> keys;
  int n = 0;
  const auto visitAll = [&] {
    LookAhead::announce(target, keys.data(), n);
    const RefusalWatch watch;
    for (int i = 0; i < n; ++i) {
      if (!visit(keys[static_cast<std::size_t>(i)]) || watch.refused()) return false;
    }
    n = 0;
    return true;
  };
  bool goesOn = true;
  const bool isComplete = visitKeys(collection, [&](const pstHandle<psObj>& key) {
    keys[static_cast<std::size_t>(n++)] = key;
    return goesOn = n < LookAhead::most || visitAll();
  });
  // What could be read before something was refused is visited too.
  return goesOn && visitAll() && isComplete;
}

}  // namespace ps::detail
