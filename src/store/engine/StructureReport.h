#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ps::detail {

struct StructureFault {
  std::uint64_t page;
  std::string text;  // a sentence without its subject, the page
};

// What a walk over a store's file has found.
struct StructureReport {
  static constexpr std::size_t mostFaults = 100;

  bool isStore = false;  // something was committed to the file, as far as its heads can be trusted
  std::uint32_t pageSize = 0;
  std::uint64_t commit = 0;  // the one whose pages were walked over
  std::uint64_t pages = 0;
  std::uint64_t usedPages = 0;
  std::uint64_t freePages = 0;
  std::uint64_t lostPages = 0;  // neither used nor free. They cost room and do no harm
  std::uint64_t entries = 0;
  std::uint64_t faultCount = 0;
  std::vector<StructureFault> faults;  // the first ones

  void add(std::uint64_t page, std::string text) {
    if (++faultCount <= mostFaults) faults.push_back({page, std::move(text)});
  }
};

// Of a report with faults: the first one, and how many more there are. Without a full stop.
inline std::string textOf(const StructureReport& report) {
  const StructureFault& first = report.faults.front();
  const std::string text = "page " + std::to_string(first.page) + " " + first.text;
  return report.faultCount == 1 ? text : text + ", and " + std::to_string(report.faultCount - 1) + " more faults";
}

}  // namespace ps::detail
