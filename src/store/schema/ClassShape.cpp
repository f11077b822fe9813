#include "store/schema/ClassShape.h"

#include <algorithm>
#include <map>

#include "store/base/ClassNumbers.h"
#include "store/base/RecordBytes.h"
#include "store/base/psId.h"

namespace ps::detail {

namespace {

// No program has more than this, but a damaged record may: levels of structures in structures, bytes of a member's name
// and of a type's, members, and what the members come to when each element of a fixed array of structures counts.
constexpr int deepest = 32;
constexpr std::size_t longestMember = 1000;
constexpr std::size_t longestType = 4000;
constexpr int mostMembers = 4096;
constexpr std::uint64_t mostParts = std::uint64_t{1} << 20;

void appendText(std::string& bytes, const std::string& text) {
  appendNumber(bytes, static_cast<std::uint16_t>(text.size()));
  bytes += text;
}

void appendFields(std::string& bytes, const std::vector<FieldShape>& fields) {
  appendNumber(bytes, static_cast<std::uint16_t>(fields.size()));
  for (const FieldShape& field : fields) {
    appendNumber(bytes, field.kind);
    appendText(bytes, field.name);
    appendNumber(bytes, field.offset);
    appendNumber(bytes, field.size);
    appendNumber(bytes, field.count);
    if (field.kind == FieldKind::structure) {
      appendText(bytes, field.structure);
      appendNumber(bytes, field.version);
    }
    if (field.kind == FieldKind::structure || field.kind == FieldKind::array) appendFields(bytes, field.parts);
  }
}

void appendOrder(std::string& bytes, const OrderShape& order) {
  appendNumber(bytes, std::uint32_t{order.elements});
  appendNumber(bytes, static_cast<std::uint16_t>(order.keys.size()));
  for (const KeyShape& key : order.keys) {
    appendNumber(bytes, key.kind);
    appendNumber(bytes, static_cast<std::uint8_t>(key.descends));
    appendNumber(bytes, key.size);
    appendText(bytes, key.field);
  }
}

// False when the text is longer than any program has.
bool takeText(RecordReader& reader, std::size_t longest, std::string& text) {
  text = reader.take(reader.number<std::uint16_t>());
  return text.size() <= longest;
}

// Whether there is such a kind, and values of it can have so many bytes. A function may make numbers of any size.
bool isSizeOfKey(KeyKind kind, std::uint8_t size) {
  switch (kind) {
    case KeyKind::signedNumber:
    case KeyKind::unsignedNumber:
    case KeyKind::floating:
      return size > 0;
    case KeyKind::text:
    case KeyKind::identifier:
      return size == 0;
  }
  return false;
}

// False when the order is malformed, or has no keys or more than one can have.
bool readOrder(RecordReader& reader, OrderShape& order) {
  order.elements = reader.number<std::uint32_t>();
  const std::uint32_t count = reader.number<std::uint16_t>();
  if (count == 0 || count > mostMembers) return false;
  for (std::uint32_t i = 0; i < count; ++i) {
    KeyShape& key = order.keys.emplace_back();
    key.kind = reader.number<KeyKind>();
    const auto descends = reader.number<std::uint8_t>();
    key.descends = descends != 0;
    key.size = reader.number<std::uint8_t>();
    const bool isRead = takeText(reader, longestMember, key.field);
    if (!isRead || !reader.isSound() || descends > 1 || !isSizeOfKey(key.kind, key.size)) return false;
  }
  return true;
}

// Reads the fields of a class and its bases.
class FieldsReader {
 public:
  explicit FieldsReader(RecordReader& reader) : reader_(reader) {}

  // False when they are malformed, or more than a class can have.
  bool read(std::vector<FieldShape>& fields, int depth = 0) {
    if (depth >= deepest) return false;
    for (std::uint32_t n = reader_.number<std::uint16_t>(); n > 0; --n) {
      FieldShape& field = fields.emplace_back();
      if (++members_ > mostMembers || !readOne(field, depth)) return false;
    }
    return reader_.isSound();
  }

 private:
  bool readOne(FieldShape& field, int depth) {
    field.kind = reader_.number<FieldKind>();
    if (!takeText(reader_, longestMember, field.name)) return false;
    field.offset = reader_.number<std::uint32_t>();
    field.size = reader_.number<std::uint32_t>();
    field.count = reader_.number<std::uint32_t>();
    if (field.kind == FieldKind::structure) {
      if (!takeText(reader_, longestType, field.structure)) return false;
      field.version = reader_.number<std::uint32_t>();
    }
    const bool hasParts = field.kind == FieldKind::structure || field.kind == FieldKind::array;
    return reader_.isSound() && (!hasParts || read(field.parts, depth + 1));
  }

