#include "store/schema/LayoutChange.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "store/schema/StoredNumber.h"
#include "store/schema/psOldObject.h"

namespace ps::detail {

namespace {

// The older field that a field continues; null when the field is new.
const FieldShape* predecessor(const std::vector<FieldShape>& before, const FieldShape& field) {
  const auto named = [&before](const std::string& name) -> const FieldShape* {
    const auto found =
        std::find_if(before.begin(), before.end(), [&name](const FieldShape& old) { return old.name == name; });
    return found != before.end() ? &*found : nullptr;
  };
  const FieldShape* found = named(field.name);
  for (const std::string& former : field.formerNames) {
    if (found == nullptr) found = named(former);
  }
  return found;
}

bool isSameStructure(const FieldShape& before, const FieldShape& after) {
  const std::vector<std::string>& former = after.formerStructures;
  return before.structure == after.structure ||
         std::find(former.begin(), former.end(), before.structure) != former.end();
}

bool isReference(const FieldShape& field) {
  return field.kind == FieldKind::identifier || field.kind == FieldKind::reference;
}

// Whether each value of one integer type is one of the other.
bool isWider(const FieldShape& before, const FieldShape& after) {
  if (after.kind == FieldKind::boolean) return before.kind == FieldKind::boolean;
  if (isUnsigned(before.kind)) return isUnsigned(after.kind) ? after.size >= before.size : after.size > before.size;
  return !isUnsigned(after.kind) && after.size >= before.size;
}

// Whether a floating number of so many bytes has each value of an integer type.
bool isExact(const FieldShape& before, const FieldShape& after) {
  return after.size == sizeof(double) ? before.size <= 4 : before.size <= 2;
}

std::string change(const FieldShape& before, const FieldShape& after, const char* rule) {
  const auto shape = [](const FieldShape& field) {
    ClassShape all;
    all.levels.push_back({0, 0, {field}});
    all.levels.front().fields.front().name.clear();
    const std::string text = all.text();
    const std::size_t begin = text.find('{') + 1;
    return text.substr(begin, text.rfind('}') - begin);
  };
  return "the field \"" + after.name + "\" was " + shape(before) + " and is " + shape(after) + ": " + rule;
}

bool isOpaque(const ClassLevel& level) {
  return level.fields.size() == 1 && level.fields.front().kind == FieldKind::opaque;
}

}  // namespace

std::unique_ptr<const LayoutChange> LayoutChange::plan(const ClassShape& stored, const NewLayout& now,
                                                       std::string& reason) {
  std::unique_ptr<LayoutChange> change(new LayoutChange(stored, now));
  for (const Conversion& conversion : now.conversions) {
    if (conversion.from >= stored.version() && conversion.from < now.shape.version())
      change->conversions_.push_back(conversion);
  }
  change->isTrivial_ = relate(stored, now.shape).hasSameFields && change->conversions_.empty();
  if (change->isTrivial_) return change;
  for (const ClassLevel& after : now.shape.levels) {
    const ClassLevel* const before = stored.level(after.number);
    if (before != nullptr && !change->planLevel(*before, after, reason)) return nullptr;
  }
  for (const ClassLevel& before : stored.levels) {
    if (now.shape.level(before.number) == nullptr) change->noteDropped(before.fields, 0);
  }
  return change;
}

bool LayoutChange::planLevel(const ClassLevel& before, const ClassLevel& after, std::string& reason) {
  if (isOpaque(before) || isOpaque(after)) return planOpaque(before, after, reason);
  std::string uncovered;
  // What no rule covers is left to the functions of the application.
  if (planFields(before.fields, after.fields, {0, 0}, uncovered) || runsFunctions()) return true;
  reason = uncovered;
  return false;
}

// A class without a description, before or now, can only keep its bytes.
bool LayoutChange::planOpaque(const ClassLevel& before, const ClassLevel& after, std::string& reason) {
  const FieldShape& opaque = isOpaque(before) ? before.fields.front() : after.fields.front();
  const std::vector<FieldShape>& others = isOpaque(before) ? after.fields : before.fields;
  const bool keeps =
      before.version == after.version && std::all_of(others.begin(), others.end(), [&opaque](const FieldShape& field) {
        return field.offset >= opaque.offset && field.offset + field.bytes() <= opaque.offset + opaque.size &&
               (field.kind != FieldKind::opaque || field.size == opaque.size);
      });
  if (keeps) {
    for (const FieldShape& field : others) copy({field.offset, field.offset}, field.bytes());
    return true;
  }
  reason = "class number " + std::to_string(after.number) +
           " has changed and has no description: name its members in PS_FIELDS before they change";
  return false;
}

bool LayoutChange::planFields(const std::vector<FieldShape>& before, const std::vector<FieldShape>& after,
                              Places places, std::string& reason) {
  bool isCovered = true;
  std::vector<const FieldShape*> continued;
  for (const FieldShape& field : after) {
    const FieldShape* const old = predecessor(before, field);
    if (old == nullptr) continue;
    continued.push_back(old);
    isCovered &= planField(*old, field, {places.from + old->offset, places.to + field.offset}, reason);
  }
  for (const FieldShape& old : before) {
    if (std::find(continued.begin(), continued.end(), &old) == continued.end()) noteDropped({old}, places.from);
  }
  return isCovered;
}

bool LayoutChange::planField(const FieldShape& before, const FieldShape& after, Places places, std::string& reason) {
  if (after.count < before.count) {
    reason = change(before, after, "an array can only grow");
    return false;
  }
  if (before.kind == FieldKind::array && after.kind == FieldKind::array)
    return planElements(before, after, places, reason);
  if (before.kind == FieldKind::structure && after.kind == FieldKind::structure) {
    bool isCovered = true;
    for (std::uint32_t i = 0; i < before.count; ++i) {
      isCovered &=
          planFields(before.parts, after.parts, {places.from + i * before.size, places.to + i * after.size}, reason);
    }
    return isCovered;
  }
  if ((isReference(before) && isReference(after)) || (before.kind == after.kind && before.size == after.size)) {
    copy(places, before.bytes());
    return true;
  }
  if (planNumbers(before, after, places)) return true;
  noteDropped({before}, places.from - before.offset);
  reason = change(before, after, "numbers can only be widened, and nothing else changes its kind");
  return false;
}

// The storage of an array says itself what its elements are, if they are structures. All others stay what they are.
bool LayoutChange::planElements(const FieldShape& before, const FieldShape& after, Places places, std::string& reason) {
  const FieldShape none;
  const FieldShape& old = before.parts.empty() ? none : before.parts.front();
  const FieldShape& now = after.parts.empty() ? none : after.parts.front();
  const bool areStructures = old.kind == FieldKind::structure && now.kind == FieldKind::structure;
  if (areStructures ? isSameStructure(old, now)
                    : (old.kind == now.kind || (isReference(old) && isReference(now))) && old.size == now.size) {
    copy(places, before.bytes());
    return true;
  }
  noteDropped({before}, places.from - before.offset);
  reason = change(before, after, "the elements of an array stay what they are, but for the members of structures");
  return false;
}

bool LayoutChange::planNumbers(const FieldShape& before, const FieldShape& after, Places places) {
  Step step{Step::Kind::integer, before.kind, places.from, places.to, before.size, after.size, before.count};
  if (isInteger(before.kind) && isInteger(after.kind) && isWider(before, after)) {
    steps_.push_back(step);
    return true;
  }
  if (after.kind != FieldKind::floating) return false;
  step.kind = before.kind == FieldKind::floating ? Step::Kind::floating : Step::Kind::integerToFloating;
  const bool fits =
      before.kind == FieldKind::floating ? after.size >= before.size : isInteger(before.kind) && isExact(before, after);
  if (fits) steps_.push_back(step);
  return fits;
}

void LayoutChange::noteDropped(const std::vector<FieldShape>& fields, std::uint32_t offset) {
  for (const FieldShape& field : fields) {
    for (std::uint32_t i = 0; i < field.count; ++i) {
      const std::uint32_t at = offset + field.offset + i * field.size;
      if (field.kind == FieldKind::array) droppedArrays_.push_back(at);
      if (field.kind == FieldKind::structure) noteDropped(field.parts, at);
      if (field.kind != FieldKind::array && field.kind != FieldKind::structure) break;
    }
  }
}

void LayoutChange::copy(Places places, std::uint32_t bytes) {
  if (!steps_.empty()) {
    Step& last = steps_.back();
    if (last.kind == Step::Kind::copy && last.from + last.count == places.from && last.to + last.count == places.to) {
      last.count += bytes;
      return;
    }
  }
  steps_.push_back({Step::Kind::copy, FieldKind::opaque, places.from, places.to, 1, 1, bytes});
}

bool LayoutChange::apply(const char* stored, std::size_t omitted, char* now, std::string& complaint) const {
  const char* const old = stored - omitted;
  std::memcpy(now, now_.initial.data(), now_.initial.size());
  for (const Step& step : steps_) run(step, old + step.from, now + step.to);
  return conversions_.empty() || runConversions(old, now, complaint);
}

void LayoutChange::run(const Step& step, const char* from, char* to) {
  if (step.kind == Step::Kind::copy) {
    std::memcpy(to, from, step.count);
    return;
  }
  for (std::uint32_t i = 0; i < step.count; ++i, from += step.sizeBefore, to += step.sizeAfter) {
    if (step.kind == Step::Kind::integer) {
      const std::uint64_t value = integerAt(from, step.number, step.sizeBefore);
      std::memcpy(to, &value, step.sizeAfter);
      continue;
    }
    const double value =
        step.kind == Step::Kind::floating ? floatingAt(from, step.sizeBefore)
        : isUnsigned(step.number)
            ? static_cast<double>(integerAt(from, step.number, step.sizeBefore))
            : static_cast<double>(static_cast<std::int64_t>(integerAt(from, step.number, step.sizeBefore)));
    const auto narrow = static_cast<float>(value);
    if (step.sizeAfter == sizeof value)
      std::memcpy(to, &value, sizeof value);
    else
      std::memcpy(to, &narrow, sizeof narrow);
  }
}

bool LayoutChange::runConversions(const char* old, char* now, std::string& complaint) const {
  const psOldObject before(stored_, old);
  try {
    for (const Conversion& conversion : conversions_) conversion.run(before, now, conversion.function);
    complaint = before.complaint();
  } catch (const std::bad_alloc&) {
    throw;  // not for lack of a rule: another time the object can be converted
  } catch (const std::exception& error) {
    complaint = std::string("its function threw: ") + error.what();
  } catch (...) {
    complaint = "its function threw something that is no std::exception";
  }
  return complaint.empty();
}

}  // namespace ps::detail
