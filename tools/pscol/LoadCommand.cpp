#include "pscol/LoadCommand.h"

#include <pscollections.h>

#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "pscol/DumpFormat.h"
#include "pscol/OpenStore.h"
#include "pscol/Text.h"

namespace pscol {

namespace {

constexpr const char* noDump = "the file is no dump that `pscol dump` has written";

}  // namespace

LoadCommand::LoadCommand() : Command("load", "Make a new store of a dump") {
  file("dump", "The file that `pscol dump` has written; - is standard input", &dump_);
  file("store", "The file to make, or the address of a store on a server; nothing may be there", &store_);
  details(
      "Identifiers, classes, fields and names stay what they were. Collections are built anew of their elements. The "
      "store has its name only when it is whole and on the disk.");
}

Status LoadCommand::run(Document& answer) {
  requireFile(store_);
  std::ifstream file;
  if (dump_ != "-") file.open(dump_, std::ios::binary);
  if (dump_ != "-" && !file) throw Failure(Status::unusable, "the file " + inQuotes(dump_) + " cannot be read");
  std::istream& in = dump_ == "-" ? std::cin : file;
  std::uint64_t number = 0;
  for (std::string line; !hasEnded_ && std::getline(in, line);) {
    ++number;
    try {
      take(Json::parse(line));
    } catch (const Json::exception&) {
      throw Failure(Status::unusable,
                    hasBegun_ ? "line " + std::to_string(number) + " of the dump is malformed" : noDump);
    } catch (const Failure& failure) {
      throw Failure(failure.status(), "line " + std::to_string(number) + " of the dump: " + failure.what());
    }
  }
  if (!hasEnded_) throw Failure(Status::unusable, "the dump has no end; it was not written whole, or cut short");
  requireDone(builder_.finish());
  answer.fact("store", "Store", store_);
  answer.fact("objects", "Objects", Cell::count(objects_));
  answer.fact("collections", "Collections", Cell::count(collections_));
  return Status::fine;
}

void LoadCommand::take(const Json& line) {
  if (!hasBegun_) return begin(line);
  if (line.contains("of")) return addElements(line);
  endCollection();
  if (line.contains("object") && !line.contains("filed")) {
    ++objects_;
    requireDone(builder_.addObject(objectFrom(line)));
  } else if (line.contains("class")) {
    addClass(line);
  } else if (line.contains("database")) {
    requireDone(builder_.addDatabase(psId(line["database"].get<unsigned short>(), 0, 0, 0), textFrom(line.at("name")),
                                     line.at("next").get<std::uint32_t>()));
  } else if (line.contains("container")) {
    requireDone(builder_.addContainer(idFrom(line["container"]), textFrom(line.at("name")),
                                      line.at("garbageCollectable").get<bool>(), line.at("next").get<std::uint32_t>()));
  } else if (line.contains("filed")) {
    requireDone(builder_.addName(idFrom(line.at("scope")), textFrom(line["filed"]), idFrom(line.at("object"))));
  } else if (line.contains("tree")) {
    beginTree(line);
  } else if (line.contains("table")) {
    beginTable(line);
  } else {
    hasEnded_ = line.at("end").get<bool>();
  }
}

void LoadCommand::begin(const Json& line) {
  if (!line.contains(dumpHead)) throw Failure(Status::unusable, noDump);
  if (line[dumpHead].get<int>() > dumpVersion)
    throw Failure(Status::unusable, "the dump is of a newer program; use `pscol` of that release");
  requireDone(builder_.begin(store_, line.at("pageSize").get<std::uint32_t>()));
  hasBegun_ = true;
}

void LoadCommand::addClass(const Json& line) {
  psStoredClass known;
  known.typeN = line["class"].get<unsigned int>();
  known.name = textFrom(line.at("name"));
  for (const Json& described : line.at("layouts")) {
    psStoredLayout& layout = known.layouts.emplace_back();
    layout.encoded = textFrom(Json{{"hex", described.at("encoded")}});
    layout.isInUse = !layout.encoded.empty();
  }
  requireDone(builder_.addClass(known));
}

void LoadCommand::beginTree(const Json& line) {
  psTreeContent tree;
  tree.id = idFrom(line["tree"]);
  tree.kind = kindFrom(line.at("kind").get<std::string>());
  tree.capacity = line.at("capacity").get<int>();
  tree.comparator = idFrom(line.value("comparator", Json()));
  tree.adminContainer = idFrom(line.value("adminContainer", Json()));
  tree.nodeContainer = idFrom(line.value("nodeContainer", Json()));
  tree.arrayContainer = idFrom(line.value("arrayContainer", Json()));
  tree.nodesPerContainer = line.value("nodesPerContainer", tree.nodesPerContainer);
  tree.arraysPerContainer = line.value("arraysPerContainer", tree.arraysPerContainer);
  collection_ = std::move(tree);
}

void LoadCommand::beginTable(const Json& line) {
  psTableContent table;
  table.id = idFrom(line["table"]);
  table.kind = kindFrom(line.at("kind").get<std::string>());
  table.slots = line.at("slots").get<int>();
  table.depth = line.at("depth").get<int>();
  table.comparator = idFrom(line.value("comparator", Json()));
  table.adminContainer = idFrom(line.value("adminContainer", Json()));
  table.bucketContainer = idFrom(line.value("bucketContainer", Json()));
  table.bucketsPerContainer = line.value("bucketsPerContainer", table.bucketsPerContainer);
  for (const Json& bucket : line.at("buckets")) {
    psTableContent::Bucket& added = table.buckets.emplace_back();
    added.first = bucket.at(0).get<std::uint32_t>();
    added.depth = bucket.at(1).get<int>();
  }
  collection_ = std::move(table);
}

void LoadCommand::addElements(const Json& line) {
  const Json& elements = line.at("elements");
  const auto valueAt = [&line](std::size_t i) {
    return line.contains("values") ? idFrom(line["values"].at(i)) : psId();
  };
  if (auto* const tree = std::get_if<psTreeContent>(&collection_)) {
    for (std::size_t i = 0; i < elements.size(); ++i) {
      tree->elements.push_back(idFrom(elements[i]));
      if (psIsMap(tree->kind)) tree->values.push_back(valueAt(i));
    }
  } else if (auto* const table = std::get_if<psTableContent>(&collection_)) {
    for (std::size_t i = 0; i < elements.size(); ++i) {
      const auto bucket = line.at("buckets").at(i).get<std::size_t>();
      const auto slot = line.at("slots").at(i).get<std::uint32_t>();
      if (bucket >= table->buckets.size())
        throw Failure(Status::unusable, "an element lies in a bucket that is not there");
      table->buckets[bucket].elements.push_back({slot, idFrom(elements[i]), valueAt(i)});
    }
  } else {
    throw Failure(Status::unusable, "there are elements of no collection");
  }
}

void LoadCommand::endCollection() {
  if (const auto* const tree = std::get_if<psTreeContent>(&collection_)) requireDone(builder_.addTree(*tree));
  if (const auto* const table = std::get_if<psTableContent>(&collection_)) requireDone(builder_.addTable(*table));
  if (!std::holds_alternative<std::monostate>(collection_)) ++collections_;
  collection_ = std::monostate();
}

}  // namespace pscol
