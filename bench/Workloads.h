#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "BenchStore.h"

// What is done with a contestant, whatever it is, and timed for each of its elements.

// Loads a new contestant each time; only load(contestant), which loads so many elements, is timed.
template <class Contestant, class Load>
void runLoads(benchmark::State& state, int length, Load load) {
  while (state.KeepRunningBatch(length)) {
    state.PauseTiming();
    auto contestant = std::make_unique<Contestant>();
    state.ResumeTiming();
    load(*contestant);
    state.PauseTiming();
    contestant.reset();
    state.ResumeTiming();
  }
}

// Walks over all elements by walk(), which gives the sum of what it meets. The first walk, which is not timed, brings
// them into memory.
template <class Walk>
void runWalks(benchmark::State& state, int length, std::uint64_t sum, Walk walk) {
  const auto requireWhole = [&] {
    if (walk() != sum) stop("a walk does not meet every element");
  };
  requireWhole();
  while (state.KeepRunningBatch(length)) {
    requireWhole();
    benchmark::ClobberMemory();
  }
}

// The positions from 0 to length - 1, in random order.
inline std::vector<int> shuffledPositions(int length) {
  std::vector<int> positions(static_cast<std::size_t>(length));
  std::iota(positions.begin(), positions.end(), 0);
  std::shuffle(positions.begin(), positions.end(), std::mt19937_64(7));
  return positions;
}

// Gets elements by get(i), i random. expected(i) is what it has to give.
template <class Get, class Expected>
void runGets(benchmark::State& state, int length, Get get, Expected expected) {
  const std::vector<int> positions = shuffledPositions(length);
  for (std::size_t i = 0; i < std::min<std::size_t>(100, positions.size()); ++i) {
    if (get(positions[i]) != expected(positions[i])) stop("get does not give what was put");
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(get(positions[i]));
    if (++i == positions.size()) i = 0;
  }
}
