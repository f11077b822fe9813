#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <ostream>
#include <stdexcept>

#include "Environment.h"

namespace {

using Workload = Worker::Workload;

// Ratios are those at this number of elements, if that was measured.
constexpr std::size_t preferredCount = 1000000;

// 1,234,567; below 10 with a decimal.
std::string withCommas(double value) {
  char digits[32] = {};
  std::snprintf(digits, sizeof digits, value < 10 ? "%.1f" : "%.0f", value);
  std::string text = digits;
  for (std::size_t i = text.size(); value >= 1000 && i > 3;) text.insert(i -= 3, ",");
  return text;
}

struct Column {
  std::string title;
  std::function<std::string(const Workload&)> cell;
};

bool isEmpty(const Column& column) {
  const std::vector<Workload>& rows = Worker::workloads();
  return std::all_of(rows.begin(), rows.end(), [&](const Workload& row) { return column.cell(row).empty(); });
}

// A row for each workload; rows and columns without any text are left out.
void printTable(std::ostream& out, const std::string& title, std::vector<Column> columns) {
  columns.erase(std::remove_if(columns.begin(), columns.end(), isEmpty), columns.end());
  if (columns.empty()) return;
  out << '\n' << title << '\n';
  out << "\n| |";
  for (const Column& column : columns) out << ' ' << column.title << " |";
  out << "\n|---|";
  for (std::size_t i = 0; i < columns.size(); ++i) out << "--:|";
  out << '\n';
  for (const Workload& workload : Worker::workloads()) {
    std::string cells;
    for (const Column& column : columns) cells += ' ' + column.cell(workload) + " |";
    if (cells.find_first_not_of(" |") == std::string::npos) continue;
    out << "| " << workload.title << ", " << workload.unit << " |" << cells << '\n';
  }
}

}  // namespace

void Report::keepLeast(const Measured& what, double value) {
  const auto& [kind, count, contestant, workload] = what;
  std::printf("%s %zu %s %s: %.4g %s\n", nameOf(kind).c_str(), count, workload.c_str(), contestant.c_str(), value,
              Worker::workloadNamed(workload).unit.c_str());
  std::fflush(stdout);
  double& kept = values_.emplace(what, value).first->second;
  kept = std::min(kept, value);
}

void Report::write(const std::filesystem::path& folder, const std::filesystem::path& stores) const {
  std::ofstream csv(folder / "comparison.csv");
  csv << "keys,n,contestant,workload,unit,value\n";
  for (const auto& [what, value] : values_) {
    const auto& [kind, count, contestant, workload] = what;
    csv << nameOf(kind) << ',' << count << ',' << contestant << ',' << workload << ','
        << Worker::workloadNamed(workload).unit << ',' << value << '\n';
  }
  std::ofstream tables(folder / "comparison.md");
  printHead(tables, stores);
  printTables(tables);
  if (!csv.flush() || !tables.flush()) throw std::runtime_error("cannot write to " + folder.string());
}

void Report::printTables(std::ostream& out) const {
  printInShort(out);
  for (const KeyKindText& keys : allKeyKinds()) {
    const std::vector<std::size_t> counts = countsOf(keys.kind);
    if (counts.empty()) continue;
    out << "\n## " << keys.title << '\n';
    for (const ContestantKind& contestant : allContestants()) {
      if (contestant.isOurs && contestant.takes(keys.kind)) printRatios(out, keys.kind, contestant);
    }
    for (const std::size_t count : counts) printCosts(out, keys.kind, count);
  }
}

