#include "Results.h"

#include <algorithm>
#include <fstream>

#include "BenchStore.h"
#include "Workload.h"

void Results::keepLeast(const Measurement& measurement) {
  const auto found = std::find_if(all_.begin(), all_.end(), [&](const Measurement& other) {
    return other.kind == measurement.kind && other.count == measurement.count &&
           other.contestant == measurement.contestant && other.workload == measurement.workload;
  });
  if (found == all_.end()) {
    all_.push_back(measurement);
  } else {
    found->value = std::min(found->value, measurement.value);
  }
}

std::optional<double> Results::find(KeyKind kind, std::size_t count, const std::string& contestant,
                                    const std::string& workload) const {
  for (const Measurement& other : all_) {
    if (other.kind == kind && other.count == count && other.contestant == contestant && other.workload == workload) {
      return other.value;
    }
  }
  return std::nullopt;
}

void Results::writeCsv(const std::filesystem::path& path) const {
  std::ofstream file(path);
  file << "keys,n,contestant,workload,unit,value\n";
  for (const Measurement& measurement : all_) {
    file << nameOf(measurement.kind) << ',' << measurement.count << ',' << measurement.contestant << ','
         << measurement.workload << ',' << workloadNamed(measurement.workload).unit << ',' << measurement.value << '\n';
  }
  if (!file.flush()) stop("cannot write " + path.string());
}
