#include "inspect/ObjectNames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "store/Filings.h"
#include "store/base/FiledName.h"
#include "store/base/IdParts.h"
#include "store/catalog/Catalog.h"
#include "store/catalog/NameIndex.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

using Lookup = Engine::Lookup;

// Objects can be scopes of each other, so that names lead in circles.
constexpr int mostSteps = 16;
constexpr std::size_t scopeAt = 9;
constexpr std::size_t nameAt = scopeAt + 8;

std::string textOfFiling(const psFiling& filing) {
  switch (filing.kind) {
    case psFiling::Kind::name:
      return filing.text;
    case psFiling::Kind::number:
      return "@" + filing.text;
    case psFiling::Kind::bytes:
      break;
  }
  return "@$" + filing.text;
}

}  // namespace

std::string dashed(const psId& id) {
  std::string text = std::to_string(id.get_DB());
  for (const unsigned int part : {id.get_OC(), id.get_page(), id.get_slot()}) text += "-" + std::to_string(part);
  return text;
}

std::optional<psId> fromDashed(std::string_view text, std::size_t least) {
  std::array<std::uint16_t, 4> parts{};
  const char* at = text.data();
  const char* const end = at + text.size();
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto [next, error] = std::from_chars(at, end, parts[i]);
    if (error != std::errc() || next == at) return {};
    if (next == end) return i + 1 >= least ? std::optional(psId(parts[0], parts[1], parts[2], parts[3])) : std::nullopt;
    if (*next != '-') return {};
    at = next + 1;
  }
  return {};
}

bool ObjectNames::namesOf(const psId& object, std::vector<psInspector::Filing>& found) {
  for (const char kind : {StoreKey::byObject, StoreKey::byObjectInFormat1}) {
    const bool isRead = session_.engine().scan(StoreKey(kind).id(object), [&](std::string_view key, std::string_view) {
      if (key.size() <= nameAt) return true;
      const std::string filed(key.substr(nameAt));
      if (!isFiledInternally(filed)) found.push_back({StoreKey::idAt(key, scopeAt), filingOf(filed, object)});
      return true;
    });
    if (!isRead) return session_.fail(session_.engine().error());
  }
  std::sort(found.begin(), found.end(), [](const psInspector::Filing& a, const psInspector::Filing& b) {
    return a.scope == b.scope ? precedes(a.filing, b.filing) : orderOf(a.scope) < orderOf(b.scope);
  });
  return true;
}

bool ObjectNames::all(const psInspector::NameVisitor& visit) {
  constexpr std::size_t scopeBegin = 1;
  constexpr std::size_t filedBegin = scopeBegin + 8;
  NameIndex index(session_.engine());
  return session_.engine().scan(StoreKey(StoreKey::byName), [&](std::string_view key, std::string_view value) {
    const std::string_view object = unsealed(key, value, sizeof(psId));
    if (key.size() <= filedBegin || object.empty() || !index.isAnswered(key, value)) return true;
    return visit(StoreKey::idAt(key, scopeBegin), std::string(key.substr(filedBegin)), StoreKey::idAt(object, 0));
  });
}

// Of a database or container; "" without one.
std::string ObjectNames::nameOf(const psId& id) {
  CatalogEntry* entry = nullptr;
  return session_.catalog().find(id, entry) == Lookup::found ? entry->name : std::string();
}

std::string ObjectNames::pathOf(const psId& id, int depth) {
  if (id.get_DB() == 0) return "";
  const psId database(id.get_DB(), 0, 0, 0);
  const bool isDatabase = id == database;
  const bool isContainer = !isDatabase && id == containerOf(id);
  const std::string prefix = isDatabase ? "" : pathOf(isContainer ? database : containerOf(id), depth + 1) + "/";
  if (isDatabase || isContainer) {
    const std::string name = nameOf(id);
    return prefix + (name.empty() ? "#" + std::to_string(isDatabase ? id.get_DB() : id.get_OC()) : name);
  }
  std::vector<psInspector::Filing> names;
  if (depth < mostSteps && namesOf(id, names) && !names.empty()) {
    const std::string scope = pathOf(names.front().scope, depth + 1);
    return (scope.empty() ? "" : scope + "/") + textOfFiling(names.front().filing);
  }
  return prefix + dashed(id);
}

psId ObjectNames::find(const std::string& path) {
  const std::optional<psId> id = fromDashed(path, 1);
  if (id && !id->isNull() && exists(*id)) return *id;
  return findIn(Catalog::federationId(), path, 0);
}

bool ObjectNames::exists(const psId& id) {
  if (id.get_page() != 0) return true;
  CatalogEntry* entry = nullptr;
  return session_.catalog().find(id, entry) == Lookup::found;
}

// A name may have a slash in it, so the longest one comes first.
psId ObjectNames::findIn(const psId& scope, std::string_view path, int depth) {
  if (path.empty()) return scope;
  if (depth >= mostSteps) return {};
  for (std::size_t end = path.size(); end != std::string_view::npos && end > 0; end = path.rfind('/', end - 1)) {
    const psId next = step(scope, path.substr(0, end));
    if (next.isNull()) continue;
    const psId found = findIn(next, path.substr(std::min(end + 1, path.size())), depth + 1);
    if (!found.isNull()) return found;
  }
  return {};
}

// What has a name in a scope: a database in the federation, a container in a database, or an object that is filed
// there.
psId ObjectNames::step(const psId& scope, std::string_view name) {
  const bool isFederation = scope == Catalog::federationId();
  const bool isDatabase = !isFederation && scope.get_OC() == 0;
  CatalogEntry* entry = nullptr;
  CatalogEntry* within = nullptr;
  if (isFederation && session_.catalog().databaseNamed(name, entry) == Lookup::found) return entry->id();
  if (isDatabase && session_.catalog().find(scope, within) == Lookup::found &&
      session_.catalog().containerNamed(*within, name, entry) == Lookup::found)
    return entry->id();
  std::uint16_t number = 0;
  const bool isNumber =
      name.size() > 1 && name[0] == '#' &&
      std::from_chars(name.data() + 1, name.data() + name.size(), number).ptr == name.data() + name.size();
  if (isNumber && (isFederation || isDatabase)) {
    const psId id = isFederation ? psId(number, 0, 0, 0) : psId(scope.get_DB(), number, 0, 0);
    if (exists(id)) return id;
  }
  const std::optional<psId> written = fromDashed(name);
  if (written && !written->isNull() && written->get_DB() == scope.get_DB() && written->get_slot() != 0) return *written;
  const bool isKey = name.size() > 1 && name[0] == '@';
  const std::string key(isKey ? name.substr(1) : name);
  const std::string filed = !isKey ? filedName(key.c_str()) : key[0] == '$' ? filedBytes(key.substr(1)) : "#" + key;
  psId object;
  NameIndex names(session_.engine());
  return names.find(scope, filed, object) == Lookup::found ? object : psId();
}

}  // namespace ps::detail
