#pragma once

#include "Ours.h"

// A set of identifiers that is looked up in by Java keys: the JVM of the process compares and hashes them.
template <class Set>
class JavaLookUp final : public Ours<Set> {
 public:
  using Ours<Set>::Ours;

  std::size_t countHits(const Keys& keys) override;
};
