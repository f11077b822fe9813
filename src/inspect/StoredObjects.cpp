#include "inspect/StoredObjects.h"

#include "inspect/LibraryFields.h"
#include "store/base/IdParts.h"
#include "store/cache/TypeRegistry.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

// A class with more bases than that is forged.
constexpr int mostBases = 64;

bool isLibraryClass(unsigned int number) { return number <= psHighestLibraryTypeN; }

std::vector<FieldShape> opaque(std::uint32_t begin, std::uint32_t end) {
  if (begin >= end) return {};
  FieldShape rest;
  rest.kind = FieldKind::opaque;
  rest.offset = begin;
  rest.size = end - begin;
  return {rest};
}

psStoredLayout layoutFrom(const StoredClass::Layout& layout, std::uint16_t number) {
  psStoredLayout result;
  result.number = number;
  result.isSound = layout.isSound;
  result.isInUse = layout.shape.size != 0;
  if (!layout.isSound) return result;
  result.size = layout.shape.size;
  result.version = layout.shape.version();
  result.base = layout.shape.base;
  result.isDescribed = layout.shape.isDescribed();
  if (result.isInUse) result.encoded = layout.shape.encode();
  for (const ClassLevel& level : layout.shape.levels) {
    for (const FieldShape& field : level.fields) {
      const std::string count = field.count != 1 ? "[" + std::to_string(field.count) + "]" : "";
      result.fields.push_back({field.name, kindText(field) + count, field.offset, level.number});
    }
  }
  return result;
}

}  // namespace

RecordedPages::Found StoredObjects::read(const psId& id, psStoredObject& object) {
  const RecordedPages::Found found = pages_.find(id);
  if (found == RecordedPages::Found::object) object = describe(id, pages_.object());
  return found;
}

bool StoredObjects::scan(const psId& container, bool withStorage, const Visitor& visit, std::vector<psId>& unreadable) {
  std::vector<std::uint16_t> numbers;
  const bool isRead =
      engine_.scan(StoreKey::pagesOf(container.get_DB(), container.get_OC()), [&](std::string_view key, auto) {
        constexpr std::size_t pageAt = 5;
        const std::uint16_t page = key.size() > pageAt + 1 ? StoreKey::numberAt(key, pageAt) : 0;
        if (numbers.empty() || numbers.back() != page) numbers.push_back(page);
        return true;
      });
  for (const std::uint16_t number : numbers) {
    psId id(container.get_DB(), container.get_OC(), number, 1);
    if (pages_.find(id) == RecordedPages::Found::unreadable) {
      unreadable.push_back(pageOf(id));
      continue;
    }
    for (const RecordedObject& recorded : pages_.contents().objects) {
      id.set_slot(recorded.slot);
      const bool isArray = isStorage(recorded.type & ~namedFlag);
      if (isArray && !withStorage) continue;
      if (!visit(isArray ? describeStorage(id, recorded) : describe(id, recorded))) return true;
    }
  }
  return isRead;
}

bool StoredObjects::list(std::vector<psStoredClass>& classes) {
  std::vector<unsigned int> numbers;
  if (!classes_.list(numbers)) return false;
  for (const unsigned int number : numbers) {
    const StoredClass& known = stored(number);
    psStoredClass& found = classes.emplace_back();
    found.typeN = number;
    found.name = known.name;
    found.isSound = known.isSound;
    const ClassInfo* const info = TypeRegistry::instance().find(number);
    found.isRegistered = info != nullptr && info->isOfProgram();
    for (std::size_t i = 0; i < known.layouts.size(); ++i)
      found.layouts.push_back(layoutFrom(known.layouts[i], static_cast<std::uint16_t>(i + 1)));
  }
  return true;
}

const StoredClass& StoredObjects::stored(unsigned int number) {
  const auto known = stored_.find(number);
  return known != stored_.end() ? known->second : stored_.emplace(number, classes_.stored(number)).first->second;
}

const ClassShape* StoredObjects::shapeOf(unsigned int number, std::uint16_t layout) {
  const StoredClass& known = stored(number);
  const bool exists = layout != 0 && layout <= known.layouts.size() && known.layouts[layout - 1U].isSound;
  return exists && known.layouts[layout - 1U].shape.size != 0 ? &known.layouts[layout - 1U].shape : nullptr;
}

