#include "inspect/DescribedOrder.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>
#include <variant>

#include "inspect/psOrderKeys.h"
#include "store/cache/Frame.h"
#include "store/schema/StoredNumber.h"
#include "store/session/SessionCore.h"
#include "typed/Order.h"
#include "typed/View.h"

namespace ps::detail {

namespace {

// A key of an element, as it is compared.
using KeyView = std::variant<std::int64_t, std::uint64_t, double, std::string_view, psId>;

KeyView viewOf(const psKeyValue& value) {
  return std::visit([](const auto& held) -> KeyView { return held; }, value);
}

std::string_view textAt(const char* place, const KeyPlace& key) {
  if (key.kind == FieldKind::character) return {place, strnlen(place, key.size)};
  return View<pstVArray<char>>::of(*reinterpret_cast<const pstVArray<char>*>(place));
}

KeyView viewIn(const psObj& element, const KeyPlace& key) {
  const char* const place = reinterpret_cast<const char*>(&element) + key.offset;
  if (key.isText) return textAt(place, key);
  switch (key.kind) {
    case FieldKind::boolean:
      return std::uint64_t{*place != 0};
    case FieldKind::unsignedInteger:
      return integerAt(place, key.kind, key.size);
    case FieldKind::floating:
      return floatingAt(place, key.size);
    case FieldKind::identifier:
    case FieldKind::reference: {
      psId id;
      std::memcpy(static_cast<void*>(&id), place, sizeof id);
      return id;
    }
    default:
      return static_cast<std::int64_t>(integerAt(place, key.kind, key.size));
  }
}

// Both are of one kind.
int compareKeys(const KeyView& a, const KeyView& b, bool descends) {
  const int result =
      std::visit([&b](const auto& view) { return compareViews(view, std::get<std::decay_t<decltype(view)>>(b)); }, a);
  return descends ? -result : result;
}

std::uint64_t withHash(std::uint64_t hash, const KeyView& key) {
  return mixed(hash ^ std::visit([](const auto& view) { return hashOfView(view); }, key));
}

int resultOf(std::uint64_t hash) { return static_cast<int>(hash >> 32); }

// For a comparison that has no answer. Nobody uses the result.
int refuse(const char* what) {
  if (SessionCore* const session = SessionCore::current()) session->refuse(psErrorKind::usage, std::string(what));
  return 0;
}

// What f makes of an element; 0 when it cannot be opened, or something is refused. A comparator must not throw.
template <class F>
int answer(const pstHandle<psObj>& element, F f) {
  const psObj* const opened = element.operator->();
  if (opened == nullptr) return 0;
  try {
    return f(*opened);
  } catch (...) {
    noteRefusal();
    return 0;
  }
}

bool isOneText(const FieldShape& field) {
  return field.kind == FieldKind::array && field.count == 1 && field.parts.size() == 1 &&
         field.parts.front().kind == FieldKind::character && field.offset % alignof(psId) == 0;
}

// Whether a field is compared as a text. A ps::String is a structure around its characters.
bool findText(const FieldShape& field, KeyPlace& place) {
  const bool isString = field.kind == FieldKind::structure && field.count == 1 && field.parts.size() == 1 &&
                        field.parts.front().offset == 0 && isOneText(field.parts.front());
  place.isText = true;
  place.kind = field.kind == FieldKind::character ? field.kind : FieldKind::array;
  place.size = field.bytes();
  return field.kind == FieldKind::character || isOneText(field) || (isString && field.offset % alignof(psId) == 0);
}

bool findPlace(const FieldShape& field, const KeyShape& key, KeyPlace& place) {
  place = {field.kind, false, key.descends, field.offset, field.size};
  if (key.kind == KeyKind::text) return findText(field, place);
  if (field.count != 1) return false;
  switch (field.kind) {
    case FieldKind::boolean:
    case FieldKind::unsignedInteger:
      return key.kind == KeyKind::unsignedNumber;
    case FieldKind::character:
    case FieldKind::signedInteger:
      return key.kind == KeyKind::signedNumber;
    case FieldKind::floating:
      return key.kind == KeyKind::floating;
    case FieldKind::identifier:
    case FieldKind::reference:
      return key.kind == KeyKind::identifier;
    default:
      return false;
  }
}

// Null when there is no field of the name in the class of the elements and its bases, or 2 of them.
const FieldShape* fieldOf(const std::vector<ClassLevel>& levels, unsigned int elements, const std::string& name) {
  auto level = std::find_if(levels.begin(), levels.end(),
                            [elements](const ClassLevel& known) { return known.number == elements; });
  const FieldShape* found = nullptr;
  for (; level != levels.end(); ++level) {
    for (const FieldShape& field : level->fields) {
      if (field.name != name) continue;
      if (found != nullptr) return nullptr;
      found = &field;
    }
  }
  return found;
}

}  // namespace

OrderShape storedOrder(const StoredClass& comparator) {
  const auto newest =
      std::find_if(comparator.layouts.rbegin(), comparator.layouts.rend(),
                   [](const StoredClass::Layout& layout) { return !layout.isSound || layout.shape.size != 0; });
  return newest != comparator.layouts.rend() && newest->isSound ? newest->shape.order : OrderShape();
}

std::vector<KeyPlace> placesOf(const OrderShape& order, const std::vector<ClassLevel>& levels) {
  std::vector<KeyPlace> places;
  for (const KeyShape& key : order.keys) {
    const FieldShape* const field = key.field.empty() ? nullptr : fieldOf(levels, order.elements, key.field);
    if (field == nullptr || !findPlace(*field, key, places.emplace_back())) return {};
  }
  return places;
}

const ClassInfo* DescribedOrder::info() const {
  return TypeRegistry::instance().find(headerOf(this)->type & ~namedFlag);
}

// Where the keys are in elements of the class that this one is of. Null, with a refusal, when they are not there.
// Classes stay as they are, so this is found out once.
const std::vector<KeyPlace>* DescribedOrder::placesIn(const psObj& element) const {
  using Classes = std::pair<std::uint32_t, std::uint32_t>;
  thread_local std::map<Classes, std::vector<KeyPlace>> known;
  thread_local std::pair<Classes, const std::vector<KeyPlace>*> last;
  const Classes classes(headerOf(this)->type & ~namedFlag, headerOf(&element)->type & ~namedFlag);
  if (last.second != nullptr && last.first == classes) return last.second;
  auto found = known.find(classes);
  if (found == known.end()) {
    const ClassInfo* const order = info();
    const ClassInfo* const elements = TypeRegistry::instance().find(classes.second);
    std::vector<KeyPlace> places;
    if (order != nullptr && elements != nullptr) places = placesOf(order->order, elements->levels);
    if (places.empty()) {
      refuse("an order was asked for the place of an element of which the store does not say where its keys are");
      return nullptr;
    }
    found = known.emplace(classes, std::move(places)).first;
  }
  last = {classes, &found->second};
  return last.second;
}

int DescribedOrder::compare(const pstHandle<psObj>& element, const void*& key) const {
  return answer(element,
                [&](const psObj& opened) { return compareWith(opened, *static_cast<const psDescribedKey*>(key)); });
}

int DescribedOrder::compareWith(const psObj& element, const psDescribedKey& key) const {
  const std::vector<KeyPlace>* const places = placesIn(element);
  if (places == nullptr) return 0;
  if (key.values.size() > places->size()) return refuse("a key has more values than the order has keys");
  for (std::size_t i = 0; i < key.values.size(); ++i) {
    const KeyView wanted = viewOf(key.values[i]);
    KeyView stored = viewIn(element, (*places)[i]);
    if (stored.index() != wanted.index()) return refuse("a key has a value of another kind than the order");
    if (auto* const text = std::get_if<std::string_view>(&stored); text != nullptr && key.isPrefix)
      if (i + 1 == key.values.size()) *text = text->substr(0, std::get<std::string_view>(wanted).size());
    const int result = compareKeys(stored, wanted, (*places)[i].descends);
    if (result != 0) return result;
  }
  return static_cast<int>(key.end);
}

int DescribedOrder::compare(const pstHandle<psObj>& element, const pstHandle<psObj>& other) const {
  return answer(element,
                [&](const psObj& a) { return answer(other, [&](const psObj& b) { return compareObjects(a, b); }); });
}

int DescribedOrder::compareObjects(const psObj& a, const psObj& b) const {
  const std::vector<KeyPlace>* const inA = placesIn(a);
  const std::vector<KeyPlace>* const inB = inA != nullptr ? placesIn(b) : nullptr;
  if (inB == nullptr) return 0;
  for (std::size_t i = 0; i < inA->size(); ++i) {
    const KeyPlace& key = (*inA)[i];
    const int result = compareKeys(viewIn(a, key), viewIn(b, (*inB)[i]), key.descends);
    if (result != 0) return result;
  }
  return 0;
}

int DescribedOrder::hash(const void*& key) const {
  const psDescribedKey& wanted = *static_cast<const psDescribedKey*>(key);
  std::uint64_t hash = 0;
  for (const psKeyValue& value : wanted.values) hash = withHash(hash, viewOf(value));
  return resultOf(hash);
}

int DescribedOrder::hash(const pstHandle<psObj>& element) const {
  return answer(element, [this](const psObj& opened) { return hashOf(opened); });
}

int DescribedOrder::hashOf(const psObj& element) const {
  const std::vector<KeyPlace>* const places = placesIn(element);
  if (places == nullptr) return 0;
  std::uint64_t hash = 0;
  for (const KeyPlace& key : *places) hash = withHash(hash, viewIn(element, key));
  return resultOf(hash);
}

unsigned int DescribedOrder::elementTypeN() const {
  const ClassInfo* const order = info();
  return order != nullptr && !order->order.keys.empty() ? order->order.elements : psObj::pstTypeN;
}

}  // namespace ps::detail
