#include "inspect/ForeignClasses.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "core/psCollection.h"
#include "inspect/DescribedOrder.h"
#include "store/cache/Frame.h"
#include "store/session/SessionCore.h"
#include "store/verify/ArraySearch.h"

namespace ps::detail {

namespace {

// A class has fewer bases. What goes in a circle ends here.
constexpr int mostBases = 64;
constexpr std::uint32_t highestAlignment = 16;
constexpr std::uint64_t mostInitialBytes = std::uint64_t{1} << 26;  // of all classes; a forged one can be very large

// Behaves as an object of which nothing is known but its fields.
class PlainObject final : public psObj {
 public:
  PlainObject() = default;
};

std::uint64_t virtualTableOfPlainObjects() {
  const PlainObject plain;
  std::uint64_t virtualTable = 0;
  std::memcpy(&virtualTable, static_cast<const void*>(&plain), sizeof virtualTable);
  return virtualTable;
}

bool hasFields(const std::vector<ClassLevel>& levels) {
  return std::any_of(levels.begin(), levels.end(), [](const ClassLevel& level) { return !level.fields.empty(); });
}

// Whether a class that the process has keeps the same at one level of base classes as the objects that derive from it.
bool agree(const ClassLevel& stored, const ClassLevel& program) {
  if (stored.version != program.version) return false;
  const bool isKept = std::all_of(stored.fields.begin(), stored.fields.end(),
                                  [](const FieldShape& field) { return field.kind == FieldKind::opaque; });
  if (program.fields.empty() && isKept) return true;
  ClassShape a;
  ClassShape b;
  a.levels.push_back(stored);
  b.levels.push_back(program);
  return relate(a, b).hasSameFields;
}

bool agree(const ClassShape& stored, const ClassInfo& base) {
  const ClassShape program = TypeRegistry::instance().layoutOf(base).shape;
  if (stored.levels.size() == 1) return !program.isDescribed();
  return std::all_of(program.levels.begin(), program.levels.end(), [&stored](const ClassLevel& level) {
    const ClassLevel* const found = stored.level(level.number);
    return found != nullptr && agree(*found, level);
  });
}

// One attempt to register what a store has.
class Adoption {
 public:
  explicit Adoption(ClassTable& classes) : classes_(classes) {}

  bool run(std::vector<unsigned int>& adopted);
  bool runForCollections();
  const StoreError& error() const { return error_; }

 private:
  bool readAll();
  bool isCollection(unsigned int number) const;
  const ClassInfo* find(unsigned int number, int depth);
  const ClassInfo* make(unsigned int number, const StoredClass& found, const ClassShape& shape, int depth);
  bool findBase(const ClassShape& shape, std::size_t level, int depth, const ClassInfo*& base);
  const ClassInfo* makeNameless(const ClassShape& shape, std::size_t level, int depth);
  static bool derive(const ClassShape& shape, const ClassInfo* base, ClassInfo& info);
  static void findArrays(const ClassShape& shape, const ClassInfo* base, ClassInfo& info);
  bool canOrder(const OrderShape& order) const;
  const ClassInfo* add(ClassInfo info);
  void adoptOrder(unsigned int number, const StoredClass& found);

