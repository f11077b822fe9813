#include "store/cache/ClassTable.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "store/base/RecordBytes.h"
#include "store/cache/PageRecord.h"
#include "store/cache/StorageRows.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::size_t mostLayouts = 65535;
// In place of a class's number: the record that counts the changes of the table.
constexpr unsigned int generationRecord = 0;
constexpr const char* elementsName = "elements of arrays";

std::string textOf(const ClassInfo& info) {
  return "class " + info.name + " (number " + std::to_string(info.number) + ")";
}

std::string both(const ClassShape& stored, const ClassShape& now) {
  return ". In the store: " + stored.text() + ". In this program: " + now.text();
}

// The name of the structure that a layout of elements describes.
const std::string& structureIn(const ClassShape& elements) { return elements.levels.front().fields.front().structure; }

bool describesElements(const ClassShape& shape) {
  const std::vector<FieldShape>& fields = shape.levels.front().fields;
  return fields.size() == 1 && fields.front().kind == FieldKind::structure;
}

}  // namespace

// The record of a class.
struct ClassTable::Record {
  std::string name;
  std::vector<std::string> layouts;  // numbered from 1; one that was retired is empty

  bool decode(std::string_view payload) {
    RecordReader reader(payload);
    name = reader.take(reader.number<std::uint16_t>());
    for (std::uint32_t n = reader.number<std::uint16_t>(); n > 0 && reader.isSound(); --n) {
      layouts.emplace_back(reader.take(reader.number<std::uint32_t>()));
    }
    return reader.isSound();
  }

  std::string encode(std::string_view key) const {
    std::string record(sizeof(std::uint64_t), '\0');
    appendNumber(record, static_cast<std::uint16_t>(name.size()));
    record += name;
    appendNumber(record, static_cast<std::uint16_t>(layouts.size()));
    for (const std::string& layout : layouts) {
      appendNumber(record, static_cast<std::uint32_t>(layout.size()));
      record += layout;
    }
    const std::uint64_t checksum = chunkChecksum(key, std::string_view(record).substr(sizeof checksum));
    std::memcpy(record.data(), &checksum, sizeof checksum);
    return record;
  }

  // 0 when the layout is not there.
  std::uint16_t numberOf(const std::string& layout) const {
    const auto found = std::find(layouts.begin(), layouts.end(), layout);
    return found != layouts.end() ? static_cast<std::uint16_t>(found - layouts.begin() + 1) : std::uint16_t{0};
  }
  // False when there is no such layout, or not any more.
  bool shapeOf(std::uint16_t layout, unsigned int number, ClassShape& shape) const {
    return layout != 0 && layout <= layouts.size() && shape.decode(layouts[layout - 1U], number);
  }
};

void ClassTable::afterAbort() {
  isChecked_ = false;
  layouts_.clear();
  elementLayouts_.clear();
  last_ = nullptr;
  forms_.clear();
  changes_.clear();
  plannedMembers_ = 0;
  elements_.clear();
}

bool ClassTable::fail(StoreError error) {
  error_ = std::move(error);
  return false;
}

ClassTable::Found ClassTable::read(unsigned int number, Record& record) {
  const StoreKey key = StoreKey::classRecord(number);
  std::string_view value;
  const Engine::Lookup found = engine_->get(key, value);
  if (found == Engine::Lookup::absent) return Found::no;
  if (found == Engine::Lookup::failed) {
    fail(engine_->error());
    return Found::failed;
  }
  std::uint64_t checksum = 0;
  if (record.decode(verifiedPayload(key, value, checksum))) return Found::yes;
  fail({psErrorKind::damaged,
        "the record of class number " + std::to_string(number) + " is damaged; restore the store from a backup"});
  return Found::failed;
}

// Also counts the change.
bool ClassTable::write(unsigned int number, const Record& record) {
  const StoreKey key = StoreKey::classRecord(number);
  if (!engine_->put(key, record.encode(key))) return fail(engine_->error());
  if (number == generationRecord) return true;
  Record generation;
  if (read(generationRecord, generation) == Found::failed) return false;
  generation.name = std::to_string(std::strtoul(generation.name.c_str(), nullptr, 10) + 1);
  return write(generationRecord, generation);
}

StoredClass ClassTable::stored(unsigned int number) {
  StoredClass result;
  Record record;
  result.isSound = read(number, record) != Found::failed;
  if (!result.isSound) return result;
  result.name = record.name;
  for (const std::string& layout : record.layouts) {
    StoredClass::Layout& described = result.layouts.emplace_back();
    described.isSound = layout.empty() || described.shape.decode(layout, number);
    if (layout.empty()) described.shape.levels.push_back({number, 0, {}});
  }
  return result;
}

