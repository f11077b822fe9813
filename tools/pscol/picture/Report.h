#pragma once

#include <string>

#include "pscol/picture/ReportData.h"

namespace pscol::picture {

// A page about a store that needs nothing else: no script, no file, no network. It has less than 500,000 bytes.
class Report {
 public:
  // data must outlive the report.
  explicit Report(const ReportData& data) : data_(data) {}

  std::string html() const;

 private:
  std::string head() const;
  std::string header() const;
  std::string numbers(std::size_t namedCollections) const;
  std::string check() const;
  std::string findings(const std::vector<psFinding>& list, std::uint64_t count, const std::string& title,
                       std::size_t mostBytes) const;
  std::string map(const StoreMap& storeMap) const;
  std::string mapTable(const StoreMap& storeMap) const;
  std::string schema(const StoreMap& storeMap) const;
  std::string databases() const;
  std::string readers() const;

  const ReportData& data_;
};

}  // namespace pscol::picture