  RecordReader& reader_;
  int members_ = 0;
};

// Whether every field lies between these bytes. What is not in them is never read.
bool areWithin(const std::vector<FieldShape>& fields, std::uint64_t begin, std::uint64_t size) {
  return std::all_of(fields.begin(), fields.end(), [begin, size](const FieldShape& field) {
    const std::uint64_t end = field.offset + std::uint64_t{field.size} * field.count;
    return field.size > 0 && field.size <= size && field.count <= size && field.offset >= begin && end <= size &&
           isSizeOf(field.kind, field.size) &&
           (field.kind != FieldKind::structure || areWithin(field.parts, 0, field.size));
  });
}

// How many steps it takes at most to go through the fields with every element of fixed arrays of structures.
std::uint64_t partsOf(const std::vector<FieldShape>& fields) {
  std::uint64_t sum = 0;
  for (const FieldShape& field : fields) {
    const std::uint64_t inOne = field.kind == FieldKind::structure ? partsOf(field.parts) : 0;
    sum += 1 + (inOne <= mostParts ? inOne : mostParts) * field.count;
    if (sum > mostParts) return mostParts + 1;
  }
  return sum;
}

std::string text(const FieldShape& field);

std::string text(const std::vector<FieldShape>& fields) {
  std::string result;
  for (const FieldShape& field : fields) result += (result.empty() ? "" : ", ") + text(field);
  return "{" + result + "}";
}

std::string text(const FieldShape& field) {
  const std::string count = field.count != 1 ? "[" + std::to_string(field.count) + "]" : "";
  return (field.name.empty() ? "" : field.name + ": ") + kindText(field) + count;
}

bool isSame(const std::vector<FieldShape>& a, const std::vector<FieldShape>& b);

bool isSame(const FieldShape& a, const FieldShape& b) {
  return a.name == b.name && a.kind == b.kind && a.offset == b.offset && a.size == b.size && a.count == b.count &&
         a.structure == b.structure && isSame(a.parts, b.parts);
}

bool isSame(const std::vector<FieldShape>& a, const std::vector<FieldShape>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const FieldShape& x, const FieldShape& y) { return isSame(x, y); });
}

// What has versions, by its name in messages.
using Versions = std::map<std::string, std::uint32_t>;

void collect(const std::vector<FieldShape>& fields, const std::string& place, Versions& versions) {
  for (const FieldShape& field : fields) {
    const std::string path = place + field.name;
    if (field.kind == FieldKind::structure) versions[path.empty() ? "it" : "the structure " + path] = field.version;
    collect(field.parts, path + (field.kind == FieldKind::array ? "[]" : "."), versions);
  }
}

Versions versionsIn(const ClassShape& shape) {
  Versions versions;
  for (const ClassLevel& level : shape.levels) {
    if (level.number != storageType) versions["class number " + std::to_string(level.number)] = level.version;
    collect(level.fields, "", versions);
  }
  return versions;
}

}  // namespace

bool isSizeOf(FieldKind kind, std::uint64_t size) {
  switch (kind) {
    case FieldKind::boolean:
    case FieldKind::character:
      return size == 1;
    case FieldKind::signedInteger:
    case FieldKind::unsignedInteger:
      return size == 1 || size == 2 || size == 4 || size == 8;
    case FieldKind::floating:
      return size == sizeof(float) || size == sizeof(double);
    case FieldKind::identifier:
    case FieldKind::reference:
    case FieldKind::array:
      return size == sizeof(psId);
    case FieldKind::structure:
    case FieldKind::opaque:
      break;
  }
  return true;
}

std::string kindText(const FieldShape& field) {
  const std::string bits = std::to_string(8 * field.size);
  switch (field.kind) {
    case FieldKind::boolean:
      return "bool";
    case FieldKind::character:
      return "char";
    case FieldKind::signedInteger:
      return "int" + bits;
    case FieldKind::unsignedInteger:
      return "uint" + bits;
    case FieldKind::floating:
      return "float" + bits;
    case FieldKind::identifier:
      return "identifier";
    case FieldKind::reference:
      return "reference";
    case FieldKind::array:
      return "array of " + (field.parts.empty() ? "?" : kindText(field.parts.front()));
    case FieldKind::structure:
      return field.structure + " (version " + std::to_string(field.version) + ") " + text(field.parts);
    case FieldKind::opaque:
      break;
  }
  return std::to_string(field.size) + " bytes";
}

std::vector<std::string> namesIn(const FormerNames& names) {
  std::vector<std::string> found;
  for (const std::string_view name : names) {
    if (!name.empty()) found.emplace_back(name);
  }
  return found;
}

FieldShape::FieldShape(const Field& field)
    : name(field.name),
      formerNames(namesIn(field.formerNames)),
      kind(field.kind),
      offset(field.offset),
      size(field.size),
      count(field.count) {
  if (kind == FieldKind::structure) {
    FieldShape all(*field.structure);
    structure = std::move(all.structure);
    formerStructures = std::move(all.formerStructures);
    version = all.version;
    parts = std::move(all.parts);
  }
  if (kind == FieldKind::array) {
    FieldShape elements;
    if (field.structure != nullptr) elements = FieldShape(*field.structure);
    elements.kind = field.element;
    elements.size = field.elementSize;
    parts.push_back(std::move(elements));
  }
}

