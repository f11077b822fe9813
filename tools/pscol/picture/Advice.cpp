#include "pscol/picture/Advice.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "pscol/picture/Numbers.h"

namespace pscol::picture {

namespace {

using Severity = Advice::Severity;

// What one collection may take of a database's containers before it is worth a word, and what all may take.
constexpr double manyContainers = 0.05;
constexpr double crowdedDatabase = 0.1;
constexpr double muchFree = 0.3;

class AdviceList {
 public:
  explicit AdviceList(std::string subject) : subject_(std::move(subject)) {}

  void add(Severity severity, std::string sentence) { lines_.push_back({severity, std::move(sentence), subject_}); }
  std::vector<Advice> take() {
    std::stable_sort(lines_.begin(), lines_.end(),
                     [](const Advice& a, const Advice& b) { return a.severity > b.severity; });
    return std::move(lines_);
  }
  std::vector<Advice> takeOrFine(const psCollectionInfo& info) {
    if (lines_.empty()) add(Severity::fine, info.elements == 0 ? "Empty." : "Nothing to do.");
    return take();
  }

 private:
  std::string subject_;
  std::vector<Advice> lines_;
};

void addDamage(AdviceList& list, const psCollectionInfo& info, const char* part) {
  if (info.unreadable == 0) return;
  list.add(Severity::damage, counted(info.unreadable, part) +
                                 " cannot be read. Restore a backup, or copy what can be read with pscol salvage.");
}

void addContainers(AdviceList& list, const psCollectionInfo& info, const char* setter) {
  if (static_cast<double>(info.containers) <= manyContainers * static_cast<double>(mostContainers)) return;
  const double each = share(static_cast<double>(info.elements), static_cast<double>(info.containers));
  const double millions = each * static_cast<double>(firstCrowdedContainer) / 1e6;
  list.add(Severity::note, counted(info.containers) + " containers. A database gets up to " +
                               counted(firstCrowdedContainer) + " for parts of collections, enough for " +
                               decimal(millions, 1) + " million of these elements; then another database is created. " +
                               setter + " puts several parts into one.");
}

// How many levels n elements take in nodes of this capacity, which are two thirds full.
int levelsFor(std::uint64_t elements, std::uint32_t capacity) {
  const double used = capacity * 0.69;
  double nodes = std::ceil(static_cast<double>(elements) / used);
  int levels = 1;
  for (; nodes > 1; ++levels) nodes = nodes <= capacity ? 1 : std::ceil(nodes / used);
  return levels;
}

void addLeaves(AdviceList& list, const psTreeInfo& tree) {
  const psTreeLevel& leaves = tree.levels.back();
  if (leaves.nodes < 8 || leaves.fill() >= 0.45 || leaves.capacity == 0) return;
  const double capacity = static_cast<double>(leaves.capacity) / static_cast<double>(leaves.nodes - leaves.unreadable);
  const double needed = std::max(std::ceil(static_cast<double>(leaves.used) / capacity), 1.0);
  const auto count = static_cast<double>(leaves.nodes);
  const double leafBytes =
      static_cast<double>(tree.bytes) * count / static_cast<double>(std::max(tree.parts, leaves.nodes));
  const double headers = leafBytes - entryBytes(tree, leafBytes);
  const double part = 1 - needed / count;
  const double containers = static_cast<double>(tree.containers) * part;
  list.add(Severity::advice, "Leaves are " + percentText(leaves.fill()) + " full: compact() would make " +
                                 counted(static_cast<std::uint64_t>(needed)) + " of " + counted(leaves.nodes) +
                                 " leaves and give back about " + bytesText(headers * part) + " and " +
                                 counted(static_cast<std::uint64_t>(containers), "container") + ".");
}

void addCapacity(AdviceList& list, const psTreeInfo& tree) {
  constexpr std::uint32_t usual = 200;
  if (tree.capacity == 0 || tree.capacity >= 32 || tree.elements <= std::uint64_t{10} * tree.capacity) return;
  const auto levels = static_cast<std::uint64_t>(levelsFor(tree.elements, usual));
  list.add(Severity::advice, counted(tree.capacity) +
                                 " entries to a node are few: " + counted(tree.levels.size(), "level") + ", " +
                                 decimal(static_cast<double>(tree.bytes) / static_cast<double>(tree.elements), 0) +
                                 " bytes an element. " + counted(usual) + " would make " + counted(levels, "level") +
                                 "; a new collection takes the elements over with addAll and compact().");
}

double moreThanThree(const Sharing& sharing) {
  return sharing.size() <= 4 ? 0 : std::accumulate(sharing.begin() + 4, sharing.end(), 0.0);
}

void addSharing(AdviceList& list, const psHashInfo& table, const HashTally& tally) {
  const double real = moreThanThree(HashTally::sharingOf(table));
  const double even = moreThanThree(tally.evenSharing());
  if (table.elements <= 100 || real <= 2 * even + 20) return;
  list.add(Severity::advice, counted(static_cast<std::uint64_t>(real)) +
                                 " elements share their slot with 3 or more; an even hash would leave " +
                                 counted(static_cast<std::uint64_t>(std::llround(even))) + ". The longest chain has " +
                                 counted(table.sharing.size() - 1) + ": many keys have the same hash.");
}

}  // namespace

const char* wordFor(Severity severity) {
  switch (severity) {
    case Severity::fine:
      return "Fine";
    case Severity::note:
      return "Note";
    case Severity::advice:
      return "Advice";
    case Severity::damage:
      return "Damage";
  }
  return "";
}

// Records have no bytes for entries that are free. An entry is a reference, in a map 2, and in some orders has an
// abbreviation of its key, of which nothing but the bytes tells.
double entryBytes(const psTreeInfo& tree, double leafBytes) {
  const auto elements = static_cast<double>(tree.elements);
  const double references = (psIsMap(tree.kind) ? 16 : 8) * elements;
  const double abbreviated = references + 8 * elements;
  const bool hasAbbreviations = tree.kind != psCollectionKind::list && abbreviated <= leafBytes;
  return std::min(hasAbbreviations ? abbreviated : references, leafBytes);
}

std::vector<Advice> adviceOn(const psTreeInfo& tree, const std::string& path) {
  AdviceList list(path);
  addDamage(list, tree, "node");
  if (!tree.levels.empty()) addLeaves(list, tree);
  addCapacity(list, tree);
  addContainers(list, tree, "setMaxVArraysPerContainer");
  return list.takeOrFine(tree);
}

std::vector<Advice> adviceOn(const psHashInfo& table, const HashTally& tally, const std::string& path) {
  AdviceList list(path);
  addDamage(list, table, "bucket");
  const double half = tally.hashesOfHalf();
  if (table.parts >= 8 && half < 0.35)
    list.add(Severity::advice, "Half of the elements share " + percentText(half) +
                                   " of the hashes: the first bits are uneven. Mix the hash so that its first bits "
                                   "depend on the whole key.");
  addSharing(list, table, tally);
  if (const std::uint64_t overfull = tally.overfullBuckets(); overfull > 0)
    list.add(Severity::note, counted(overfull, "bucket is", "buckets are") +
                                 " more than 9 tenths full: no bit tells the elements apart.");
  addContainers(list, table, "setMaxBucketsPerContainer");
  return list.takeOrFine(table);
}

std::vector<Advice> adviceOn(const psStoreInfo& store, const psSurvey& survey) {
  std::vector<Advice> lines;
  const double free = share(static_cast<double>(store.freePages), static_cast<double>(store.enginePages));
  if (free > muchFree)
    lines.push_back({Severity::note,
                     percentText(free) + " of the file are free: new data will use them; pscol compact gives them back "
                                         "to the file system.",
                     ""});
  for (const psDatabaseInfo& database : survey.databases) {
    const std::uint64_t given = database.nextContainer > 0 ? database.nextContainer - 1 : 0;
    const double used = static_cast<double>(given) / static_cast<double>(mostContainers);
    if (used > crowdedDatabase)
      lines.push_back({used > 0.9 ? Severity::advice : Severity::note,
                       counted(given) + " of the " + counted(mostContainers) +
                           " container numbers of a database are used (" + percentText(used) + ").",
                       database.name.empty() ? "database #" + std::to_string(database.id.get_DB()) : database.name});
  }
  return lines;
}

}  // namespace pscol::picture
