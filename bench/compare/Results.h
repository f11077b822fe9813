#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "KeyKind.h"

struct Measurement {
  KeyKind kind;
  std::size_t count;       // of elements
  std::string contestant;  // by option
  std::string workload;
  double value;  // in the workload's unit
};

class Results {
 public:
  // Of several values of the same measurement the least counts.
  void keepLeast(const Measurement& measurement);

  std::optional<double> find(KeyKind kind, std::size_t count, const std::string& contestant,
                             const std::string& workload) const;
  const std::vector<Measurement>& all() const { return all_; }

  void writeCsv(const std::filesystem::path& path) const;

 private:
  std::vector<Measurement> all_;
};
