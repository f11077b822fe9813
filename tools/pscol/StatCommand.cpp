#include <cmath>

#include "pscol/CollectionKeys.h"
#include "pscol/PictureCommands.h"
#include "pscol/Text.h"
#include "pscol/picture/HashPicture.h"

namespace pscol {

namespace {

void addInfo(const picture::ReportedCollection& one, OpenStore& store, Document& answer) {
  const psCollectionInfo& info = one.info();
  answer.fact("id", "Collection", one.id);
  answer.fact("path", "Path", one.path);
  answer.fact("class", "Class", one.className);
  answer.fact("order", "Ordered by", CollectionKeys(store, one.id).order());
  answer.fact("elements", "Elements", Cell::count(info.elements));
  answer.fact("parts", one.isTable() ? "Buckets" : "Nodes", Cell::count(info.parts));
  answer.fact("unreadable", "Unreadable", Cell::count(info.unreadable));
  answer.fact("containers", "Containers", Cell::count(info.containers));
  answer.fact("bytes", "Bytes without the elements", Cell::bytes(info.bytes));
  if (info.elements > 0)
    answer.fact("bytesAnElement", "Bytes an element", Cell::count((info.bytes + info.elements / 2) / info.elements));
}

void addTree(const psTreeInfo& tree, Document& answer) {
  answer.fact("capacity", "Entries to a node", Cell::count(tree.capacity));
  answer.fact("depth", "Levels", Cell::count(tree.levels.size()));
  Document::Table& table = answer.table("levels", "Levels, from the root",
                                        {{"level", "Level"},
                                         {"nodes", "Nodes"},
                                         {"unreadable", "Unreadable"},
                                         {"used", "Entries"},
                                         {"capacity", "Capacity"},
                                         {"fill", "Fill"},
                                         {"underAFifth", "Under 20 %"},
                                         {"underAHalf", "Under 50 %"}});
  std::uint64_t number = 0;
  for (const psTreeLevel& level : tree.levels) {
    const std::uint64_t low = level.byFill[0] + level.byFill[1];
    const std::uint64_t half = low + level.byFill[2] + level.byFill[3] + level.byFill[4];
    table.row({Cell::count(++number), Cell::count(level.nodes), Cell::count(level.unreadable), Cell::count(level.used),
               Cell::count(level.capacity), Cell::share(level.fill()), Cell::count(low), Cell::count(half)});
  }
}

void addTable(const psHashInfo& info, const picture::HashTally& tally, Document& answer) {
  answer.fact("slots", "Slots of a bucket", Cell::count(info.slots));
  answer.fact("depth", "Depth of the directory", Cell::count(static_cast<std::uint64_t>(info.depth)));
  answer.fact("fill", "Fill", Cell::share(picture::HashPicture::fill(info)));
  answer.fact("chains", "Chains", Cell::count(info.chains));
  answer.fact("hashesOfHalf", "Hashes that half of the elements have", Cell::share(tally.hashesOfHalf()));
  Document::Table& depths = answer.table("depths", "Buckets by depth", {{"depth", "Depth"}, {"buckets", "Buckets"}});
  for (std::size_t depth = 0; depth < info.bucketsByDepth.size(); ++depth) {
    if (info.bucketsByDepth[depth] > 0) depths.row({Cell::count(depth), Cell::count(info.bucketsByDepth[depth])});
  }
  Document::Table& sharing = answer.table(
      "sharing", "Slots by how many elements share them",
      {{"elements", "Elements"}, {"slots", "Slots"}, {"allElements", "With elements"}, {"even", "Of an even hash"}});
  const picture::Sharing even = tally.evenSharing();
  for (std::size_t k = 0; k < info.sharing.size(); ++k) {
    if (info.sharing[k] == 0) continue;
    const double expected = k < even.size() ? even[k] : 0;
    sharing.row({Cell::count(k), Cell::count(info.sharing[k]), Cell::count(info.sharing[k] * k),
                 Cell::count(static_cast<std::uint64_t>(std::llround(expected)))});
  }
}

}  // namespace

StatCommand::StatCommand() : Command("stat", "Show what a collection is made of, and what could be better") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("collection", "A path of names, or an identifier as in 1-2-3-4", &collection_);
  details(
      "Of a list, sorted set or sorted map, the levels of its tree; of a hash set or hash map, its buckets by depth, "
      "and "
      "how many elements share their slot, beside what an even hash would make of the same buckets. The exit status is "
      "1 "
      "when a part cannot be read; then numbers count what can.");
}

Status StatCommand::run(Document& answer) {
  OpenStore store(store_);
  const ClassNames names(store);
  const picture::ReportedCollection one = Structure(store, names).wanted(collection_);
  addInfo(one, store, answer);
  if (one.isTable())
    addTable(one.table, one.tally, answer);
  else
    addTree(one.tree, answer);
  Document::Table& advice = answer.table("advice", "Advice", {{"severity", "Kind"}, {"text", "Text"}});
  for (const picture::Advice& line : picture::adviceOn(one))
    advice.row({picture::wordFor(line.severity), line.sentence});
  return one.info().unreadable == 0 ? Status::fine : Status::negative;
}

}  // namespace pscol
