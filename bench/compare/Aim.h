#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Results.h"

// How a set of ours should compare with a peer. What is compared is cost: times or bytes, and the less the better.
struct Aim {
  std::string work;
  std::string peerName;
  std::string words;  // the aim as one says it
  KeyKind kind;
  std::size_t count;
  std::string workload;
  std::string ours;  // by option
  std::string peer;
  double limit;               // ours over peer's
  bool isStrict = false;      // reached below the limit only, not at it
  std::size_t growsFrom = 0;  // when not 0, cost is that at count over that at this count

  std::optional<double> cost(const Results& results, const std::string& contestant) const;
  bool isReachedBy(double ratio) const { return isStrict ? ratio < limit : ratio <= limit; }
};

const std::vector<Aim>& allAims();
