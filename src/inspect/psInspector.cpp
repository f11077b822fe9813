#include "inspect/psInspector.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "hash/psHashMap.h"
#include "inspect/ForeignClasses.h"
#include "inspect/HashWalker.h"
#include "inspect/ObjectNames.h"
#include "inspect/StoreSurveyor.h"
#include "inspect/StoredObjects.h"
#include "inspect/TreeWalker.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "store/base/IdText.h"
#include "store/base/MemoryGuard.h"
#include "store/base/NothingThrown.h"
#include "store/session/Called.h"
#include "store/session/WithoutGuard.h"

using ps::detail::RecordedPages;
using ps::detail::SessionCore;
using ps::detail::textOf;

// It knows pages and classes as one commit of one store has them.
struct psInspector::State {
  State(SessionCore& session, std::uint64_t commit)
      : serial(session.serial), version(commit), objects(session), names(session) {}

  std::uint64_t serial;  // of the session
  std::uint64_t version;
  ps::detail::StoredObjects objects;
  ps::detail::ObjectNames names;
};

psInspector::psInspector(psSession& session) : session_(session) {}
psInspector::~psInspector() = default;

// Calls work with the session, which is current meanwhile, and makes its answer the result of a call.
template <class Work>
int psInspector::run(const char* what, const Work& work) {
  const ps::detail::Called called(session_.core_.get());
  SessionCore* const session = called.reading(what);
  const bool isDone = session != nullptr && ps::detail::guardMemoryQuietly(false, [&] {
                        const ps::detail::NothingThrown here;
                        const ps::detail::WithoutGuard unguarded(*session);
                        const std::uint64_t version = session->engine().version();
                        if (state_ == nullptr || state_->serial != session->serial || state_->version != version)
                          state_ = std::make_shared<State>(*session, version);
                        return work(*session);
                      });
  if (!isDone) psThrowException(pehSessionDataGetFunction());
  return isDone ? 1 : 0;
}

int psInspector::info(psStoreInfo& found) {
  return run("telling what a store is", [&found](SessionCore& session) {
    found = {};
    ps::detail::EngineFacts facts;
    ps::detail::Engine& engine = session.engine();
    ps::detail::CatalogEntry* federation = nullptr;
    if (!engine.facts(facts) || !engine.readers(found.readers)) return session.fail(engine.error());
    if (session.catalog().find(ps::detail::Catalog::federationId(), federation) == ps::detail::Engine::Lookup::found)
      found.format = federation->name;
    found.path = facts.path;
    found.pageSize = session.pageSize;
    found.commit = engine.version();
    found.lastCommitTime = facts.lastChange;
    found.records = engine.records();
    found.fileBytes = facts.fileBytes;
    found.enginePageSize = facts.pageSize;
    found.enginePages = facts.pages;
    found.freePages = facts.freePages;
    found.mapSize = facts.mapSize;
    const auto own = std::find_if(found.readers.begin(), found.readers.end(), [&found](const psReader& reader) {
      return reader.process == ::getpid() && reader.commit == found.commit;
    });
    if (own != found.readers.end() && session.mode() == pscRead) found.readers.erase(own);
    return true;
  });
}

int psInspector::survey(psSurvey& found, const Progress& progress) {
  return run("a survey", [&](SessionCore& session) {
    found = {};
    return ps::detail::StoreSurveyor(session, found, progress).run();
  });
}

int psInspector::classes(std::vector<psStoredClass>& found) {
  return run("listing classes", [&](SessionCore& session) {
    found.clear();
    return state_->objects.list(found) || session.fail(session.cache().classes().error());
  });
}

int psInspector::adoptClasses() {
  std::vector<unsigned int> adopted;
  const bool isDone = run("adopting classes",
                          [&](SessionCore& session) { return ps::detail::adoptForeignClasses(session, adopted); }) == 1;
  return isDone ? static_cast<int>(adopted.size()) : -1;
}

int psInspector::object(const psId& id, psStoredObject& found) {
  return run("showing an object", [&](SessionCore& session) {
    switch (state_->objects.read(id, found)) {
      case RecordedPages::Found::object:
        return true;
      case RecordedPages::Found::storage:
        return session.fail(psErrorKind::usage, textOf(id) + " is the storage of an array");
      case RecordedPages::Found::absent:
        return session.fail(psErrorKind::absent, textOf(id) + " does not exist");
      case RecordedPages::Found::unreadable:
        break;
    }
    return session.fail(psErrorKind::damaged, textOf(id) + " lies in a page that is damaged");
  });
}