std::string ClassTable::encode(unsigned int number, const std::string& name, const std::vector<std::string>& layouts) {
  Record record;
  record.name = name;
  record.layouts = layouts;
  return record.encode(StoreKey::classRecord(number));
}

std::string ClassTable::encodeGeneration(unsigned int changes) {
  return encode(generationRecord, std::to_string(changes), {});
}

bool ClassTable::list(std::vector<unsigned int>& numbers) {
  bool areNumbers = true;
  const bool isRead = engine_->scan(StoreKey::classes(), [&](std::string_view key, std::string_view) {
    areNumbers = key.size() == std::string_view(StoreKey::classRecord(0)).size();
    if (!areNumbers) return false;
    const unsigned int number =
        static_cast<unsigned int>(StoreKey::numberAt(key, 1)) << 16 | StoreKey::numberAt(key, 3);
    if (number != generationRecord) numbers.push_back(number);
    return true;
  });
  if (!isRead) return fail(engine_->error());
  return areNumbers || fail({psErrorKind::damaged, "the list of classes is damaged; restore the store from a backup"});
}

bool ClassTable::check() {
  Record generation;
  if (read(generationRecord, generation) == Found::failed) return false;
  if (isChecked_ && generation.name == generation_) return true;
  std::vector<unsigned int> numbers;
  if (!list(numbers)) return false;
  for (const unsigned int number : numbers) {
    Record record;
    if (read(number, record) == Found::failed || !checkRecord(number, record)) return false;
  }
  generation_ = generation.name;
  return isChecked_ = true;
}

// Null when objects in this store cannot be of the class.
const ClassInfo* ClassTable::classOf(unsigned int number) const {
  const ClassInfo* const info = TypeRegistry::instance().find(number);
  return info != nullptr && (info->isOfProgram() || usesStoredClasses_) ? info : nullptr;
}

// Whether the store means the same class. A base class of which no store has objects has no name.
bool ClassTable::isNamed(const ClassInfo& info, const Record& record) {
  if (unqualified(info.name) == record.name || info.name.empty()) return true;
  return fail({psErrorKind::schema,
               "class number " + std::to_string(info.number) + " is " + record.name + " in the store, but " +
                   info.name +
                   (info.isOfProgram() ? " in this program; give one of them another number"
                                       : " in a store that this process has looked at before; use another process")});
}

// Objects that nobody has described are refused one by one, where they are met: perhaps there is none any more.
bool ClassTable::checkRecord(unsigned int number, const Record& record) {
  const ClassInfo* const info = classOf(number);
  if (info != nullptr && !isNamed(*info, record)) return false;
  if (info == nullptr && number != storageType) return true;
  for (std::size_t i = 0; i < record.layouts.size(); ++i) {
    const auto layout = static_cast<std::uint16_t>(i + 1);
    ClassShape shape;
    if (record.layouts[i].empty()) continue;
    if (!record.shapeOf(layout, number, shape)) {
      return fail({psErrorKind::damaged, "the description of class number " + std::to_string(number) +
                                             " is damaged; restore the store from a backup"});
    }
    const ObjectForm& form = formOf(number, layout, shape.size);
    const bool isRefused = form.refusal.kind == psErrorKind::schema && !form.keepsVersion;
    if (isRefused && shape.isDescribed() && info != nullptr && !info->isOfProgram()) {
      return fail({psErrorKind::schema, textOf(*info) +
                                            " has other fields or another version in the store than in one that this " +
                                            "process has looked at before; use another process"});
    }
    if (isRefused && shape.isDescribed())
      return fail({psErrorKind::schema, "the store has objects " + form.refusal.text});
  }
  return true;
}

std::uint16_t ClassTable::layoutOf(const ClassInfo& info) {
  const auto known = layouts_.find(info.number);
  if (known != layouts_.end()) return known->second;
  const std::uint16_t layout = findOrAdd(info.number, unqualified(info.name), present(info).shape);
  if (layout != 0) layouts_.emplace(info.number, layout);
  return layout;
}

std::uint16_t ClassTable::layoutOf(const Structure& elements) {
  const auto known = elementLayouts_.find(&elements);
  if (known != elementLayouts_.end()) return known->second;
  const std::uint16_t layout = findOrAdd(storageType, elementsName, layoutOfElements(elements).shape);
  if (layout != 0) elementLayouts_.emplace(&elements, layout);
  return layout;
}

