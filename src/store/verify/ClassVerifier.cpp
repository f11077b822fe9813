#include "store/verify/ClassVerifier.h"

#include <algorithm>

#include "store/base/ClassNumbers.h"
#include "store/engine/StoreKey.h"
#include "store/verify/ArraySearch.h"
#include "store/verify/ContentChecker.h"

namespace ps::detail {

namespace {

constexpr unsigned int generationRecord = 0;
constexpr std::size_t keySize = 5;
// A class has fewer bases. What goes in a circle ends here.
constexpr int mostBases = 64;

std::string classText(unsigned int number) { return "class number " + std::to_string(number); }

}  // namespace

void ClassVerifier::verifyRecord(std::string_view key) {
  if (key.size() != keySize)
    return findings_.fault(psFindingKind::classes, psId(), "a record of a class has a malformed key");
  const unsigned int number = static_cast<unsigned int>(StoreKey::numberAt(key, 1)) << 16 | StoreKey::numberAt(key, 3);
  const StoredClass& found = stored(number);
  if (!found.isSound)
    return findings_.fault(psFindingKind::classes, psId(), "the record of " + classText(number) + " is damaged");
  if (number == generationRecord) return;
  ++findings_.report().classes;
  const bool isDecoded = std::all_of(found.layouts.begin(), found.layouts.end(),
                                     [](const StoredClass::Layout& layout) { return layout.isSound; });
  if (!isDecoded)
    return findings_.fault(psFindingKind::classes, psId(), "the description of " + classText(number) + " is damaged");
  for (const StoredClass::Layout& layout : found.layouts) members_ += layout.shape.members();
  if (members_ > mostMembersInStore)
    findings_.fault(psFindingKind::classes, psId(),
                    "the descriptions of classes up to " + classText(number) + " have too many members");
}

const StoredClass& ClassVerifier::stored(unsigned int number) {
  const auto known = stored_.find(number);
  return known != stored_.end() ? known->second : stored_.emplace(number, classes_.stored(number)).first->second;
}

// Null when the store does not describe the layout.
const ClassShape* ClassVerifier::layoutOf(unsigned int number, std::uint16_t layout) {
  const StoredClass& found = stored(number);
  if (layout == 0 || layout > found.layouts.size()) return nullptr;
  const StoredClass::Layout& described = found.layouts[layout - 1U];
  return described.isSound && described.shape.size != 0 ? &described.shape : nullptr;
}

const VerifiedForm& ClassVerifier::formOf(std::uint32_t type, std::uint16_t layout, std::uint32_t size) {
  static const VerifiedForm plainStorage;
  if (type == storageType && layout == 0) return plainStorage;
  if (members_ > mostMembersInStore) return unread_;
  const FormKey key{type, size, layout};
  const bool isLast = last_ != nullptr && lastKey_.type == type && lastKey_.size == size && lastKey_.layout == layout;
  if (isLast) return *last_;
  auto known = forms_.find(key);
  if (known == forms_.end()) known = forms_.emplace(key, makeForm(key)).first;
  last_ = &known->second;
  lastKey_ = key;
  return *last_;
}

VerifiedForm ClassVerifier::makeForm(const FormKey& key) {
  VerifiedForm form;
  if (isStorage(key.type))
    describeStorage(key, form);
  else
    describeObject(key, form);
  return form;
}

void ClassVerifier::describeStorage(const FormKey& key, VerifiedForm& form) {
  if (key.layout == 0) return;
  const ClassShape* const elements = layoutOf(storageType, key.layout);
  const ObjectForm& inProgram = classes_.formOf(key.type, key.layout, key.size);
  if (elements == nullptr || inProgram.refusal.kind == psErrorKind::damaged)
    form.fault = "is an array whose elements the store does not describe";
  else if (key.size % elements->size != 0)
    form.fault = "is an array that ends within an element";
  else if (!inProgram.isUsable())
    form.unchecked = "is " + inProgram.refusal.text;
}

void ClassVerifier::describeObject(const FormKey& key, VerifiedForm& form) {
  const ClassInfo* info = TypeRegistry::instance().find(key.type);
  if (info != nullptr && info->virtualTable == 0) info = nullptr;
  const ClassShape* const shape = layoutOf(key.type, key.layout);
  if (key.layout != 0 && (shape == nullptr || shape->size != key.size)) {
    form.fault = "is of " + classText(key.type) + ", in a layout that the store does not describe";
    return;
  }
  const ObjectForm& inProgram = classes_.formOf(key.type, key.layout, key.size);
  if (info != nullptr && !inProgram.isUsable()) {
    std::string& reason = key.type <= psHighestLibraryTypeN ? form.fault : form.unchecked;
    reason = "is " + inProgram.refusal.text;
  } else if (info == nullptr) {
    form.unchecked = "is of " + classText(key.type) + ", which this program does not register";
  }
  const ContentChecker* const checker = ContentChecker::instance();
  const bool isOpened = info != nullptr && inProgram.isUsable();
  form.isWhole = isOpened && checker != nullptr && checker->isWhole(key.type);
  form.isPart = isOpened && checker != nullptr && checker->isPart(key.type);
  form.isForeignWhole = !isOpened && isPerhapsWhole(key.type);
  findArrays(shape, isOpened && inProgram.change == nullptr ? info : nullptr, key, form);
}

// info is that of a class whose objects are in memory as they are stored.
void ClassVerifier::findArrays(const ClassShape* shape, const ClassInfo* info, const FormKey& key, VerifiedForm& form) {
  if (info != nullptr) {
    form.arrays = info->arrayOffsets;
    form.mayHideArrays = info->hidesArrays;
  } else if (shape != nullptr && shape->isDescribed()) {
    findArraysIn(*shape, form);
  } else {
    form.mayHideArrays = true;
  }
  std::sort(form.arrays.begin(), form.arrays.end());
  form.arrays.erase(std::unique(form.arrays.begin(), form.arrays.end()), form.arrays.end());
  const bool areWithin = std::all_of(form.arrays.begin(), form.arrays.end(), [&key](std::uint32_t offset) {
    return offset >= sizeof(void*) && offset + sizeof(psId) <= key.size;
  });
  if (!areWithin) form.fault = "is of " + classText(key.type) + ", whose description has an array beyond its objects";
}

void ClassVerifier::findArraysIn(const ClassShape& shape, VerifiedForm& form) {
  ArraySearch search(form.arrays, form.mayHideArrays);
  for (const ClassLevel& level : shape.levels) search.search(level);
}

// Whether a class that this program cannot open derives from one whose objects are wholes, or may do so.
bool ClassVerifier::isPerhapsWhole(unsigned int number) {
  const ContentChecker* const checker = ContentChecker::instance();
  if (checker == nullptr) return false;
  for (int i = 0; i < mostBases && number != objectTypeN; ++i) {
    if (TypeRegistry::instance().find(number) != nullptr) return checker->isWhole(number);
    const StoredClass& found = stored(number);
    if (found.layouts.empty()) return true;
    const ClassShape& shape = found.layouts.back().shape;
    if (shape.isDescribed()) {
      return std::any_of(shape.levels.begin(), shape.levels.end(), [checker](const ClassLevel& level) {
        return TypeRegistry::instance().find(level.number) != nullptr && checker->isWhole(level.number);
      });
    }
    number = shape.base;
  }
  return number != objectTypeN;
}

}  // namespace ps::detail