  ClassTable& classes_;
  std::map<unsigned int, StoredClass> stored_;
  std::vector<unsigned int> adopted_;
  std::uint64_t initialBytes_ = 0;
  StoreError error_;
};

// Null when no object of the class is left, or its newest layout is damaged.
const ClassShape* newestLayout(const StoredClass& found) {
  const auto newest = std::find_if(found.layouts.rbegin(), found.layouts.rend(), [](const StoredClass::Layout& layout) {
    return !layout.isSound || layout.shape.size != 0;
  });
  return newest != found.layouts.rend() && newest->isSound ? &newest->shape : nullptr;
}

bool Adoption::run(std::vector<unsigned int>& adopted) {
  if (!readAll()) return false;
  for (const auto& known : stored_) find(known.first, 0);
  // The classes of elements are known now.
  for (const auto& [number, found] : stored_) adoptOrder(number, found);
  adopted = adopted_;
  return true;
}

bool Adoption::runForCollections() {
  if (!readAll()) return false;
  for (const auto& known : stored_) {
    if (isCollection(known.first)) find(known.first, 0);
  }
  return true;
}

bool Adoption::isCollection(unsigned int number) const {
  for (int i = 0; i < mostBases && number > psHighestLibraryTypeN; ++i) {
    const auto found = stored_.find(number);
    const ClassShape* const newest = found != stored_.end() ? newestLayout(found->second) : nullptr;
    if (newest == nullptr) return false;
    number = newest->base;
  }
  return TypeRegistry::instance().isKindOf(number, psCollection::pstTypeN);
}

bool Adoption::readAll() {
  std::vector<unsigned int> numbers;
  std::uint64_t members = 0;
  if (!classes_.list(numbers)) {
    error_ = classes_.error();
    return false;
  }
  for (const unsigned int number : numbers) {
    StoredClass found = classes_.stored(number);
    for (const StoredClass::Layout& layout : found.layouts) members += layout.shape.members();
    if (members > mostMembersInStore) {
      error_ = {psErrorKind::damaged,
                "the descriptions of classes have too many members; restore the store from a backup"};
      return false;
    }
    if (found.isSound) stored_.emplace(number, std::move(found));
  }
  return true;
}

// The class as the process knows it by now; null when it stays unknown.
const ClassInfo* Adoption::find(unsigned int number, int depth) {
  const ClassInfo* const known = TypeRegistry::instance().find(number);
  if (known != nullptr || number <= psHighestLibraryTypeN || depth > mostBases) return known;
  const auto found = stored_.find(number);
  if (found == stored_.end()) return nullptr;
  const ClassShape* const newest = newestLayout(found->second);
  return newest != nullptr ? make(number, found->second, *newest, depth) : nullptr;
}

const ClassInfo* Adoption::make(unsigned int number, const StoredClass& found, const ClassShape& shape, int depth) {
  const bool isAligned = shape.alignment != 0 && shape.alignment <= highestAlignment &&
                         (shape.alignment & (shape.alignment - 1)) == 0 && shape.size % alignof(void*) == 0;
  const ClassInfo* base = nullptr;
  ClassInfo info;
  info.number = number;
  info.name = found.name;
  if (!isAligned || found.name.empty() || !findBase(shape, 1, depth, base) || !derive(shape, base, info))
    return nullptr;
  return add(std::move(info));
}

// Whether it is known what the class at one level of a layout derives from; base is null for psObj.
bool Adoption::findBase(const ClassShape& shape, std::size_t level, int depth, const ClassInfo*& base) {
  const bool isListed = level < shape.levels.size();
  const unsigned int number = isListed ? shape.levels[level].number : level == 1 ? shape.base : objectTypeN;
  if (level == 1 && number != shape.base) return false;
  base = nullptr;
  if (number == objectTypeN) return true;
  base = find(number, depth + 1);
  if (base == nullptr && isListed) base = makeNameless(shape, level, depth + 1);
  return base != nullptr;
}

// A base class that has no objects of its own in the store: it is known by what derives from it.
const ClassInfo* Adoption::makeNameless(const ClassShape& shape, std::size_t level, int depth) {
  const unsigned int number = shape.levels[level].number;
  const ClassInfo* base = nullptr;
  if (number <= psHighestLibraryTypeN || depth > mostBases || stored_.count(number) != 0 ||
      !findBase(shape, level + 1, depth, base))
    return nullptr;
  ClassInfo info;
  info.number = number;
  info.base = base != nullptr ? base->number : objectTypeN;
  info.size = sizeof(void*);
  info.alignment = alignof(void*);
  info.relocation = psRelocation::refused;
  info.levels.assign(shape.levels.begin() + static_cast<std::ptrdiff_t>(level), shape.levels.end());
  info.stored = std::make_shared<const ClassShape>(ClassShape{info.size, info.alignment, info.base, info.levels, {}});
  return add(std::move(info));
}

// What an object is like whose class derives from base, or from psObj when that is null. False when this process cannot
// tell.
bool Adoption::derive(const ClassShape& shape, const ClassInfo* base, ClassInfo& info) {
  const TypeRegistry& registry = TypeRegistry::instance();
  const ClassInfo* nearest = base;  // with a virtual table
  while (nearest != nullptr && nearest->virtualTable == 0 && !nearest->isOfProgram())
    nearest = registry.find(nearest->base);
  const ClassInfo* program = nearest;
  while (program != nullptr && !program->isOfProgram()) program = registry.find(program->base);
  if (nearest != nullptr && (nearest->virtualTable == 0 || nearest->size > shape.size)) return false;
  if (program != nullptr && (program->number <= federationTypeN || !agree(shape, *program))) return false;
  if (base != nullptr && registry.isKindOf(base->number, comparatorTypeN)) return false;  // see adoptOrder
  info.base = base != nullptr ? base->number : objectTypeN;
  info.size = shape.size;
  info.alignment = shape.alignment;
  info.relocation = psRelocation::refused;
  info.virtualTable = nearest != nullptr ? nearest->virtualTable : virtualTableOfPlainObjects();
  info.levels = shape.levels;
  info.stored = std::make_shared<const ClassShape>(shape);
  findArrays(shape, nearest, info);
  return true;
}

void Adoption::findArrays(const ClassShape& shape, const ClassInfo* base, ClassInfo& info) {
  if (!hasFields(shape.levels)) {
    if (base != nullptr) info.arrayOffsets = base->arrayOffsets;
    info.hidesArrays =
        shape.size > (base != nullptr ? base->size : sizeof(psObj)) || (base != nullptr && base->hidesArrays);
    return;
  }
  ArraySearch search(info.arrayOffsets, info.hidesArrays);
  for (const ClassLevel& level : shape.levels) {
    if (!level.fields.empty()) search.search(level);
  }
}

// Adds what is not there yet, unless the number is none that it can have.
const ClassInfo* Adoption::add(ClassInfo info) {
  const unsigned int number = info.number;
  initialBytes_ += info.size;
  if (initialBytes_ > mostInitialBytes) return nullptr;
  info.initial.assign(info.size, '\0');
  if (!TypeRegistry::instance().add(std::move(info), TypeRegistry::Owner::application).empty()) return nullptr;
  adopted_.push_back(number);
  return TypeRegistry::instance().find(number);
}

// Whether the keys are known in all objects that can be elements, also in those that are stored in older layouts. There
// may be none.
bool Adoption::canOrder(const OrderShape& order) const {
  const bool areMembers =
      std::none_of(order.keys.begin(), order.keys.end(), [](const KeyShape& key) { return key.field.empty(); });
  const bool isUnread = stored_.count(order.elements) != 0 && TypeRegistry::instance().find(order.elements) == nullptr;
  if (order.keys.empty() || !areMembers || isUnread) return false;
  return std::all_of(stored_.begin(), stored_.end(), [&order](const auto& known) {
    const std::vector<StoredClass::Layout>& layouts = known.second.layouts;
    return std::all_of(layouts.begin(), layouts.end(), [&order](const StoredClass::Layout& layout) {
      const bool isElement = layout.isSound && layout.shape.size != 0 && layout.shape.level(order.elements) != nullptr;
      return !isElement || !placesOf(order, layout.shape.levels).empty();
    });
  });
}

void Adoption::adoptOrder(unsigned int number, const StoredClass& found) {
  const ClassShape* const newest = newestLayout(found);
  const ClassInfo* const order = TypeRegistry::instance().find(DescribedOrder::pstTypeN);
  if (newest == nullptr || TypeRegistry::instance().find(number) != nullptr || newest->base != comparatorTypeN ||
      newest->size != sizeof(DescribedOrder) || !canOrder(newest->order))
    return;
  ClassInfo info;
  info.number = number;
  info.name = found.name;
  info.base = comparatorTypeN;
  info.size = newest->size;
  info.alignment = newest->alignment;
  info.relocation = psRelocation::refused;
  info.virtualTable = order->virtualTable;
  info.levels = newest->levels;
  info.order = newest->order;
  info.stored = std::make_shared<const ClassShape>(*newest);
  add(std::move(info));
}

}  // namespace

bool adoptForeignClasses(SessionCore& session, std::vector<unsigned int>& adopted) {
  adopted.clear();
  if (!session.isReadyFor("adopting classes")) return false;
  ClassTable& classes = session.cache().classes();
  if (!classes.usesStoredClasses()) {
    return session.fail(psErrorKind::usage,
                        "classes can be adopted from a store only in a session that cannot change it; open it with the "
                        "option readOnly");
  }
  Adoption adoption(classes);
  if (!adoption.run(adopted)) return session.fail(adoption.error());
  // What could not be read so far is loaded again.
  session.cache().dropAll();
  dropAllNotes();
  return true;
}

bool adoptForeignCollections(SessionCore& session) {
  ClassTable& classes = session.cache().classes();
  classes.useStoredClasses(true);
  Adoption adoption(classes);
  return adoption.runForCollections() || session.fail(adoption.error());
}

}  // namespace ps::detail
