#include "pscol/PictureCommands.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "pscol/CollectionKeys.h"
#include "pscol/Progress.h"
#include "pscol/Text.h"
#include "pscol/picture/HashPicture.h"
#include "pscol/picture/MapPicture.h"
#include "pscol/picture/Report.h"
#include "pscol/picture/TreePicture.h"

namespace pscol {

namespace {

constexpr std::uint64_t narrowest = 344;
constexpr std::uint64_t widest = 4000;
constexpr const char* widthText = "Pixels; 1040 unless given, 344 for a phone";

void write(const std::string& output, const std::string& store, const std::string& content, Document& answer) {
  std::error_code error;
  if (std::filesystem::equivalent(output, store, error)) throw Failure(Status::unusable, "the output is the store");
  std::ofstream file(output, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw Failure(Status::unusable, "cannot write " + inQuotes(output));
  answer.fact("output", "Written", output);
  answer.fact("bytes", "Size", Cell::bytes(content.size()));
}

void requireOutput(const std::string& output) {
  if (output.empty()) throw Failure(Status::unusable, "say with --output which file to write");
}

// What a map needs; a report begins with it.
picture::ReportData dataOf(OpenStore& store, Structure& structure, const ClassNames& names, const std::string& path) {
  picture::ReportData data;
  data.storeName = std::filesystem::path(path).filename().string();
  require(store.session(), store.inspector().info(data.info));
  data.survey = store.survey();
  data.classes = names.all();
  structure.setOwners(&data.owners);
  Progress progress("walked over", "collections");
  for (const psId& id : data.survey.collections) {
    data.collections.push_back(structure.collection(id));
    progress.tell(data.collections.size(), data.survey.collections.size());
  }
  return data;
}

template <class Key>
std::optional<Key> requirePlace(std::optional<Key> place, const std::string& key) {
  if (!place) throw Failure(Status::negative, inQuotes(key) + " cannot be found in the collection");
  return place;
}

// What a word finds in a collection; where its order is not known, what it leads to.
psId keyIn(const psId& collection, const std::string& word, OpenStore& store) {
  CollectionKeys keys(store, collection);
  if (!keys.canFind() || keys.kind() == psCollectionKind::list) return store.find(word);
  const std::optional<FoundElement> found = keys.find(word);
  if (!found) throw Failure(Status::negative, "there is no element " + inQuotes(word) + " in the collection");
  return found->element;
}

double widthWithin(std::uint64_t width) { return static_cast<double>(std::clamp(width, narrowest, widest)); }

}  // namespace

GraphCommand::GraphCommand() : Command("graph", "Draw the structure of a collection") {
  file("store", "The file of the store, or its address on a server", &store_);
  argument("collection", "A path of names, or an identifier as in 1-2-3-4", &collection_);
  option("-o,--output", "FILE", "The SVG picture to write", &output_);
  option("--key", "KEY", "Show the way to this element: a key, as `pscol get` takes it", &key_);
  option("--width", "N", widthText, &width_);
  details(
      "Of a list, sorted set or sorted map, how full the nodes of each level are; of a hash set or hash map, how even "
      "its "
      "hashes are. What is too much for a picture is drawn as means, and a part of it magnified.");
}

Status GraphCommand::run(Document& answer) {
  requireOutput(output_);
  OpenStore store(store_);
  const ClassNames names(store);
  Structure structure(store, names);
  const picture::ReportedCollection one = structure.wanted(collection_);
  write(output_, store_, draw(structure, one, store), answer);
  return one.info().unreadable == 0 ? Status::fine : Status::negative;
}

std::string GraphCommand::draw(Structure& structure, const picture::ReportedCollection& one, OpenStore& store) const {
  const picture::Subject subject{one.path, one.className, picture::adviceOn(one),
                                 [&structure](const psId& element) { return structure.label(element); }};
  const psId key = key_.empty() ? psId() : keyIn(one.id, key_, store);
  if (one.isTable()) {
    picture::HashSketch sketch;
    structure.sketch(one, sketch);
    std::optional<picture::KeyInTable> place;
    if (!key.isNull()) place = requirePlace(structure.place(one, sketch, key), key_);
    return picture::HashPicture(one.table, sketch, subject, place).draw(widthWithin(width_), true).document();
  }
  picture::TreeSketch sketch;
  structure.sketch(one, sketch);
  std::optional<picture::KeyInTree> place;
  if (!key.isNull()) place = requirePlace(structure.place(one, sketch, key), key_);
  return picture::TreePicture(one.tree, sketch, subject, place).draw(widthWithin(width_), true).document();
}

MapCommand::MapCommand() : Command("map", "Draw what takes the room of a store") {
  file("store", "The file of the store, or its address on a server", &store_);
  option("-o,--output", "FILE", "The SVG picture to write", &output_);
  option("--width", "N", widthText, &width_);
  details(
      "A treemap: databases, in them containers, in them classes, with areas by bytes. The containers of a collection "
      "are one field with its name.");
}

Status MapCommand::run(Document& answer) {
  requireOutput(output_);
  OpenStore store(store_, psVerify::structure);
  const ClassNames names(store);
  Structure structure(store, names);
  const picture::ReportData data = dataOf(store, structure, names, store_);
  const picture::StoreMap map(data.info, data.survey, data.classes, data.owners);
  const double width = widthWithin(width_);
  const picture::MapPicture picture(map, data.storeName);
  write(output_, store_, picture.draw(width, picture::mapHeight(width), true).document(), answer);
  return Status::fine;
}

ReportCommand::ReportCommand()
    : Command("report", "Write a page about a store: check, advice, map, collections, schema") {
  file("store", "The file of the store, or its address on a server", &store_);
  option("-o,--output", "FILE", "The HTML page to write", &output_);
  details(
      "The page needs no other file, no script and no network, and has less than 500,000 bytes. The exit status is 1 "
      "when "
      "the store is not whole.");
}

Status ReportCommand::run(Document& answer) {
  requireOutput(output_);
  OpenStore store(store_, psVerify::structure);
  psVerifyReport verification;
  store.verify(verification);
  const ClassNames names(store);
  Structure structure(store, names);
  picture::ReportData data = dataOf(store, structure, names, store_);
  structure.setOwners(nullptr);
  data.isVerified = true;
  data.verification = std::move(verification);
  data.sketchTree = [&](const auto& one, picture::TreeSketch& sketch) { return structure.sketch(one, sketch); };
  data.sketchTable = [&](const auto& one, picture::HashSketch& sketch) { return structure.sketch(one, sketch); };
  data.labelOf = [&](const picture::ReportedCollection&, const psId& element) { return structure.label(element); };
  write(output_, store_, picture::Report(data).html(), answer);
  answer.fact("faultCount", "Faults", Cell::count(data.verification.faultCount));
  return data.verification.faultCount == 0 ? Status::fine : Status::negative;
}

}  // namespace pscol
