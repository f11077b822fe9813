#include "pscol/DumpCommand.h"

#include <store/base/ClassNumbers.h>

#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_map>

#include "pscol/DumpFormat.h"
#include "pscol/Text.h"
#include "pscol/ValueText.h"

namespace pscol {

namespace {

constexpr std::size_t elementsPerLine = 1000;

// The library's classes whose objects are parts of collections, beside arrays, which applications may have too.
bool isClassOfParts(unsigned int typeN) {
  static const std::set<unsigned int> numbers = {4010, 4011, 4016, 4019, 4021, 4024, 4027, 4029};
  return numbers.count(typeN) != 0;
}

// Calls visit with the storage of all arrays in a value.
template <class Visit>
void visitStorage(const psStoredValue& value, const Visit& visit) {
  if (value.isArray) visit(value.storage);
  for (const psStoredValue& member : value.members) visitStorage(member, visit);
  const bool mayHaveArrays = value.kind == psStoredValue::Kind::list && value.count > 0 &&
                             value.element(0).kind == psStoredValue::Kind::structure;
  for (std::size_t i = 0; mayHaveArrays && i < value.count; ++i) visitStorage(value.element(i), visit);
}

psId containerOf(const psId& id) { return psId(id.get_DB(), id.get_OC(), 0, 0); }

// The value of a field of a library's object; nothing when it cannot be read.
const psStoredValue* findField(const psStoredObject& object, const std::string& name) {
  const psStoredValue* found = nullptr;
  visitFields(object, [&](const psStoredLevel&, const psStoredValue& field) {
    if (field.name == name) found = &field;
  });
  return found;
}

void addReference(Json& line, const char* key, const psStoredObject& object, const std::string& field) {
  const psStoredValue* const value = findField(object, field);
  if (value != nullptr && !value->id.isNull()) line[key] = idText(value->id);
}

void addNumber(Json& line, const char* key, const psStoredObject& object, const std::string& field) {
  if (const psStoredValue* const value = findField(object, field)) line[key] = value->signedInteger;
}

}  // namespace

DumpCommand::DumpCommand() : Command("dump", "Write a store as lines of JSON, as far as it can be read") {
  file("store", "The file of the store, or its address on a server", &store_);
  option("--output", "FILE", "Where to write; standard output unless given", &output_);
  details(
      "Objects are written by their fields, references by identifiers, and collections as their elements, without "
      "their "
      "nodes and buckets. `pscol load` makes a store of it in which identifiers are kept. What is damaged is left out, "
      "and the exit status is 1 then.");
}

Status DumpCommand::run(Document& answer) {
  OpenStore store(store_);
  std::ofstream file;
  if (!output_.empty()) {
    file.open(output_, std::ios::binary | std::ios::trunc);
    if (!file) throw Failure(Status::unusable, "the file " + inQuotes(output_) + " cannot be written");
  }
  out_ = output_.empty() ? &std::cout : &file;
  psStoreInfo info;
  require(store.session(), store.inspector().info(info));
  const psSurvey survey = store.survey();
  for (const auto& [number, count] : survey.classes) total_ += count.objects;
  write({{dumpHead, dumpVersion}, {"format", info.format}, {"pageSize", info.pageSize}, {"commit", info.commit}});
  lookAtCollections(store, survey);
  const ClassNames classes(store);
  noteUndescribed(classes);
  writeClasses(classes);
  writeContainers(store, survey);
  writeNames(store);
  for (const psId& id : survey.collections) {
    if (psIsTree(store.inspector().kindOf(id)))
      writeTree(store, id);
    else
      writeTable(store, id);
  }
  write({{"end", true}, {"objects", objects_}, {"losses", losses_}});
  out_->flush();
  if (!*out_) throw Failure(Status::unusable, "the dump cannot be written");
  if (!output_.empty()) answer.fact("objects", "Objects", Cell::count(objects_));
  if (!output_.empty()) answer.fact("collections", "Collections", Cell::count(survey.collections.size()));
  if (losses_ > 0) std::cerr << "pscol dump: " << losses_ << " pages or parts of collections cannot be read\n";
  return losses_ == 0 ? Status::fine : Status::negative;
}

void DumpCommand::write(const Json& line) { *out_ << line.dump() << '\n'; }

// Which arrays are parts of collections, and which containers these go on to use.
void DumpCommand::lookAtCollections(OpenStore& store, const psSurvey& survey) {
  for (const psId& id : survey.collections) {
    collections_.insert(id);
    psTreeInfo tree;
    psHashInfo table;
    psInspector& inspector = store.inspector();
    const bool isTree = psIsTree(inspector.kindOf(id));
    const bool isRead = isTree ? inspector.tree(id, tree,
                                                [this](const psNodeInfo& node) {
                                                  arrays_.insert(node.entries);
                                                  arrays_.insert(node.values);
                                                  return true;
                                                }) == 1
                               : inspector.table(id, table) == 1;
    const psCollectionInfo& info = isTree ? static_cast<const psCollectionInfo&>(tree) : table;
    losses_ += info.unreadable + (isRead ? 0 : 1);
    psStoredObject admin;
    if (!isRead || inspector.object(info.admin, admin) != 1) continue;
    containers_.insert(containerOf(admin.id));
    visitFields(admin, [this](const psStoredLevel&, const psStoredValue& field) { containers_.insert(field.id); });
  }
}

void DumpCommand::writeClasses(const ClassNames& classes) {
  for (const psStoredClass& known : classes.all()) {
    Json line = {{"class", known.typeN}, {"name", textJson(known.name)}};
    Json& layouts = line["layouts"] = Json::array();
    for (const psStoredLayout& layout : known.layouts) {
      Json& described = layouts.emplace_back(Json::object());
      described["version"] = layout.version;
      described["size"] = layout.size;
      for (const psStoredLayout::Field& field : layout.fields) described["fields"][field.name] = field.type;
      described["encoded"] = hexadecimal(layout.encoded);
    }
    write(line);
  }
}

// Containers without a name that have parts of collections alone are left out: new ones are made for these.
void DumpCommand::writeContainers(OpenStore& store, const psSurvey& survey) {
  for (const psDatabaseInfo& database : survey.databases) {
    write({{"database", database.id.get_DB()}, {"name", textJson(database.name)}, {"next", database.nextContainer}});
    for (const psContainerInfo& container : database.containers) {
      bool hasOthers =
          !container.name.empty() || container.isGarbageCollectable || containers_.count(container.id) != 0;
      for (const auto& [number, count] : container.classes)
        hasOthers = hasOthers || (count.objects > 0 && !isClassOfParts(number) && number != psUnsortedArray::pstTypeN &&
                                  number != psSortedArray::pstTypeN);
      losses_ += container.unreadablePages;
      if (!hasOthers) continue;
      write({{"container", idText(container.id)},
             {"name", textJson(container.name)},
             {"garbageCollectable", container.isGarbageCollectable},
             {"next", container.nextPage}});
      writeObjects(store, container);
    }
  }
}

bool DumpCommand::isPart(const psStoredObject& object) const {
  return isClassOfParts(object.typeN) || arrays_.count(object.id) != 0;
}

void DumpCommand::noteUndescribed(const ClassNames& classes) {
  for (const psStoredClass& known : classes.all()) {
    bool isDescribed = known.isSound;
    for (const psStoredLayout& layout : known.layouts)
      isDescribed = isDescribed && (!layout.isInUse || (layout.isSound && layout.isDescribed));
    if (isDescribed || known.typeN <= psHighestLibraryTypeN) described_.insert(known.typeN);
  }
}

// Whether a container has objects that may have arrays of which nobody knows.
bool DumpCommand::hidesArrays(const psContainerInfo& container) const {
  for (const auto& [number, count] : container.classes) {
    if (count.objects > 0 && number > psHighestLibraryTypeN && described_.count(number) == 0) return true;
  }
  return false;
}

void DumpCommand::claimArrays(OpenStore& store, const psId& container) {
  std::vector<psId> unreadable;
  const auto claim = [this](const psStoredObject& object) {
    visitFields(object, [this](const psStoredLevel&, const psStoredValue& field) {
      visitStorage(field, [this](const psId& storage) { claimed_.insert(storage); });
    });
    return true;
  };
  require(store.session(), store.inspector().objects(container, claim, &unreadable));
}

void DumpCommand::writeObjects(OpenStore& store, const psContainerInfo& container) {
  claimed_.clear();
  const bool withStorage = hidesArrays(container);
  if (withStorage) claimArrays(store, container.id);
  std::vector<psId> unreadable;
  const auto visit = [this](const psStoredObject& object) {
    if (object.isStorage && claimed_.count(object.id) != 0) return true;
    if (!object.isStorage) progress_.tell(++done_, total_);
    if (isPart(object)) return true;
    objects_ += object.isStorage ? 0 : 1;
    const bool isCollection = collections_.count(object.id) != 0;
    write(objectLine(object, isCollection));
    return true;
  };
  psInspector& inspector = store.inspector();
  require(store.session(), withStorage ? inspector.contents(container.id, visit, &unreadable)
                                       : inspector.objects(container.id, visit, &unreadable));
}

void DumpCommand::writeNames(OpenStore& store) {
  require(store.session(),
          store.inspector().names([this](const psId& scope, const std::string& filed, const psId& object) {
            write({{"filed", textJson(filed)}, {"scope", idText(scope)}, {"object", idText(object)}});
            return true;
          }));
}

void DumpCommand::writeTree(OpenStore& store, const psId& id) {
  psTreeInfo info;
  if (store.inspector().tree(id, info) != 1) return;
  Json line = {{"tree", idText(id)}, {"kind", kindText(info.kind)}, {"capacity", info.capacity}};
  if (!info.comparator.isNull()) line["comparator"] = idText(info.comparator);
  psStoredObject admin;
  psStoredObject root;
  if (store.inspector().object(info.admin, admin) == 1) {
    line["adminContainer"] = idText(containerOf(info.admin));
    addReference(line, "nodeContainer", admin, "nodeContainer");
    addReference(line, "arrayContainer", admin, "vArrayContainer");
    addNumber(line, "nodesPerContainer", admin, "maxNodesPerContainer");
    addNumber(line, "arraysPerContainer", admin, "maxVArraysPerContainer");
  }
  line["elements"] = info.elements;
  line["unreadableNodes"] = info.unreadable;
  write(line);
  writeElements(store, id, psIsMap(info.kind), nullptr);
}

void DumpCommand::writeTable(OpenStore& store, const psId& id) {
  psHashInfo info;
  std::vector<psBucketInfo> buckets;
  const auto note = [&](const psBucketInfo& bucket) {
    const bool isInLine =
        bucket.slots != 0 && bucket.places == 1U << (info.depth - bucket.depth) && bucket.first % bucket.places == 0;
    if (isInLine) buckets.push_back(bucket);
    losses_ += isInLine || !bucket.isReadable() ? 0 : 1;
    return true;
  };
  if (store.inspector().table(id, info, note) != 1) return;
  Json line = {{"table", idText(id)}, {"kind", kindText(info.kind)}, {"slots", info.slots}, {"depth", info.depth}};
  if (!info.comparator.isNull()) line["comparator"] = idText(info.comparator);
  psStoredObject admin;
  if (store.inspector().object(info.admin, admin) == 1) {
    line["adminContainer"] = idText(containerOf(info.admin));
    addReference(line, "bucketContainer", admin, "bucketContainer");
    addNumber(line, "bucketsPerContainer", admin, "maxBucketsPerContainer");
  }
  line["elements"] = info.elements;
  line["unreadableBuckets"] = info.unreadable;
  std::unordered_map<psId, std::size_t> numbers;
  Json& ranges = line["buckets"] = Json::array();
  for (const psBucketInfo& bucket : buckets) {
    numbers.emplace(bucket.id, numbers.size());
    ranges.push_back({bucket.first, bucket.depth});
  }
  write(line);
  writeElements(store, id, psIsMap(info.kind), &numbers);
}

// Of a hash table with their places: the number of the bucket among those of the table's line, and the slot.
void DumpCommand::writeElements(OpenStore& store, const psId& id, bool isMap,
                                const std::unordered_map<psId, std::size_t>* buckets) {
  Json line = Json::object();
  std::size_t count = 0;
  const auto flush = [&] {
    if (count > 0) write(line);
    count = 0;
  };
  const auto visit = [&](const psElementInfo& element) {
    if (buckets != nullptr && buckets->count(element.part) == 0) return true;
    if (count == 0) line = Json{{"of", idText(id)}, {"elements", Json::array()}};
    line["elements"].push_back(element.element.isNull() ? Json() : Json(idText(element.element)));
    if (isMap) line["values"].push_back(element.value.isNull() ? Json() : Json(idText(element.value)));
    if (buckets != nullptr) {
      line["buckets"].push_back(buckets->at(element.part));
      line["slots"].push_back(element.place);
    }
    if (++count >= elementsPerLine) flush();
    return true;
  };
  require(store.session(), store.inspector().elements(id, visit));
  flush();
}

}  // namespace pscol