std::uint16_t ClassTable::findOrAdd(unsigned int number, std::string_view name, const ClassShape& shape) {
  Record record;
  const Found found = read(number, record);
  if (found == Found::failed) return 0;
  if (found == Found::no) record.name = name;
  const std::string layout = shape.encode();
  if (const std::uint16_t known = record.numberOf(layout); known != 0) return known;
  if (!checkRecord(number, record)) return 0;
  if (record.layouts.size() == mostLayouts) {
    fail({psErrorKind::full, "class number " + std::to_string(number) + " has had 65,535 layouts; give the class a " +
                                 "new number, and convert its objects"});
    return 0;
  }
  record.layouts.push_back(layout);
  return write(number, record) ? static_cast<std::uint16_t>(record.layouts.size()) : std::uint16_t{0};
}

const NewLayout& ClassTable::present(const ClassInfo& info) {
  std::unique_ptr<const NewLayout>& layout = present_[info.number];
  if (layout == nullptr) layout = std::make_unique<const NewLayout>(TypeRegistry::instance().layoutOf(info));
  return *layout;
}

const ObjectForm& ClassTable::findForm(const Key& key) {
  const auto known = forms_.find(key);
  if (known != forms_.end()) {
    last_ = &known->second;
    lastKey_ = key;
    return *last_;
  }
  const ClassInfo* const info = isStorage(key.type) ? nullptr : classOf(key.type);
  ObjectForm form;
  if (isStorage(key.type)) {
    if (key.layout != 0) form = formOfElements(key);
  } else if (info != nullptr && info->virtualTable != 0) {
    form = formOfObjects(*info, key);
    form.info = info;
  } else {
    // Not kept, since the class may still become known.
    unknown_.refusal = {psErrorKind::unknownClass,
                        "of class number " + std::to_string(key.type) +
                            ", which this program does not register; link the library that defines it "
                            "(PS_REGISTER_CLASS)"};
    return unknown_;
  }
  last_ = &forms_.emplace(key, std::move(form)).first->second;
  lastKey_ = key;
  return *last_;
}

ObjectForm ClassTable::formOfObjects(const ClassInfo& info, const Key& key) {
  const NewLayout& now = present(info);
  const std::string what = textOf(info);
  Record record;
  ClassShape stored;
  ObjectForm form;
  if (!info.isOfProgram() && (read(info.number, record) != Found::yes || !isNamed(info, record))) {
    form.refusal = {psErrorKind::unknownClass, "of " + what + ", which the store does not describe"};
    return form;
  }
  record = {};
  if (key.layout == 0) {
    stored.size = key.size;
    stored.base = info.base;
    stored.levels.push_back({info.number, 0, {}});
  } else if (read(info.number, record) != Found::yes || !record.shapeOf(key.layout, info.number, stored) ||
             stored.size != key.size) {
    form.refusal = {
        psErrorKind::damaged,
        "of " + what + ", in a layout that the store does not describe; restore the " + "store from a backup"};
    return form;
  }
  form = formBetween(what, stored, now);
  form.namesArrays = !stored.isDescribed() && now.shape.isDescribed();
  form.isOlder = key.layout == 0 || record.layouts[key.layout - 1U] != now.shape.encode();
  if (isComparator(info) && stored.version() < now.shape.version() && !relate(stored, now.shape).isNewer) {
    form.keepsVersion = true;
    form.refusal = {psErrorKind::schema, "of " + what + ", a comparator that has version " +
                                             std::to_string(stored.version()) + " in the store and version " +
                                             std::to_string(now.shape.version()) +
                                             " in this program; order its collections anew with ps::reorder"};
  }
  return form;
}

// Structures of one name may be several. The one that is meant is the one that nothing has changed of, or else the only
// one that has changed in a way that is allowed.
ObjectForm ClassTable::formOfElements(const Key& key) {
  Record record;
  ClassShape stored;
  ObjectForm form;
  if (read(storageType, record) != Found::yes || !record.shapeOf(key.layout, storageType, stored) ||
      !describesElements(stored)) {
    form.refusal = {psErrorKind::damaged,
                    "an array whose elements the store does not describe; restore the store from a backup"};
    return form;
  }
  bool isFound = false;
  for (const Structure* const elements : TypeRegistry::instance().elementsNamed(structureIn(stored))) {
    elements_.push_back(std::make_unique<const NewLayout>(layoutOfElements(*elements)));
    ObjectForm candidate = formBetween("structure " + structureIn(stored), stored, *elements_.back());
    candidate.elements = elements;
    candidate.isOlder = record.layouts[key.layout - 1U] != elements_.back()->shape.encode();
    if (isFound && candidate.isOlder) continue;
    form = std::move(candidate);
    isFound = true;
    if (!form.isOlder) break;
  }
  return form;
}