std::string StoredObjects::nameOf(unsigned int typeN) {
  const StoredClass& known = stored(typeN);
  if (!known.name.empty()) return known.name;
  const ClassInfo* const info = TypeRegistry::instance().find(typeN);
  return info != nullptr ? info->name : std::string();
}

psStoredObject StoredObjects::describe(const psId& id, const RecordedObject& recorded) {
  psStoredObject object;
  object.id = id;
  object.typeN = recorded.type & ~namedFlag;
  object.className = nameOf(object.typeN);
  object.layout = recorded.layout;
  object.size = recorded.size;
  object.bytes = padded(recorded.bytes.size());
  object.isNamed = (recorded.type & namedFlag) != 0;
  values_.beginObject();
  describeLevels(recorded, object);
  return object;
}

psStoredObject StoredObjects::describeStorage(const psId& id, const RecordedObject& recorded) {
  psStoredObject storage;
  storage.id = id;
  storage.typeN = storageType;
  storage.isStorage = true;
  storage.layout = recorded.layout;
  storage.size = recorded.size;
  storage.bytes = padded(recorded.bytes.size());
  psStoredLevel& level = storage.levels.emplace_back();
  level.typeN = storageType;
  psStoredValue& elements = level.fields.emplace_back();
  elements.kind = psStoredValue::Kind::bytes;
  elements.text.resize(recorded.size + rowBytes(rowsOf(recorded.type), recorded.size));
  recorded.layOutAsStored(elements.text.data());
  elements.text.resize(recorded.size);
  return storage;
}

// What a description says of a base class of the library is less than what is known of it.
void StoredObjects::describeLevels(const RecordedObject& recorded, psStoredObject& object) {
  const ClassShape* const shape = shapeOf(object.typeN, recorded.layout);
  if (shape == nullptr || !shape->isDescribed() || shape->size != recorded.size)
    return addUndescribed(recorded, object);
  for (const ClassLevel& level : shape->levels) {
    const bool isKnown = isLibraryClass(level.number);
    addLevel(level.number, level.version, isKnown ? fieldsOfLibraryClass(level.number) : level.fields, recorded,
             object);
  }
}

void StoredObjects::addLevel(unsigned int number, std::uint32_t version, const std::vector<FieldShape>& fields,
                             const RecordedObject& recorded, psStoredObject& object) {
  psStoredLevel level;
  level.typeN = number;
  level.className = nameOf(number);
  level.version = version;
  level.fields = values_.read(fields, recorded.bytes, omitted(recorded.type));
  for (psStoredValue& value : level.fields) {
    if (value.kind == psStoredValue::Kind::bytes) value.name.clear();
  }
  object.levels.push_back(std::move(level));
}

// The bases of a class without a description are known as far as its last layout tells, and from the library's classes
// on.
void StoredObjects::addUndescribed(const RecordedObject& recorded, psStoredObject& object) {
  unsigned int base = object.typeN;
  for (int i = 0; i < mostBases && !isLibraryClass(base); ++i) base = baseOf(base);
  const ClassInfo* const known = TypeRegistry::instance().find(base);
  const std::uint32_t begin = known != nullptr ? known->size : sizeof(void*);
  if (!isLibraryClass(object.typeN)) addLevel(object.typeN, 0, opaque(begin, recorded.size), recorded, object);
  for (; known != nullptr && base != objectTypeN; base = baseOf(base)) {
    const std::vector<FieldShape>& fields = fieldsOfLibraryClass(base);
    if (!fields.empty()) addLevel(base, 0, fields, recorded, object);
  }
}

// psObj when it is not known.
unsigned int StoredObjects::baseOf(unsigned int number) {
  if (const ClassInfo* const info = TypeRegistry::instance().find(number)) return info->base;
  const StoredClass& known = stored(number);
  const bool hasLayout = !known.layouts.empty() && known.layouts.back().isSound && known.layouts.back().shape.size != 0;
  return hasLayout ? known.layouts.back().shape.base : objectTypeN;
}

}  // namespace ps::detail
