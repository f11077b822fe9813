#include "store/session/Directory.h"

#include "store/base/FiledName.h"
#include "store/base/IdParts.h"
#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/session/SessionCore.h"

namespace ps::detail {

// What a look-up in the catalog gave, with a failure signalled and counted.
Engine::Lookup Directory::answer(Engine::Lookup found) {
  if (found == Engine::Lookup::failed) session_.refuse(session_.catalog().error());
  return found;
}

// Signals why the catalog refused something; false, for return.
bool Directory::failAsCatalog() {
  if (session_.catalog().couldNotRead()) return session_.refuse(session_.catalog().error()) != nullptr;
  return session_.fail(session_.catalog().error());
}

Engine::Lookup Directory::find(const psId& id, CatalogEntry*& entry, bool* changed) {
  return guardMemory(Engine::Lookup::failed, [&] { return answer(session_.catalog().find(id, entry, changed)); });
}

CatalogEntry* Directory::entry(const psId& id) {
  CatalogEntry* found = nullptr;
  return find(id, found) == Engine::Lookup::found ? found : nullptr;
}

Engine::Lookup Directory::findContainerOf(const psId& object, CatalogEntry*& entry) {
  return find(ps::detail::containerOf(object), entry);
}

CatalogEntry* Directory::containerOf(const psId& object) { return entry(ps::detail::containerOf(object)); }

Engine::Lookup Directory::findDatabase(std::string_view name, CatalogEntry*& entry) {
  return guardMemory(Engine::Lookup::failed, [&] {
    entry = nullptr;
    return isName(name, "a database") ? answer(session_.catalog().databaseNamed(name, entry)) : Engine::Lookup::failed;
  });
}

Engine::Lookup Directory::findContainer(const psId& database, std::string_view name, CatalogEntry*& entry) {
  return guardMemory(Engine::Lookup::failed, [&] {
    CatalogEntry* in = nullptr;
    entry = nullptr;
    if (!isName(name, "a container")) return Engine::Lookup::failed;
    if (database.get_DB() == 0) return Engine::Lookup::absent;
    const Engine::Lookup found = find(databaseOf(database), in);
    return found == Engine::Lookup::found ? answer(session_.catalog().containerNamed(*in, name, entry)) : found;
  });
}

bool Directory::membersOf(const CatalogEntry& scope, std::vector<psId>& members) {
  return guardMemory(false, [&] { return session_.catalog().membersOf(scope, members) || failAsCatalog(); });
}

bool Directory::isName(std::string_view name, const char* whose) {
  return name.size() <= longestName ||
         session_.fail(psErrorKind::usage, std::string("the name of ") + whose + " has at most 400 bytes, not " +
                                               std::to_string(name.size()));
}

CatalogEntry* Directory::createContainer(const psId& database, const char* name, std::uint32_t type,
                                         std::uint32_t number) {
  return guardMemory<CatalogEntry*>(nullptr, [&]() -> CatalogEntry* {
    CatalogEntry* in = nullptr;
    if (database.get_DB() != 0 && find(databaseOf(database), in) == Engine::Lookup::failed) return nullptr;
    if (in == nullptr) {
      session_.fail(psErrorKind::usage, "a container needs a database to lie in, not " + textOf(database));
      return nullptr;
    }
    const std::string_view text = name != nullptr ? name : "";
    if (!isName(text, "a container")) return nullptr;
    // A container is not begun where it would stay empty, because the first objects in it are refused.
    constexpr std::size_t firstPages = 8;
    if (!mayGrow(in->id(), firstPages)) return nullptr;
    CatalogEntry* const made = session_.catalog().createContainer(*in, text, type, number);
    if (made == nullptr) failAsCatalog();
    return made;
  });
}

// Whether the limit for updates allows an entry of the catalog or a name, and so many pages.
bool Directory::mayGrow(const psId& where, std::size_t pages) {
  constexpr std::size_t enginePage = 4096;
  return session_.cache().mayTake(enginePage + pages * session_.pageSize, where) ||
         session_.fail(session_.cache().error());
}

CatalogEntry* Directory::createDatabase() {
  return guardMemory<CatalogEntry*>(nullptr, [&]() -> CatalogEntry* {
    if (!mayGrow(Catalog::federationId())) return nullptr;
    CatalogEntry* const made = session_.catalog().createDatabase();
    if (made == nullptr) failAsCatalog();
    return made;
  });
}

bool Directory::nameDatabase(CatalogEntry& database, std::string_view name) {
  return guardMemory(false, [&] {
    return isName(name, "a database") && (session_.catalog().nameDatabase(database, name) || failAsCatalog());
  });
}

CatalogEntry* Directory::databaseNamed(const char* name) {
  CatalogEntry* found = nullptr;
  if (findDatabase(name, found) != Engine::Lookup::absent || session_.mode() != pscUpdate) return found;
  CatalogEntry* const made = createDatabase();
  if (made == nullptr) return nullptr;
  WholeChange whole(session_.engine());
  const bool named = nameDatabase(*made, name);
  if (named || session_.catalog().dropDatabase(*made)) whole.done();
  return named ? made : nullptr;
}

bool Directory::remove(const psId& id) {
  return guardMemory(false, [&] {
    if (id.get_DB() == 0)
      return session_.fail(psErrorKind::usage,
                           "the federation cannot be deleted; delete its databases, or the store's file");
    CatalogEntry* const found = entry(id);
    if (found == nullptr) return false;
    return id.get_OC() == 0 ? removeDatabase(*found) : removeContainer(*found);
  });
}

bool Directory::removeContainer(CatalogEntry& entry) { return forgetNames(entry.id()) && dropContainer(entry); }

// Deletes a container whose names are forgotten already.
bool Directory::dropContainer(CatalogEntry& entry) {
  const psId id = entry.id();
  WholeChange whole(session_.engine());
  session_.cache().dropContainer(id.get_DB(), id.get_OC());
  return session_.catalog().dropContainer(entry) ? whole.done() : failAsCatalog();
}

// What cannot be read is found, as far as possible, before anything is changed.
bool Directory::removeDatabase(CatalogEntry& database) {
  const psId id = database.id();
  std::vector<psId> members;
  std::vector<CatalogEntry*> containers;
  if (!membersOf(database, members)) return false;
  for (const psId& member : members) {
    CatalogEntry* const in = entry(member);
    if (in == nullptr) return false;
    containers.push_back(in);
  }
  if (!forgetNames(id)) return false;
  WholeChange whole(session_.engine());
  for (CatalogEntry* const in : containers) {
    if (!dropContainer(*in)) return false;
  }
  return session_.catalog().dropDatabase(database) ? whole.done() : failAsCatalog();
}

Engine::Lookup Directory::findNamed(const psId& scope, std::string_view filed, psId& object) {
  return guardMemory(Engine::Lookup::failed, [&] {
    NameIndex names(session_.engine());
    const Engine::Lookup found = names.find(scope, filed, object);
    if (found == Engine::Lookup::failed) session_.refuse(names.error());
    // Names go with their objects.
    if (found != Engine::Lookup::found || session_.objects().exists(object)) return found;
    session_.refuse(psErrorKind::damaged, "\"" + textOfFiled(filed) + "\" in " + textOf(scope) + " leads to " +
                                              textOf(object) +
                                              ", which does not exist; restore the store from a backup");
    return Engine::Lookup::failed;
  });
}

bool Directory::isFileable(std::string_view filed) {
  return (filed.size() >= 2 && filed.size() <= longestName + 1) ||
         session_.fail(psErrorKind::usage, "a name or key has 1 to 400 bytes");
}

bool Directory::isScope(const psId& scope) {
  return session_.objects().exists(scope) ||
         session_.fail(psErrorKind::absent, textOf(scope) + " does not exist and so cannot scope names");
}

// Whether a name was filed, with a failure signalled.
bool Directory::result(NameIndex::Bound bound, const NameIndex& names, const psId& scope, std::string_view filed) {
  switch (bound) {
    case NameIndex::Bound::done:
      return true;
    case NameIndex::Bound::taken:
      return session_.fail(psErrorKind::usage,
                           "\"" + textOfFiled(filed) + "\" is taken in " + textOf(scope) + "; choose another name");
    default:
      return session_.refuse(names.error()) != nullptr;
  }
}

bool Directory::failNotFiled(const psId& scope, std::string_view filed) {
  return session_.fail(psErrorKind::absent,
                       "nothing is filed under \"" + textOfFiled(filed) + "\" in " + textOf(scope));
}

bool Directory::file(const psId& object, const psId& scope, std::string_view filed) {
  return guardMemory(false, [&] {
    if (!isFileable(filed) || !mayGrow(scope)) return false;
    if (!session_.objects().exists(object))
      return session_.fail(psErrorKind::absent, textOf(object) + " does not exist and so cannot be named");
    if (!isScope(scope) || !markNamed(object) || !markNamed(scope)) return false;
    NameIndex names(session_.engine());
    return result(names.bind(object, scope, filed), names, scope, filed);
  });
}

bool Directory::unfile(const psId& scope, std::string_view filed) {
  return guardMemory(false, [&] {
    if (!isFileable(filed)) return false;
    NameIndex names(session_.engine());
    switch (names.unbind(scope, filed)) {
      case Engine::Lookup::found:
        return true;
      case Engine::Lookup::absent:
        return failNotFiled(scope, filed);
      default:
        return session_.refuse(names.error()) != nullptr;
    }
  });
}

bool Directory::refile(const psId& scope, std::string_view filed, const psId& newScope, std::string_view newlyFiled) {
  return guardMemory(false, [&] {
    if (!isFileable(filed) || !isFileable(newlyFiled) || !mayGrow(newScope)) return false;
    psId object;
    const Engine::Lookup found = findNamed(scope, filed, object);
    if (found != Engine::Lookup::found) return found == Engine::Lookup::absent && failNotFiled(scope, filed);
    if (!isScope(newScope) || !markNamed(newScope)) return false;
    NameIndex names(session_.engine());
    return result(names.rebind(object, scope, filed, newScope, newlyFiled), names, newScope, newlyFiled);
  });
}

bool Directory::listFiled(const psId& scope, std::string_view prefix, std::vector<NameIndex::Filed>& found) {
  return guardMemory(false, [&] {
    NameIndex names(session_.engine());
    if (!isScope(scope)) return false;
    return names.list(scope, prefix, found) || session_.refuse(names.error()) != nullptr;
  });
}

// Marks an object as one that has names or scopes them, so that its deletion looks for them. Containers and databases
// are always looked for.
bool Directory::markNamed(const psId& id) {
  if (id.get_page() == 0) return entry(id) != nullptr;
  psObj* const object = session_.objects().open(id, pscUpdate);
  if (object == nullptr) return false;
  headerOf(object)->type |= namedFlag;
  unpin(frameOfObject(object));
  return true;
}

bool Directory::rename(const psId& from, const psId& to) {
  return guardMemory(false, [&] {
    NameIndex names(session_.engine());
    return names.rename(from, to) || session_.refuse(names.error()) != nullptr;
  });
}

bool Directory::forgetNames(const psId& id) {
  return guardMemory(false, [&] {
    NameIndex names(session_.engine());
    return names.forget(id) || session_.refuse(names.error()) != nullptr;
  });
}

bool Directory::canReadNames(const psId& id) {
  return guardMemory(false, [&] {
    NameIndex names(session_.engine());
    return names.isReadable(id) || session_.refuse(names.error()) != nullptr;
  });
}

}  // namespace ps::detail