void Report::printHead(std::ostream& out, const std::filesystem::path& stores) const {
  out << "# Comparison with peers\n\n";
  for (const std::string& warning : findWarnings(stores)) {
    out << "**These figures mean nothing: " << warning << ".**\n\n";
  }
  out << R"(**Ratios are ours / peer's. At 1.00 or below ours is as fast or as small, and the figure is bold.**

Ratios are those at 1,000,000 elements; where that was not measured, at the largest number below or else the smallest
above. Costs are times or bytes of one element.

- Objects of 48 bytes, keys and their order are the same for all. Contestants take turns; the fastest of several rounds
  counts.
- Loads commit every 10,000 elements, removals ten times or every 10,000, whichever is less often. A commit is on disk
  when it returns.
- By content, LMDB, RocksDB and SQLite go two steps: from the key to a number, and from the number to the object, which
  a hit reads and a removal deletes. By identifier or position it is one step, to eight bytes.
- Ours have 480 entries to a node, or 101 slots to a bucket.
- Containers in memory hold pointers to the objects and write nothing: they are the limit.
- Caches hold everything, except where they hold a tenth of the data. LMDB has no cache and reads from the system's,
  which is not limited. With the file on disk alone the system's cache was emptied of it; the second 1,000 hits count.
- A cold start is a new process, with the file in the system's cache.
- RocksDB compacts what was loaded before anything else is measured; its loads end with the last commit.
- Resident memory is the most that a process took in loads and walks, beyond what it had before.
- With Java keys, a method in Java compares and hashes.

)";
  for (const std::string& line : describeEnvironment(stores)) out << "- " << line << '\n';
}

void Report::printInShort(std::ostream& out) const {
  std::vector<Column> columns;
  for (const KeyKindText& keys : allKeyKinds()) {
    for (const ContestantKind& ours : allContestants()) {
      if (!ours.isOurs || !ours.takes(keys.kind)) continue;
      columns.push_back({ours.title + ", " + keys.name,
                         [&](const Workload& workload) { return ratio(keys.kind, ours.name, "lmdb", workload.name); }});
    }
  }
  printTable(out, "## In short: ours / LMDB's", columns);
}

void Report::printRatios(std::ostream& out, KeyKind kind, const ContestantKind& ours) const {
  std::vector<Column> columns;
  for (const ContestantKind& peer : allContestants()) {
    if (peer.isOurs) continue;
    columns.push_back({"ours / " + peer.title,
                       [&](const Workload& workload) { return ratio(kind, ours.name, peer.name, workload.name); }});
  }
  printTable(out, "### " + ours.title + " / peer's", columns);
}

void Report::printCosts(std::ostream& out, KeyKind kind, std::size_t count) const {
  std::vector<Column> columns;
  for (const ContestantKind& contestant : allContestants()) {
    columns.push_back({contestant.title, [&](const Workload& workload) {
                         const std::optional<double> value = find({kind, count, contestant.name, workload.name});
                         return value ? withCommas(*value) : std::string();
                       }});
  }
  printTable(out, "### Costs, " + withCommas(static_cast<double>(count)) + " elements", columns);
}

std::optional<double> Report::find(const Measured& what) const {
  const auto found = values_.find(what);
  return found == values_.end() ? std::nullopt : std::optional<double>(found->second);
}

std::vector<std::size_t> Report::countsOf(KeyKind kind) const {
  std::vector<std::size_t> counts;
  for (const auto& [what, value] : values_) {
    const auto& [itsKind, count, contestant, workload] = what;
    if (itsKind == kind && (counts.empty() || counts.back() != count)) counts.push_back(count);
  }
  return counts;
}

// If the preferred number was not measured, the largest one below it counts, or else the smallest above.
std::string Report::ratio(KeyKind kind, const std::string& ours, const std::string& peer,
                          const std::string& workload) const {
  std::string text;
  for (const std::size_t count : countsOf(kind)) {
    const std::optional<double> own = find({kind, count, ours, workload});
    const std::optional<double> others = find({kind, count, peer, workload});
    if (!own || !others || (count > preferredCount && !text.empty())) continue;
    char digits[32] = {};
    const double value = *own / *others;
    std::snprintf(digits, sizeof digits, value < 10 ? "%.2f" : "%.0f", value);
    text = value <= 1 ? "**" + std::string(digits) + "**" : digits;
  }
  return text;
}