FieldShape::FieldShape(const Structure& described)
    : kind(FieldKind::structure),
      size(described.size),
      structure(described.name),
      formerStructures(namesIn(described.version.formerNames)),
      version(described.version.number) {
  for (std::uint32_t i = 0; i < described.count; ++i) parts.emplace_back(described.fields[i]);
}

bool ClassShape::isDescribed() const {
  return std::any_of(levels.begin(), levels.end(),
                     [](const ClassLevel& level) { return level.version != 0 || !level.fields.empty(); });
}

const ClassLevel* ClassShape::level(unsigned int number) const {
  const auto found =
      std::find_if(levels.begin(), levels.end(), [number](const ClassLevel& level) { return level.number == number; });
  return found != levels.end() ? &*found : nullptr;
}

std::uint64_t ClassShape::members() const {
  std::uint64_t sum = order.keys.size();
  for (const ClassLevel& level : levels) sum += partsOf(level.fields);
  return sum;
}

std::string ClassShape::encode() const {
  std::string bytes;
  appendNumber(bytes, size);
  appendNumber(bytes, alignment);
  appendNumber(bytes, version());
  appendNumber(bytes, std::uint32_t{base});
  appendFields(bytes, levels.front().fields);
  if (!isDescribed() && order.keys.empty()) return bytes;
  appendNumber(bytes, static_cast<std::uint16_t>(levels.size() - 1));
  for (std::size_t i = 1; i < levels.size(); ++i) {
    appendNumber(bytes, std::uint32_t{levels[i].number});
    appendNumber(bytes, levels[i].version);
    appendFields(bytes, levels[i].fields);
  }
  if (!order.keys.empty()) appendOrder(bytes, order);
  return bytes;
}

bool ClassShape::decode(std::string_view bytes, unsigned int number) {
  RecordReader reader(bytes);
  FieldsReader fields(reader);
  size = reader.number<std::uint32_t>();
  alignment = reader.number<std::uint32_t>();
  ClassLevel own;
  own.number = number;
  own.version = reader.number<std::uint32_t>();
  base = reader.number<std::uint32_t>();
  bool isRead = fields.read(own.fields);
  levels.clear();
  levels.push_back(std::move(own));
  if (isRead && !reader.isAtEnd()) {
    for (std::uint32_t n = reader.number<std::uint16_t>(); n > 0 && isRead; --n) {
      ClassLevel level;
      level.number = reader.number<std::uint32_t>();
      level.version = reader.number<std::uint32_t>();
      isRead = fields.read(level.fields);
      levels.push_back(std::move(level));
    }
  }
  order = {};
  if (isRead && !reader.isAtEnd()) isRead = number != storageType && readOrder(reader, order);
  return isRead && reader.isSound() && reader.isAtEnd() && isSound(number);
}

bool ClassShape::isSound(unsigned int number) const {
  // The virtual table pointer of an object is no field.
  const std::uint64_t begin = number == storageType ? 0 : sizeof(void*);
  return size >= std::max<std::uint64_t>(begin, 1) &&
         std::all_of(levels.begin(), levels.end(), [this, begin](const ClassLevel& level) {
           return areWithin(level.fields, begin, size) && partsOf(level.fields) <= mostParts;
         });
}

std::string ClassShape::text() const {
  std::string result = "version " + std::to_string(version()) + ", " + std::to_string(size) + " bytes";
  for (const ClassLevel& level : levels) {
    if (&level != &levels.front()) result += ", base class number " + std::to_string(level.number);
    result += level.fields.empty() ? " without a description" : " " + detail::text(level.fields);
  }
  return result;
}

ShapeRelation relate(const ClassShape& stored, const ClassShape& program) {
  ShapeRelation relation;
  const Versions ours = versionsIn(program);
  for (const auto& [what, version] : versionsIn(stored)) {
    const auto mine = ours.find(what);
    if (mine == ours.end() || mine->second == version) continue;
    relation.isOlder |= version < mine->second;
    if (version < mine->second) continue;
    relation.isNewer = true;
    relation.newer = what + " has version " + std::to_string(version) + " in the store and version " +
                     std::to_string(mine->second) + " in this program";
  }
  relation.hasSameFields = stored.size == program.size && stored.base == program.base &&
                           std::equal(stored.levels.begin(), stored.levels.end(), program.levels.begin(),
                                      program.levels.end(), [](const ClassLevel& a, const ClassLevel& b) {
                                        return a.number == b.number && isSame(a.fields, b.fields);
                                      });
  return relation;
}

}  // namespace ps::detail
