#pragma once

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "Contestant.h"
#include "KeyKind.h"
#include "Worker.h"

// What was measured, and tables of it in Markdown.
class Report {
 public:
  // Keys, number of elements, contestant, workload.
  using Measured = std::tuple<KeyKind, std::size_t, std::string, std::string>;

  // Of several values of the same the least counts. Tells of it on the standard output.
  void keepLeast(const Measured& what, double value);

  // Writes comparison.md and comparison.csv into the folder; stores is the one in which the stores were.
  void write(const std::filesystem::path& folder, const std::filesystem::path& stores) const;

  void printTables(std::ostream& out) const;

 private:
  void printHead(std::ostream& out, const std::filesystem::path& stores) const;
  void printInShort(std::ostream& out) const;
  void printRatios(std::ostream& out, KeyKind kind, const ContestantKind& ours) const;
  void printCosts(std::ostream& out, KeyKind kind, std::size_t count) const;

  std::optional<double> find(const Measured& what) const;
  // Those of the kind that were measured, in ascending order.
  std::vector<std::size_t> countsOf(KeyKind kind) const;
  // Ours / peer's at the number of elements that tables of ratios prefer.
  std::string ratio(KeyKind kind, const std::string& ours, const std::string& peer, const std::string& workload) const;

  std::map<Measured, double> values_;
};
