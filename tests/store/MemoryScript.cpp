#include "store/MemoryScript.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "pstyped.h"
#include "sorted/psTreeMap.h"
#include "store/Place.h"
#include "store/pstItr.h"
#include "support/Faults.h"
#include "support/Item.h"
#include "support/TempStore.h"

namespace ps::test {

namespace {

class Note : public psObj {
  PS_PERSISTENT_CLASS(Note, psObj, 20560)
  PS_FIELDS(text)
 public:
  explicit Note(std::string_view its) : text(its) {}
  ps::String text;
};
PS_ORDER(ByNote, 20561, &Note::text)
using Notes = ps::SortedSet<Note, ByNote>;

struct Failed {};
struct Finished {};
struct Complaint {
  std::string text;
};

constexpr const char* names[] = {"sorted set", "sorted map", "hash set", "hash map"};
constexpr bool isMap(int kind) { return kind % 2 == 1; }

// Different in all bits, as good hashes are.
std::int64_t numberOf(int i) { return std::uint32_t{0x9E3779B1U} * static_cast<std::uint32_t>(i); }

// Takes storage of its own, of a size beyond a page.
std::string noteText(int i) { return std::to_string(i) + std::string(80000, '.'); }

std::int64_t numberIn(const psId& id) {
  const pstHandle<Item> held(id);
  return held.open(pscRead) == 1 ? held->number() : -1;
}

psSessionOptions options() {
  psSessionOptions options = unsynced(std::size_t{4} << 20);
  options.pageSize = 4096;
  options.mapSize = std::size_t{1} << 30;
  return options;
}

}  // namespace

// Calls the library, with allocations that may fail. Nothing is thrown but what was asked for.
template <class F>
auto MemoryScript::call(F f) {
  try {
    const Allocations::Armed armed;
    return f();
  } catch (const ps::Error& error) {
    if (error.kind() != psErrorKind::memory) throw Complaint{std::string("thrown: ") + error.what()};
    throw Failed();
  } catch (const std::exception& error) {
    throw Complaint{std::string("an exception left the library: ") + error.what()};
  }
}

void MemoryScript::require(bool succeeds, int line) {
  if (succeeds) return;
  if (!Allocations::hasFailed() || session_.lastErrorKind() != psErrorKind::memory || session_.lastError().empty())
    throw Complaint{"line " + std::to_string(line) + " failed with another error: " + session_.lastError()};
  throw Failed();
}

template <class F>
void MemoryScript::step(const char* name, F body) {
  const Model before = model_;
  try {
    body();
  } catch (const Failed&) {
    model_ = before;
    recover(name);
    body();
    if (!goesOn_) throw Finished();
  }
}

template <class F>
void MemoryScript::update(const char* name, F body) {
  step(name, [&] {
    require(call([&] { return session_.begin(pscUpdate); }) == 1);
    if (model_.isMade) find();
    body();
    commit();
  });
}

// Without memory nobody can ask a server what has become of a commit: then the store tells.
void MemoryScript::commit() {
  const bool isCommitted = call([&] { return session_.commit(); }) == 1;
  if (isCommitted || session_.lastErrorKind() != psErrorKind::outcomeUnknown) return require(isCommitted);
  failure_ = "commit: " + session_.lastError();
  Allocations::release();
  psSession fresh;
  if (fresh.open(path_, options()) != 1 || !complaints(fresh).empty() || session_.makeCurrent() != 1) throw Failed();
}

void MemoryScript::recover(const char* name) {
  failure_ = std::string(name) + ": " + session_.lastError();
  if (session_.inTransaction() && call([&] { return session_.abort(); }) != 1) throw Complaint{"cannot abort"};
  Allocations::release();
  if (!model_.isMade) return;
  session_.throwErrors(false);
  std::string complaint;
  if (isKept()) {
    psSession fresh;
    if (fresh.open(path_, options()) != 1) throw Complaint{"cannot be opened: " + fresh.lastError()};
    complaint = complaints(fresh);
  }
  if (session_.makeCurrent() == 1) complaint += complaints(session_);
  if (!complaint.empty()) throw Complaint{"after the abort: " + complaint};
  session_.throwErrors(throws_);
}

std::string MemoryScript::run() {
  try {
    open();
    update("make", [&] { make(); });
    update("fill", [&] { fill(0, 30); });
    update("load", [&] { load(100, 140); });
    step("read", [&] { readAll(); });
    update("thin", [&] { thin(); });
    if (isKept()) {
      session_.close();
      open();
      step("read", [&] { readAll(); });
    }
    update("name", [&] { rename(); });
    update("combine", [&] { combine(); });
    update("move", [&] { moveAndCopy(); });
    step("upgrade", [&] { require(call([&] { return session_.upgrade(); }) == 1); });
    update("note", [&] { noteAll(80); });
    step("read", [&] { readAll(); });
    step("verify", [&] {
      psVerifyReport report;
      require(call([&] { return session_.verify(report); }) == 1);
    });
  } catch (const Finished&) {
  } catch (const Complaint& complaint) {
    return complaint.text;
  }
  Allocations::release();
  session_.throwErrors(false);
  return model_.isMade ? complaints(session_) : "";
}

void MemoryScript::open() {
  step("open", [&] {
    require(call([&] { return session_.open(path_, options()); }) == 1);
    session_.throwErrors(throws_);
  });
}

pstHandle<psObj> MemoryScript::makeItem(int i) {
  const ItemKey made = call([&] { return ps::test::makeItem(in_, numberOf(i)); });
  require(!made.id.isNull());
  ids_[made.number] = made.id;
  return pstHandle<psObj>(made.id);
}

pstHandle<psContObj> MemoryScript::container(const char* name) {
  const auto database = call([&] { return session_.database("test"); });
  require(!database.isNull());
  auto found = call([&] { return session_.container(database, name); });
  require(!found.isNull());
  return found;
}

void MemoryScript::make() {
  const auto in = container("things");
  const auto order = call([&] { return pstHandle<psCompare>(new (in) ItemCompare()); });
  require(!order.isNull());
  const auto name = [&](const pstHandle<psCollection>& made, const char* under) {
    require(!made.isNull() && call([&] { return made.open(pscRead) == 1 && !made->admin().isNull(); }));
    require(call([&] { return session_.name(made, in, under); }) == 1);
  };
  name(call([&] { return pstHandle<psCollection>(new (in) psTreeList(6)); }), "list");
  name(call([&] { return pstHandle<psCollection>(new (in) psTreeSet(order, 6)); }), names[sortedSet]);
  name(call([&] { return pstHandle<psCollection>(new (in) psTreeMap(order, 6)); }), names[sortedMap]);
  name(call([&] { return pstHandle<psCollection>(new (in) psHashSet(order, 7, 1)); }), names[hashSet]);
  name(call([&] { return pstHandle<psCollection>(new (in) psHashMap(order, 7, 1)); }), names[hashMap]);
  require(!call([&] { return Notes::open_or_create(in, "notes"); }).id().isNull());
  const auto database = call([&] { return session_.database("test"); });
  require(call([&] { return static_cast<bool>(Place(database, "place")); }));
  model_.isMade = true;
}

void MemoryScript::find() {
  in_ = container("things");
  require(call([&] { return list_.lookupObj(in_, "list", pscRead); }) == 1);
  for (int kind = 0; kind < 4; ++kind)
    require(call([&] { return keyed_[kind].lookupObj(in_, names[kind], pscRead); }) == 1);
}

void MemoryScript::fill(int begin, int end) {
  for (int i = begin; i < end; ++i) {
    const pstHandle<psObj> made = makeItem(i);
    const std::int64_t number = numberOf(i);
    require(call([&] { return list_->add(made); }));
    model_.list.push_back(number);
    for (int kind = 0; kind < 4; ++kind) {
      psCollection& all = *keyed_[kind];
      if (kind == sortedMap)
        require(call([&] { return static_cast<psTreeMap&>(all).put(made, made); }) == 1);
      else if (kind == hashMap)
        require(call([&] { return static_cast<psHashMap&>(all).put(made, made); }));
      else
        require(call([&] { return all.add(made); }));
      model_.keyed[kind][number] = isMap(kind) ? number : 0;
    }
  }
}

void MemoryScript::load(int begin, int end) {
  std::vector<pstRef<psObj>> all;
  for (int i = begin; i < end; ++i) {
    all.emplace_back(makeItem(i));
    model_.list.push_back(numberOf(i));
    for (int kind = 0; kind < 4; ++kind) model_.keyed[kind][numberOf(i)] = isMap(kind) ? numberOf(i) : 0;
  }
  const int n = end - begin;
  const auto data = all.data();
  require(call([&] { return static_cast<psTreeList&>(*list_).append(data, n); }) == n);
  require(call([&] { return static_cast<psTreeSet&>(*keyed_[sortedSet]).append(data, n); }) == n);
  require(call([&] { return static_cast<psTreeMap&>(*keyed_[sortedMap]).append(data, data, n); }) == n);
  require(call([&] { return static_cast<psHashSet&>(*keyed_[hashSet]).append(data, n); }) == n);
  require(call([&] { return static_cast<psHashMap&>(*keyed_[hashMap]).append(data, data, n); }) == n);
}

// Removes by key, and by iterators whole runs, so that nodes, chains and entries go.
void MemoryScript::thin() {
  for (int i = 0; i < 30; i += 3) {
    const std::int64_t number = numberOf(i);
    const pstHandle<psObj> gone = item(number);
    require(call([&] { return list_->remove(gone); }));
    model_.list.erase(std::find(model_.list.begin(), model_.list.end(), number));
    for (int kind = 0; kind < 4; ++kind) {
      require(call([&] { return keyed_[kind]->remove(gone); }));
      model_.keyed[kind].erase(number);
    }
    require(call([&] { return psDelete(gone); }) == 1);
  }
  for (int kind = 0; kind < 4; ++kind) {
    const std::unique_ptr<psCollectionIterator> it(call([&] { return keyed_[kind]->keyIterator(); }));
    require(it != nullptr);
    for (int i = 0; i < 10 * kind; ++i) require(!call([&] { return it->next(pscNoLock); }).isNull());
    for (int i = 0; i < 25; ++i) {
      const pstRef<psObj> next = call([&] { return it->next(pscNoLock); });
      require(!next.isNull());
      model_.keyed[kind].erase(numberIn(next.oid()));
      require(call([&] { return it->remove(); }) == 1);
    }
  }
}

void MemoryScript::combine() {
  auto& model = model_.keyed;
  const auto keep = [](auto& from, const auto& other) {
    for (auto at = from.begin(); at != from.end();) at = other.count(at->first) != 0 ? std::next(at) : from.erase(at);
  };
  require(call([&] { return keyed_[sortedSet]->retainAll(keyed_[hashSet]); }));
  keep(model[sortedSet], model[hashSet]);
  require(call([&] { return keyed_[hashMap]->retainAll(keyed_[sortedSet]); }));
  keep(model[hashMap], model[sortedSet]);
  require(call([&] { return keyed_[hashSet]->addAll(list_); }));
  for (const std::int64_t number : model_.list) model[hashSet][number] = 0;
  require(call([&] { return static_cast<psTreeList&>(*list_).removeRange(3, 20); }) == 1);
  model_.list.erase(model_.list.begin() + 3, model_.list.begin() + 21);
  call([&] { keyed_[sortedMap]->clear(); });
  require(call([&] { return keyed_[sortedMap]->isEmpty(); }));
  model[sortedMap].clear();
  call([&] { static_cast<psTreeSet&>(*keyed_[sortedSet]).compact(); });
}

void MemoryScript::rename() {
  for (int i = 100; i < 110; ++i) {
    const std::string name = "the item with a long name and number " + std::to_string(i);
    const pstHandle<psObj> named = item(numberOf(i));
    require(call([&] { return session_.name(named, in_, name.c_str()); }) == 1);
    require(call([&] { return session_.key(named, in_, i); }) == 1);
    if (i % 2 == 0) {
      require(call([&] { return session_.unname(in_, name.c_str()); }) == 1);
    } else {
      const std::string now = name + "!";
      require(call([&] { return session_.rename(in_, name.c_str(), in_, now.c_str()); }) == 1);
      model_.names[now] = numberOf(i);
    }
  }
}

// Into a container that the model counts.
void MemoryScript::moveAndCopy() {
  const auto other = container("other");
  for (const int kind : {sortedSet, hashSet}) {
    const pstHandle<psObj> moved = makeItem(500 + kind);
    require(call([&] { return keyed_[kind]->add(moved); }));
    model_.keyed[kind][numberOf(500 + kind)] = 0;
    const std::unique_ptr<psCollectionIterator> it(call([&] { return keyed_[kind]->iterator(); }));
    require(it != nullptr && call([&] { return it->goTo(moved); }));
    require(call([&] { return it->moveCurrentTo(other); }) == 1);
  }
  for (int i = 100; i < 110; ++i) {
    pstHandle<psObj> copy;
    require(!call([&] { return item(numberOf(i)).copy(other, copy); }).isNull());
  }
  model_.others = 12;
}

void MemoryScript::noteAll(int n) {
  Notes notes = call([&] { return Notes(in_, "notes"); });
  for (int i = 0; i < n; ++i) {
    const std::string text = noteText(i);
    call([&] { return notes.insert(ps::make<Note>(in_, text)); });
    model_.notes.insert(text);
  }
  const std::string gone = noteText(7);
  call([&] { return notes.erase(gone); });
  model_.notes.erase(gone);
}

// Whatever is read is what is there, or a failure.
void MemoryScript::readAll() {
  require(call([&] { return session_.begin(pscRead); }) == 1);
  find();
  for (int kind = 0; kind < 4; ++kind) {
    std::map<std::int64_t, std::int64_t> read;
    const std::unique_ptr<psCollectionIterator> it(call([&] { return keyed_[kind]->keyIterator(); }));
    require(it != nullptr);
    while (call([&] { return it->hasNext(); })) {
      const pstRef<psObj> key = call([&] { return it->next(pscNoLock); });
      require(!key.isNull());
      read[numberIn(key.oid())] = 0;
      require(call([&] { return keyed_[kind]->contains(pstHandle<psObj>(key)); }));
    }
    require(read.size() == model_.keyed[kind].size() &&
            call([&] { return keyed_[kind]->size(); }) == static_cast<int>(read.size()));
  }
  pstItr<psObj> scan;
  require(call([&] { return scan.scan(in_, pscRead); }) == 1);
  const std::uint64_t before = session_.counters().refusals;
  while (call([&] { return scan.next(); })) continue;
  require(session_.counters().refusals == before);
  std::size_t listed = 0;
  require(call([&] {
            return session_.names(in_, [&](const psFiling& filed) { return listed += filed.text.size(); });
          }) == 1);
  call([&] {
    for (const Note& note : Notes(in_, "notes")) listed += note.text.size();
  });
  require(call([&] { return session_.commit(); }) == 1);
}

pstHandle<psObj> MemoryScript::item(std::int64_t number) { return pstHandle<psObj>(ids_[number]); }

std::string MemoryScript::complaints(psSession& session) {
  const CurrentSession here(session);
  if (session.begin(pscRead) != 1) return "cannot begin: " + session.lastError();
  std::string complaint = complaintsAbout(session);
  if (session.commit() != 1) complaint += session.lastError();
  return complaint;
}

// What the session reads that differs from the model, and what the checkers find.
std::string MemoryScript::complaintsAbout(psSession& session) {
  const pstHandle<psContObj> in = session.container(session.database("test"), "things");
  pstHandle<psCollection> all;
  std::string complaint;
  if (all.lookupObj(in, "list", pscRead) != 1) return "no list: " + session.lastError();
  std::vector<std::int64_t> list(static_cast<std::size_t>(std::max(all->size(), 0)));
  for (std::size_t i = 0; i < list.size(); ++i)
    list[i] = numberIn(static_cast<psTreeList&>(*all).get(static_cast<int>(i)).oid());
  if (list != model_.list) complaint += "another list; ";
  complaint += faultsOf(pstHandle<psBTree>(all));
  for (int kind = 0; kind < 4; ++kind) {
    if (all.lookupObj(in, names[kind], pscRead) != 1) return complaint + names[kind] + session.lastError();
    std::map<std::int64_t, std::int64_t> pairs;
    const std::unique_ptr<psCollectionIterator> it(all->keyIterator());
    while (it->hasNext()) {
      const std::int64_t key = numberIn(it->next(pscNoLock).oid());
      pairs[key] = isMap(kind) ? numberIn(it->currentValue().oid()) : 0;
    }
    if (pairs != model_.keyed[kind]) complaint += std::string("another ") + names[kind] + "; ";
    complaint += kind < hashSet ? faultsOf(pstHandle<psBTree>(all)) : faultsOf(pstHandle<psHashSet>(all));
  }
  std::map<std::string, std::int64_t> filed;
  session.names(in, [&](const psFiling& one) {
    if (one.kind == psFiling::Kind::name && one.text.size() > 20) filed[one.text] = numberIn(one.object);
    return true;
  });
  if (filed != model_.names) complaint += "other names; ";
  std::set<std::string> notes;
  for (const Note& note : Notes(in, "notes")) notes.insert(note.text.str());
  if (notes != model_.notes) complaint += "other notes; ";
  int others = 0;
  pstItr<psObj> scan;
  const auto other = session.container(session.database("test"), "other");
  for (scan.scan(other, pscRead); !other.isNull() && scan.next();) ++others;
  if (others != model_.others) complaint += "other copies; ";
  return complaint + orphansOf(session);
}

}  // namespace ps::test

PS_REGISTER_CLASS(ps::test::Note)
