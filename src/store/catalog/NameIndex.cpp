#include "store/catalog/NameIndex.h"

#include <algorithm>
#include <iterator>

#include "store/base/FiledName.h"
#include "store/base/IdText.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::size_t kindSize = 1;
constexpr std::size_t idSize = 8;
constexpr char byName = StoreKey::byName;
constexpr char byObject = StoreKey::byObject;
constexpr char byObjectKinds[] = {StoreKey::byObject, StoreKey::byObjectInFormat1};

std::string idBytes(const psId& id) {
  // The key without its leading letter.
  return std::string(std::string_view(StoreKey(byObject).id(id)).substr(kindSize));
}

// The part of an identifier that all identifiers within it begin with.
std::string prefixOf(char kind, const psId& id) {
  StoreKey key(kind);
  if (id.get_DB() == 0 || id.get_page() != 0) return std::string(std::string_view(key.id(id)));
  key.number(id.get_DB());
  if (id.get_OC() != 0) key.number(id.get_OC());
  return std::string(std::string_view(key));
}

}  // namespace

// A record taken apart.
struct NameIndex::Filing {
  psId object;
  psId scope;
  std::string_view name;

  StoreKey key(char kind) const {
    return kind == byName ? StoreKey::name(scope, name) : StoreKey::nameOf(object, scope, name, kind);
  }
  // False when the record is malformed; the scope and the name are set as far as they can be told.
  bool read(std::string_view key, std::string_view value);
};

bool NameIndex::Filing::read(std::string_view key, std::string_view value) {
  const bool named = key[0] == byName;
  const std::size_t ids = named ? 1 : 2;
  if (key.size() <= kindSize + ids * idSize) return false;
  scope = StoreKey::idAt(key, kindSize + (ids - 1) * idSize);
  name = key.substr(kindSize + ids * idSize);
  const std::string_view bytes = named ? unsealed(key, value, idSize) : key.substr(kindSize);
  if (bytes.empty() || (!named && !value.empty())) return false;
  object = StoreKey::idAt(bytes, 0);
  return true;
}

bool NameIndex::fail(StoreError error) {
  error_ = std::move(error);
  return false;
}

NameIndex::Bound NameIndex::bind(const psId& object, const psId& scope, std::string_view name) {
  psId bound;
  const Engine::Lookup found = find(scope, name, bound);
  if (found != Engine::Lookup::absent) return found == Engine::Lookup::found ? Bound::taken : Bound::failed;
  WholeChange change(engine_);
  const StoreKey key = StoreKey::name(scope, name);
  if (!engine_.put(key, sealed(key, idBytes(object))) || !engine_.put(StoreKey::nameOf(object, scope, name), "")) {
    fail(engine_.error());
    return Bound::failed;
  }
  change.done();
  return Bound::done;
}

// Erases a name in both directions.
bool NameIndex::erase(const Filing& filing) {
  for (const char kind : {byName, byObjectKinds[0], byObjectKinds[1]}) {
    if (!engine_.erase(filing.key(kind))) return fail(engine_.error());
  }
  return true;
}

Engine::Lookup NameIndex::unbind(const psId& scope, std::string_view name) {
  Filing filing{psId(), scope, name};
  const Engine::Lookup found = find(scope, name, filing.object);
  if (found != Engine::Lookup::found) return found;
  WholeChange change(engine_);
  if (!erase(filing)) return Engine::Lookup::failed;
  change.done();
  return found;
}

NameIndex::Bound NameIndex::rebind(const psId& object, const psId& scope, std::string_view name, const psId& newScope,
                                   std::string_view newName) {
  if (scope == newScope && name == newName) return Bound::done;
  // Once the new name is there, a failure to take back the old one must void the transaction.
  const Bound bound = bind(object, newScope, newName);
  if (bound != Bound::done) return bound;
  WholeChange change(engine_);
  if (!erase({object, scope, name})) return Bound::failed;
  change.done();
  return Bound::done;
}

