#include "store/cache/NameIndex.h"

#include <utility>
#include <vector>

#include "store/cache/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::size_t kindSize = 1;
constexpr std::size_t idSize = 8;

std::string idBytes(const psId& id) {
  // The key without its leading letter.
  return std::string(std::string_view(StoreKey::namesOf(id)).substr(kindSize));
}

// The part of an identifier that all identifiers within it begin with.
std::string prefixOf(char kind, const psId& id) {
  StoreKey key(kind);
  if (id.get_DB() == 0 || id.get_page() != 0) return std::string(std::string_view(key.id(id)));
  key.number(id.get_DB());
  if (id.get_OC() != 0) key.number(id.get_OC());
  return std::string(std::string_view(key));
}

std::vector<std::pair<std::string, std::string>> pairsOf(Engine& engine, std::string_view prefix) {
  std::vector<std::pair<std::string, std::string>> pairs;
  engine.scan(prefix, [&pairs](std::string_view key, std::string_view value) {
    pairs.emplace_back(key, value);
    return true;
  });
  return pairs;
}

}  // namespace

NameIndex::Bound NameIndex::bind(const psId& object, const psId& scope, std::string_view name) {
  const StoreKey key = StoreKey::name(scope, name);
  std::string_view value;
  const Engine::Lookup found = engine_.get(key, value);
  if (found == Engine::Lookup::found) return Bound::taken;
  const bool done = found == Engine::Lookup::absent && engine_.put(key, idBytes(object)) &&
                    engine_.put(StoreKey::nameOf(object, scope, name), "");
  return done ? Bound::done : Bound::failed;
}

psId NameIndex::find(const psId& scope, std::string_view name) {
  std::string_view value;
  if (engine_.get(StoreKey::name(scope, name), value) != Engine::Lookup::found || value.size() != idSize) return psId();
  // Where the other direction disagrees, the bytes of the identifier are damaged.
  const psId object = StoreKey::idAt(value, 0);
  return engine_.get(StoreKey::nameOf(object, scope, name), value) == Engine::Lookup::found ? object : psId();
}

bool NameIndex::forget(const psId& id) {
  return forgetKeys(prefixOf('N', id), false) && forgetKeys(prefixOf('R', id), true);
}

// Removes the pairs of a range together with their counterparts in the other direction.
bool NameIndex::forgetKeys(std::string_view prefix, bool byObject) {
  for (const auto& [key, value] : pairsOf(engine_, prefix)) {
    const psId first = StoreKey::idAt(key, kindSize);
    const StoreKey counterpart =
        byObject ? StoreKey::name(StoreKey::idAt(key, kindSize + idSize),
                                  std::string_view(key).substr(kindSize + 2 * idSize))
                 : StoreKey::nameOf(StoreKey::idAt(value, 0), first, std::string_view(key).substr(kindSize + idSize));
    if (!engine_.erase(key) || !engine_.erase(counterpart)) return false;
  }
  return true;
}

bool NameIndex::rename(const psId& from, const psId& to) {
  const auto filedUnder = pairsOf(engine_, prefixOf('R', from));
  const auto filedIn = pairsOf(engine_, prefixOf('N', from));
  if (!forget(from)) return false;
  for (const auto& [key, value] : filedUnder) {
    const psId scope = StoreKey::idAt(key, kindSize + idSize);
    // What was filed in itself stays so.
    const std::string_view name = std::string_view(key).substr(kindSize + 2 * idSize);
    if (bind(to, scope == from ? to : scope, name) == Bound::failed) return false;
  }
  for (const auto& [key, value] : filedIn) {
    const psId object = StoreKey::idAt(value, 0);
    if (object == from) continue;
    if (bind(object, to, std::string_view(key).substr(kindSize + idSize)) == Bound::failed) return false;
  }
  return true;
}

}  // namespace ps::detail