ObjectForm ClassTable::formBetween(const std::string& what, const ClassShape& stored, const NewLayout& now) {
  ObjectForm form;
  const ShapeRelation relation = relate(stored, now.shape);
  const bool areDescribed = stored.isDescribed() && now.shape.isDescribed();
  form.isOfOlderVersion = relation.isOlder;
  if (relation.isNewer) {
    form.refusal.text = "of " + what + ", which is newer in the store than in this program: " + relation.newer +
                        "; use a program of that version";
  } else if (!areDescribed && (stored.size != now.shape.size || relation.isOlder)) {
    form.refusal = {stored.isDescribed() || now.shape.isDescribed() ? psErrorKind::schema : psErrorKind::unknownClass,
                    "of " + what + ", is stored with " + std::to_string(stored.size) +
                        " bytes and without a description, but the class has " + std::to_string(now.shape.size) +
                        " bytes and version " + std::to_string(now.shape.version()) +
                        "; describe a class with PS_FIELDS before it changes, or give it a new number"};
  } else if (areDescribed && !relation.isOlder && !relation.hasSameFields) {
    form.refusal.text = "of " + what + ", which has other fields in the store than in this program, under the same " +
                        "version; raise the version (PS_REGISTER_CLASS_VERSION, PS_STRUCT_VERSION)";
  } else if (areDescribed && relation.isOlder) {
    std::string reason = "the descriptions in the store have too many members";
    std::unique_ptr<const LayoutChange> change;
    plannedMembers_ += stored.members();
    if (plannedMembers_ <= mostMembersInStore) change = LayoutChange::plan(stored, now, reason);
    if (change == nullptr) {
      form.refusal.text = "of " + what + ", which no rule converts from its version " +
                          std::to_string(stored.version()) + ": " + reason +
                          "; write a PS_CLASS_CONVERSION from that version";
    } else if (!change->isTrivial()) {
      form.change = changes_.emplace_back(std::move(change)).get();
    }
  }
  if (form.refusal.text.empty() || form.refusal.kind != psErrorKind::none) return form;
  form.refusal.kind = psErrorKind::schema;
  form.refusal.text += both(stored, now.shape);
  return form;
}

std::vector<ClassTable::Replaced> ClassTable::replacedIn(unsigned int number, const Record& record) {
  std::vector<Replaced> replaced;
  for (std::size_t i = 0; i < record.layouts.size(); ++i) {
    const auto layout = static_cast<std::uint16_t>(i + 1);
    ClassShape shape;
    if (!record.shapeOf(layout, number, shape)) continue;
    const ObjectForm& form = formOf(number, layout, shape.size);
    if (form.isUsable() && form.isOfOlderVersion) replaced.push_back({layout, &form});
  }
  return replaced;
}

// Calls visit for each record with layouts that are replaced, with its number and these.
template <class Visit>
bool ClassTable::visitReplaced(Visit visit) {
  std::vector<unsigned int> numbers;
  if (!list(numbers)) return false;
  return std::all_of(numbers.begin(), numbers.end(), [&](unsigned int number) {
    Record record;
    if (read(number, record) == Found::failed) return false;
    const std::vector<Replaced> replaced = replacedIn(number, record);
    return replaced.empty() || visit(number, record, replaced);
  });
}

bool ClassTable::addPresent() {
  return visitReplaced([this](unsigned int, const Record&, const std::vector<Replaced>& replaced) {
    return std::all_of(replaced.begin(), replaced.end(), [this](const Replaced& older) {
      const ObjectForm& form = *older.form;
      return (form.info != nullptr ? layoutOf(*form.info) : layoutOf(*form.elements)) != 0;
    });
  });
}

bool ClassTable::forgetOlder() {
  return visitReplaced([this](unsigned int number, Record& record, const std::vector<Replaced>& replaced) {
    for (const Replaced& older : replaced) record.layouts[older.layout - 1U].clear();
    return write(number, record);
  });
}

}  // namespace ps::detail