bool NameIndex::list(const psId& scope, std::string_view prefix, std::vector<Filed>& filed) {
  const std::string key = std::string(std::string_view(StoreKey(byName).id(scope))) + std::string(prefix);
  Pairs pairs;
  if (!pairsOf(key, pairs)) return false;
  for (const auto& [record, value] : pairs) {
    Filing filing;
    filing.read(record, value);
    filed.push_back({std::string(filing.name), filing.object});
  }
  return true;
}

Engine::Lookup NameIndex::find(const psId& scope, std::string_view name, psId& object) {
  const std::string key{std::string_view(StoreKey::name(scope, name))};
  std::string_view value;
  // Nothing is filed under what is too long for a name.
  if (key.size() > engine_.maxKeySize()) return Engine::Lookup::absent;
  const Engine::Lookup found = engine_.get(key, value);
  if (found == Engine::Lookup::failed) fail(engine_.error());
  if (found != Engine::Lookup::found) return found;
  if (!isAnswered(key, value)) return Engine::Lookup::failed;
  Filing filing;
  filing.read(key, value);
  object = filing.object;
  return Engine::Lookup::found;
}

bool NameIndex::isAnswered(std::string_view key, std::string_view value) {
  Filing filing;
  if (filing.read(key, value)) {
    const std::string_view others =
        key[0] == byName ? std::string_view(byObjectKinds, sizeof byObjectKinds) : std::string_view(&byName, 1);
    for (const char kind : others) {
      const StoreKey other = filing.key(kind);
      std::string_view answer;
      const Engine::Lookup found = engine_.get(other, answer);
      if (found == Engine::Lookup::failed) return fail(engine_.error());
      Filing answered;
      if (found == Engine::Lookup::found && answered.read(other, answer) && answered.object == filing.object)
        return true;
    }
  }
  return fail(psErrorKind::damaged, "the record of the name \"" + textOfFiled(filing.name) + "\" in " +
                                        textOf(filing.scope) +
                                        " is damaged; restore the store from a backup, or choose another name");
}

bool NameIndex::pairsOf(std::string_view prefix, Pairs& pairs) {
  const bool read = engine_.scan(prefix, [&pairs](std::string_view key, std::string_view value) {
    pairs.emplace_back(key, value);
    return true;
  });
  if (!read) return fail(engine_.error());
  return std::all_of(pairs.begin(), pairs.end(),
                     [this](const auto& pair) { return isAnswered(pair.first, pair.second); });
}

// All records of what is filed in an object and of where it is filed.
bool NameIndex::collect(const psId& id, Pairs& names, Pairs& namesOfObjects) {
  return pairsOf(prefixOf(byName, id), names) &&
         std::all_of(std::begin(byObjectKinds), std::end(byObjectKinds),
                     [&](char kind) { return pairsOf(prefixOf(kind, id), namesOfObjects); });
}

bool NameIndex::isReadable(const psId& id) {
  Pairs names;
  Pairs namesOfObjects;
  return collect(id, names, namesOfObjects);
}

bool NameIndex::forget(const psId& id) {
  Pairs names;
  Pairs namesOfObjects;
  if (!collect(id, names, namesOfObjects)) return false;
  WholeChange change(engine_);
  for (const Pairs* const pairs : {&names, &namesOfObjects}) {
    for (const auto& [key, value] : *pairs) {
      Filing filing;
      filing.read(key, value);
      if (!erase(filing)) return false;
    }
  }
  return change.done();
}

bool NameIndex::rename(const psId& from, const psId& to) {
  Pairs filedIn;
  Pairs filedUnder;
  if (!collect(from, filedIn, filedUnder) || !forget(from)) return false;
  WholeChange change(engine_);
  for (const Pairs* const pairs : {&filedUnder, &filedIn}) {
    for (const auto& [key, value] : *pairs) {
      Filing filing;
      filing.read(key, value);
      // An object that is filed in itself stands in both lists.
      const psId scope = filing.scope == from ? to : filing.scope;
      if (pairs == &filedIn && filing.object == from) continue;
      if (bind(filing.object == from ? to : filing.object, scope, filing.name) != Bound::done) return false;
    }
  }
  return change.done();
}

}  // namespace ps::detail
