#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "Results.h"

// Tables of results, in Markdown.
class Report {
 public:
  // stores is the folder in which the stores were.
  Report(const Results& results, const std::filesystem::path& stores);

  void write(const std::filesystem::path& path) const;

  // The tables of all workloads alone.
  void printTables(std::ostream& out) const;

 private:
  void printHead(std::ostream& out) const;
  void printAims(std::ostream& out) const;
  void printTable(std::ostream& out, KeyKind kind, const std::string& workload) const;
  std::vector<std::size_t> countsOf(KeyKind kind, const std::string& workload) const;

  const Results& results_;
  std::filesystem::path stores_;
};