int psInspector::objects(const psId& container, const ObjectVisitor& visit, std::vector<psId>* unreadable) {
  return scan(container, false, visit, unreadable);
}

int psInspector::contents(const psId& container, const ObjectVisitor& visit, std::vector<psId>* unreadable) {
  return scan(container, true, visit, unreadable);
}

int psInspector::scan(const psId& container, bool withStorage, const ObjectVisitor& visit,
                      std::vector<psId>* unreadable) {
  return run("listing objects", [&](SessionCore& session) {
    std::vector<psId> lost;
    if (!state_->objects.scan(container, withStorage, visit, lost)) return session.fail(session.engine().error());
    if (unreadable != nullptr) unreadable->insert(unreadable->end(), lost.begin(), lost.end());
    return unreadable != nullptr || lost.empty() ||
           session.fail(psErrorKind::damaged,
                        std::to_string(lost.size()) + " pages of " + textOf(container) + " are damaged");
  });
}

int psInspector::namesOf(const psId& object, std::vector<Filing>& found) {
  return run("listing names", [&](SessionCore&) {
    found.clear();
    return state_->names.namesOf(object, found);
  });
}

int psInspector::names(const NameVisitor& visit) {
  return run("listing names",
             [&](SessionCore& session) { return state_->names.all(visit) || session.fail(session.engine().error()); });
}

std::string psInspector::pathOf(const psId& id) {
  std::string path;
  run("finding names", [&](SessionCore&) {
    path = state_->names.pathOf(id);
    return true;
  });
  return path;
}

psId psInspector::find(const std::string& path) {
  psId id;
  run("finding a path", [&](SessionCore&) {
    id = state_->names.find(path);
    return true;
  });
  return id;
}

psCollectionKind psInspector::kindOf(const psId& id) {
  psCollectionKind kind = psCollectionKind::none;
  run("telling the kind of a collection", [&](SessionCore&) {
    const unsigned int type = pstHandle<psObj>(id).typeN();
    const auto is = [type](unsigned int base) { return ptmIsKindOf(type, base) != 0; };
    if (is(psTreeMap::pstTypeN))
      kind = psCollectionKind::sortedMap;
    else if (is(psTreeSet::pstTypeN))
      kind = psCollectionKind::sortedSet;
    else if (is(psTreeList::pstTypeN))
      kind = psCollectionKind::list;
    else if (is(psHashMap::pstTypeN))
      kind = psCollectionKind::hashMap;
    else if (is(psHashSet::pstTypeN))
      kind = psCollectionKind::hashSet;
    return true;
  });
  return kind;
}

int psInspector::tree(const psId& id, psTreeInfo& found, const NodeVisitor& visit) {
  return walkTree(id, found, visit, nullptr);
}

int psInspector::table(const psId& id, psHashInfo& found, const BucketVisitor& visit) {
  return walkTable(id, found, visit, nullptr);
}

int psInspector::elements(const psId& id, const ElementVisitor& visit) {
  psTreeInfo tree;
  psHashInfo table;
  return psIsHashTable(kindOf(id)) ? walkTable(id, table, nullptr, visit) : walkTree(id, tree, nullptr, visit);
}

int psInspector::walkTree(const psId& id, psTreeInfo& found, const NodeVisitor& visit,
                          const ElementVisitor& visitElement) {
  found = {};
  found.kind = kindOf(id);
  return run("showing a tree", [&](SessionCore& session) {
    if (!psIsTree(found.kind))
      return session.fail(psErrorKind::usage, textOf(id) + " is no list, sorted set or sorted map");
    ps::detail::TreeWalker walker(session.engine(), found, visit, visitElement);
    return walker.run(pstHandle<psBTree>(id)) ||
           session.fail(psErrorKind::damaged, textOf(id) + ' ' + walker.complaint());
  });
}

int psInspector::walkTable(const psId& id, psHashInfo& found, const BucketVisitor& visit,
                           const ElementVisitor& visitElement) {
  found = {};
  found.kind = kindOf(id);
  return run("showing a hash table", [&](SessionCore& session) {
    if (!psIsHashTable(found.kind)) return session.fail(psErrorKind::usage, textOf(id) + " is no hash set or hash map");
    ps::detail::HashWalker walker(session.engine(), found, visit, visitElement);
    return walker.run(pstHandle<psHashSet>(id)) ||
           session.fail(psErrorKind::damaged, textOf(id) + ' ' + walker.complaint());
  });
}
