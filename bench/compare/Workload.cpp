#include "Workload.h"

#include "BenchStore.h"

const std::vector<Workload>& allWorkloads() {
  static const std::vector<Workload> all{
      {"load-random", "Load in random order", "ns", ""},
      {"load-ascending", "Load in ascending order", "ns", ""},
      {"hit", "Hit", "ns", ""},
      {"miss", "Miss", "ns", ""},
      {"walk", "Walk", "ns", ""},
      {"read", "Walk that reads every object", "ns", ""},
      {"cold", "Cold start: open and the first 1,000 hits", "µs", ""},
      {"remove", "Random removal of half", "ns", ""},
      {"commit", "Single durable commit, median", "µs", ""},
      {"commit-p99", "Single durable commit, 99th percentile", "µs", "commit"},
      {"bytes", "Files on disk", "bytes", ""},
      {"bytes-used", "Files on disk, without free pages", "bytes", "bytes"},
      {"peak", "Peak resident memory", "bytes", ""},
      {"beyond", "Hit with a cache of a tenth of the data", "ns", ""},
      {"disk", "Hit with a cache of a tenth of the data, the file on the disk alone", "ns", ""},
  };
  return all;
}

const Workload& workloadNamed(const std::string& name) {
  std::string names;
  for (const Workload& workload : allWorkloads()) {
    if (workload.name == name) return workload;
    names += ' ' + workload.name;
  }
  stop("there is no workload '" + name + "'; there are" + names);
}
