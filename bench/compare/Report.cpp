#include "Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <ostream>

#include "Aim.h"
#include "BenchStore.h"
#include "Contestant.h"
#include "Environment.h"
#include "Workload.h"

namespace {

// 1,234,567; below 10 with a decimal.
std::string withCommas(double value) {
  char digits[32] = {};
  std::snprintf(digits, sizeof digits, value < 10 ? "%.1f" : "%.0f", value);
  std::string text = digits;
  for (std::size_t i = text.size(); value >= 1000 && i > 3;) text.insert(i -= 3, ",");
  return text;
}

std::string ratioOf(double ratio) {
  char digits[32] = {};
  std::snprintf(digits, sizeof digits, ratio < 10 ? "%.2f" : "%.0f", ratio);
  return digits;
}

std::string titleOf(KeyKind kind) {
  switch (kind) {
    case KeyKind::identifier:
      return "Keys: identifiers";
    case KeyKind::content:
      return "Keys: 64-bit numbers in the objects";
    case KeyKind::words:
      return "Keys: words in the objects";
  }
  return "";
}

}  // namespace

Report::Report(const Results& results, const std::filesystem::path& stores) : results_(results), stores_(stores) {}

void Report::write(const std::filesystem::path& path) const {
  std::ofstream file(path);
  printHead(file);
  printAims(file);
  printTables(file);
  if (!file.flush()) stop("cannot write " + path.string());
}

void Report::printTables(std::ostream& out) const {
  for (const KeyKind kind : {KeyKind::content, KeyKind::identifier, KeyKind::words}) {
    const bool isMeasured = std::any_of(results_.all().begin(), results_.all().end(),
                                        [&](const Measurement& measurement) { return measurement.kind == kind; });
    if (!isMeasured) continue;
    out << "\n## " << titleOf(kind) << '\n';
    for (const Workload& workload : allWorkloads()) printTable(out, kind, workload.name);
  }
}

void Report::printHead(std::ostream& out) const {
  out << "# Comparison with peers\n\n";
  for (const std::string& warning : findWarnings(stores_))
    out << "**These figures mean nothing: " << warning << ".**\n\n";
  for (const std::string& line : describeMachine(stores_)) out << "- " << line << '\n';
  for (const std::string& line : describeSoftware()) out << "- " << line << '\n';
  out << R"(
Keys, objects of 48 bytes and their order are the same for all, and all run on one core. Of several rounds, in which the contestants
take turns, the fastest counts. Loads commit every 10,000 elements, removals ten times or every 10,000, whichever is less often; a
commit is on disk when it returns. By content, LMDB, RocksDB and SQLite go two steps: from the key to a number, from the number to the
object, which a hit reads and a removal deletes. By identifier it is one step, to eight bytes. Containers in memory hold pointers to
the objects, write nothing and are the limit.

Caches hold everything, except where a cache of a tenth of the data is measured. LMDB has none and reads from the system's, which
nobody limits. For hits with the file on the disk alone, the system's cache is emptied of it before a new process opens it; the second
1,000 hits count. A cold start is a new process, with the file in the system's cache. RocksDB's loads end with the last commit and leave
compaction to do, which is done before anything else is measured. Resident memory is the most
that a process took in loads and walks, beyond what it had before. The last two columns are multiples of our costs, at the largest number of elements.
)";
}

void Report::printAims(std::ostream& out) const {
  out << "\n## Aims, at 1,000,000 elements\n\n"
         "| Work | Ours | Peer | Its cost | Ours to its | Aim | Reached |\n|---|--:|---|--:|--:|---|---|\n";
  for (const Aim& aim : allAims()) {
    const std::optional<double> ours = aim.cost(results_, aim.ours);
    const std::optional<double> peers = aim.cost(results_, aim.peer);
    if (!ours || !peers) continue;
    const std::string unit = aim.growsFrom != 0 ? " times" : ' ' + workloadNamed(aim.workload).unit;
    const double ratio = *ours / *peers;
    out << "| " << aim.work << (aim.count == 5000000 && aim.growsFrom == 0 ? ", 5,000,000 elements" : "") << " | "
        << withCommas(*ours) << unit << " | " << aim.peerName << " | " << withCommas(*peers) << unit << " | "
        << ratioOf(ratio) << " | " << aim.words << " (" << (aim.isStrict ? "< " : "≤ ") << ratioOf(aim.limit) << ") | "
        << (aim.isReachedBy(ratio) ? "yes" : "no") << " |\n";
  }
}

// The last two columns compare with ours at the largest number of elements that both have.
void Report::printTable(std::ostream& out, KeyKind kind, const std::string& workload) const {
  const std::vector<std::size_t> counts = countsOf(kind, workload);
  if (counts.empty()) return;
  out << "\n### " << workloadNamed(workload).title << ", " << workloadNamed(workload).unit << "\n\n| |";
  for (const std::size_t count : counts) out << ' ' << withCommas(static_cast<double>(count)) << " |";
  out << " / psTreeSet | / psHashSet |\n|---|";
  for (std::size_t i = 0; i < counts.size() + 2; ++i) out << "--:|";
  out << '\n';
  for (const ContestantKind& contestant : allContestants()) {
    std::string row = "| " + contestant.name + " |";
    std::size_t largest = 0;
    for (const std::size_t count : counts) {
      const std::optional<double> value = results_.find(kind, count, contestant.option, workload);
      row += value ? ' ' + withCommas(*value) + " |" : " |";
      if (value) largest = count;
    }
    if (largest == 0) continue;
    const double last = *results_.find(kind, largest, contestant.option, workload);
    for (const char* ours : {"tree", "hash"}) {
      const std::optional<double> own = results_.find(kind, largest, ours, workload);
      row += own && contestant.option != ours ? ' ' + ratioOf(last / *own) + " |" : " |";
    }
    out << row << '\n';
  }
}

std::vector<std::size_t> Report::countsOf(KeyKind kind, const std::string& workload) const {
  std::vector<std::size_t> counts;
  for (const Measurement& measurement : results_.all()) {
    if (measurement.kind == kind && measurement.workload == workload) counts.push_back(measurement.count);
  }
  std::sort(counts.begin(), counts.end());
  counts.erase(std::unique(counts.begin(), counts.end()), counts.end());
  return counts;
}
