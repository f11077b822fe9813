#include "support/HistoryWorld.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <vector>

#include "support/Process.h"
#include "support/ScratchFolder.h"
#include "support/Versioned.h"

namespace ps::test {

namespace {

using Set = SortedSet<Versioned, ByVersionedKey>;
using Map = SortedMap<Versioned, Versioned, ByVersionedKey>;
using HashedSet = HashSet<Versioned, ByVersionedKey>;
using HashedMap = HashMap<Versioned, Versioned, ByVersionedKey>;
using Cells = List<Versioned>;
using Cell = Ref<Versioned>;

constexpr std::int32_t registers = 8;
constexpr std::int32_t keys = 40;     // of each collection
constexpr std::int32_t members = 6;   // of the container
constexpr std::int32_t tokens = 4;    // their keys come behind the others
constexpr std::uint64_t setUp = 1;    // the transaction that creates the world
constexpr std::uint64_t worker0 = 2;  // transactions of a worker are numbered from (worker0 + worker) << numberBits
constexpr unsigned numberBits = 40;

// What a datum is part of, and the number of a datum.
enum Part : std::uint32_t { ofRegisters = 1, ofSet, ofMap, ofHashSet, ofHashMap, ofNames, ofMembers, ofList };
std::uint32_t datum(Part part, std::int32_t key) { return part * 1000 + static_cast<std::uint32_t>(key); }
constexpr std::int32_t front = 0;  // of the list
constexpr std::int32_t back = 1;

std::uint64_t now() { return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()); }

// What all processes share in the store.
struct World {
  std::vector<psId> registers;
  psId set, map, hashSet, hashMap, list;
  psId elements, members;  // containers
};

// In memory that all processes share.
struct Shared {
  std::atomic<std::uint64_t> commits{0};  // of transactions that wrote
  std::atomic<bool> isOver{false};
};

// One transaction's look at the world. Each function tells the recorder what it has read and written.
class Visit {
 public:
  Visit(psSession& session, const World& world, std::uint64_t number, std::mt19937_64& random,
        HistoryRecorder& recorder)
      : session_(session), world_(world), number_(number), random_(random), recorder_(recorder) {}

  void change() {
    for (std::uint64_t steps = 1 + below(3); steps > 0; --steps) {
      switch (below(16)) {
        case 0:
          return copyRegister();
        case 1:
        case 2:
          writeRegister(pick(registers));
          break;
        case 3:
          changeName();
          break;
        case 4:
          changeMember();
          break;
        case 5:
          changeList();
          break;
        case 6:
          moveElement();
          break;
        case 7:
          moveToken();
          break;
        case 8:
        case 9:
          look(false);
          break;
        default:
          toggle();
      }
    }
  }

  // Reads some of it, or all.
  void look(bool isWhole) {
    const std::vector<std::function<void()>> looks{[this] { walk(ofSet, Set(world_.set)); },
                                                   [this] { walk(ofMap, Map(world_.map)); },
                                                   [this] { walkHashed(ofHashSet, HashedSet(world_.hashSet)); },
                                                   [this] { walkHashed(ofHashMap, HashedMap(world_.hashMap)); },
                                                   [this] { listNames(); },
                                                   [this] { scanMembers(); },
                                                   [this] { walkList(); },
                                                   [this] { findTokens(); },
                                                   [this] {
                                                     for (std::int32_t i = 0; i < registers; ++i) readRegister(i);
                                                   }};
    const std::size_t first = below(looks.size());
    const std::size_t count = isWhole ? looks.size() : 1 + below(2);
    for (std::size_t i = 0; i < count; ++i) looks[(first + i) % looks.size()]();
  }

 private:
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }
  std::int32_t pick(std::int32_t bound) { return static_cast<std::int32_t>(below(static_cast<std::uint64_t>(bound))); }
  void require(bool holds, const char* what) {
    if (!holds) recorder_.complain(what);
  }
  void demand(int done, const char* what) const {
    if (done != 1) throw Error(session_.lastErrorKind(), psId(), what + (": " + session_.lastError()));
  }
  pstHandle<psContObj> elements() const { return pstHandle<psContObj>(world_.elements); }
  Cell fresh(std::int32_t key) { return make<Versioned>(elements(), key, number_); }
  void read(Part part, std::int32_t key, std::uint64_t version) { recorder_.read(datum(part, key), version); }
  void wrote(Part part, std::int32_t key, std::uint64_t version) { recorder_.write(datum(part, key), version); }
  // What has left its place may go, or stay where no look finds it.
  void drop(const Cell& cell) {
    if (below(2) == 0) destroy(cell);
  }

  std::uint64_t readRegister(std::int32_t i) {
    const std::uint64_t version = Cell(world_.registers[static_cast<std::size_t>(i)])->version;
    read(ofRegisters, i, version);
    return version;
  }
  void writeRegister(std::int32_t i) {
    readRegister(i);
    edit<Versioned>(world_.registers[static_cast<std::size_t>(i)])->version = number_;
    wrote(ofRegisters, i, number_);
  }
  // One is read and another one written: two that do it crosswise do not fit into an order.
  void copyRegister() {
    const std::int32_t from = pick(registers);
    readRegister(from);
    writeRegister((from + 1 + pick(registers - 1)) % registers);
  }

  template <class Elements>
  std::optional<Cell> find(const Elements& all, Part part, std::int32_t key) {
    std::optional<Cell> found = all.get(key);
    read(part, key, found ? (*found)->version : 0);
    return found;
  }
  template <class Elements>
  void toggleElement(Elements all, Part part, std::int32_t key) {
    const std::optional<Cell> found = find(all, part, key);
    if (!found) {
      require(all.insert(fresh(key)), "an element that is absent cannot be added");
    } else {
      require(all.erase(key), "an element that is there cannot be removed");
      drop(*found);
    }
    wrote(part, key, found ? 0 : number_);
  }
  template <class Pairs>
  void togglePair(Pairs all, Part part, std::int32_t key) {
    const std::optional<Cell> found = find(all, part, key);
    const bool isReplaced = found && below(2) == 0;
    if (!found || isReplaced) all.put(fresh(key), fresh(key));
    if (found && !isReplaced) require(all.erase(key), "a pair that is there cannot be removed");
    if (found) drop(*found);
    wrote(part, key, found && !isReplaced ? 0 : number_);
  }
  void toggle() {
    const std::int32_t key = pick(keys);
    switch (below(4)) {
      case 0:
        return toggleElement(Set(world_.set), ofSet, key);
      case 1:
        return togglePair(Map(world_.map), ofMap, key);
      case 2:
        return toggleElement(HashedSet(world_.hashSet), ofHashSet, key);
      default:
        return togglePair(HashedMap(world_.hashMap), ofHashMap, key);
    }
  }
  void moveElement() {
    const std::int32_t key = pick(keys);
    Set set(world_.set);
    HashedSet hashed(world_.hashSet);
    const std::optional<Cell> one = find(set, ofSet, key);
    const std::optional<Cell> other = find(hashed, ofHashSet, key);
    if (one.has_value() == other.has_value()) return;
    const Cell& moved = one ? *one : *other;
    require((one ? set.erase(key) && hashed.insert(moved) : hashed.erase(key) && set.insert(moved)),
            "nothing is moved");
    edit(moved)->version = number_;
    wrote(ofSet, key, one ? 0 : number_);
    wrote(ofHashSet, key, one ? number_ : 0);
  }

  static std::uint64_t versionOf(const Versioned& element) { return element.version; }
  static std::uint64_t versionOf(const MapEntry<Versioned, Versioned>& pair) { return pair.value()->version; }
  static std::int32_t keyOf(const Versioned& element) { return element.key; }
  static std::int32_t keyOf(const MapEntry<Versioned, Versioned>& pair) { return pair.key().key; }
  // What was found under keys from one up to another, and that nothing was under the others.
  void readAll(Part part, const std::map<std::int32_t, std::uint64_t>& found, std::int32_t from, std::int32_t to) {
    for (std::int32_t key = from; key < to; ++key) {
      const auto at = found.find(key);
      read(part, key, at != found.end() ? at->second : 0);
    }
  }
  // A range, and how many there are in it.
  template <class Sorted>
  void walk(Part part, const Sorted& all) {
    const std::int32_t from = below(3) == 0 ? 0 : pick(keys);
    const std::int32_t to = from + 1 + pick(keys - from);
    std::map<std::int32_t, std::uint64_t> found;
    for (const auto& each : all.range(from, to))
      require(found.emplace(keyOf(each), versionOf(each)).second, "a walk meets a key twice");
    readAll(part, found, from, to);
    const int count = all.index_of(all.lower_bound(to)) - all.index_of(all.lower_bound(from));
    require(count == static_cast<int>(found.size()), "a walk meets more or fewer than there are");
  }
  template <class Hashed>
  void walkHashed(Part part, const Hashed& all) {
    std::map<std::int32_t, std::uint64_t> found;
    int count = 0;
    for (const auto& each : all) {
      ++count;
      if (const std::int32_t key = keyOf(each); key < keys)
        require(found.emplace(key, versionOf(each)).second, "a walk meets a key twice");
    }
    readAll(part, found, 0, keys);
    require(count == all.size(), "a walk meets more or fewer than there are");
  }

  static std::string nameOf(std::int32_t key) {
    return std::string(1, static_cast<char>('a' + key % 3)) + std::to_string(key);
  }
  Cell named(std::int32_t key) {
    pstHandle<Versioned> found;
    const int done = found.lookupObj(elements(), nameOf(key).c_str(), pscRead);
    const psErrorKind kind = session_.lastErrorKind();
    if (done != 1 && kind != psErrorKind::none && kind != psErrorKind::absent) demand(done, "a look-up by name");
    read(ofNames, key, done == 1 ? found->version : 0);
    return done == 1 ? Cell(found) : Cell();
  }
  void changeName() {
    const std::int32_t key = pick(keys);
    const std::int32_t other = (key + 1 + pick(keys - 1)) % keys;
    const Cell there = named(key);
    if (!there) {
      demand(session_.name(fresh(key).handle(), elements(), nameOf(key).c_str()), "a name");
      return wrote(ofNames, key, number_);
    }
    const bool isMoved = below(2) == 0 && !named(other);
    if (isMoved) {
      demand(session_.rename(elements(), nameOf(key).c_str(), elements(), nameOf(other).c_str()), "another name");
      edit(there)->version = number_;
      wrote(ofNames, other, number_);
    } else {
      demand(session_.unname(elements(), nameOf(key).c_str()), "a name taken back");
      drop(there);
    }
    wrote(ofNames, key, 0);
  }
  // All names, or those that begin with a letter.
  void listNames() {
    const std::int32_t letter = pick(4);
    const std::string prefix = letter == 3 ? "" : std::string(1, static_cast<char>('a' + letter));
    std::map<std::int32_t, std::uint64_t> found;
    const int done = session_.names(
        elements(),
        [&](const psFiling& filing) {
          found[std::stoi(filing.text.substr(1))] = Cell(filing.object)->version;
          return true;
        },
        prefix.c_str());
    demand(done, "the names");
    for (std::int32_t key = 0; key < keys; ++key) {
      const auto at = found.find(key);
      if (letter == 3 || key % 3 == letter) read(ofNames, key, at != found.end() ? at->second : 0);
    }
  }

  // The objects of the container. Each key is there once at most.
  std::map<std::int32_t, Cell> scanMembers() {
    const pstHandle<psContObj> container(world_.members);
    std::map<std::int32_t, Cell> found;
    std::map<std::int32_t, std::uint64_t> versions;
    pstItr<Versioned> each;
    demand(each.scan(container, pscRead), "a scan");
    while (each.next()) {
      require(found.emplace(each->key, Cell(each.oid())).second, "a scan meets an object twice");
      versions[each->key] = each->version;
    }
    readAll(ofMembers, versions, 0, members);
    if (below(2) == 0)
      require(Place::of(container).count() == static_cast<int>(found.size()),
              "a scan meets more or fewer than there are");
    return found;
  }
  void changeMember() {
    const std::int32_t key = pick(members);
    const std::map<std::int32_t, Cell> found = scanMembers();
    const auto there = found.find(key);
    if (there != found.end())
      destroy(there->second);
    else
      make<Versioned>(pstHandle<psContObj>(world_.members), key, number_);
    wrote(ofMembers, key, there != found.end() ? 0 : number_);
  }

  // The list has a front and a back, each of which is a datum. Its elements are numbered without a gap.
  void changeList() {
    Cells list(world_.list);
    const int size = list.size();
    const Cell last = list.back();
    const Cell first = list.front();
    if (size < 3 || below(2) == 0) {
      read(ofList, back, last->version);
      if (last->version == number_) return;
      list.push_back(make<Versioned>(elements(), last->key + 1, number_));
      wrote(ofList, back, number_);
    } else {
      read(ofList, front, first->version);
      const Cell next = list[1];
      require(next->key == first->key + 1, "the list has a gap");
      list.pop_front();
      drop(first);
      wrote(ofList, front, next->version);
    }
  }
  void walkList() {
    const Cells list(world_.list);
    std::int32_t count = 0;
    const std::int32_t firstKey = list.front()->key;
    Cell last;
    for (const Cell& cell : list) {
      require(cell->key == firstKey + count++, "the list has a gap");
      last = cell;
    }
    require(count == list.size(), "a walk meets more or fewer than there are");
    read(ofList, front, list.front()->version);
    read(ofList, back, last->version);
  }

  // In how many of the collections a token is, and in which.
  int placesOf(std::int32_t token, int& place) {
    const bool isIn[] = {Set(world_.set).contains(token), Map(world_.map).contains(token),
                         HashedSet(world_.hashSet).contains(token), HashedMap(world_.hashMap).contains(token)};
    int count = 0;
    for (int i = 0; i < 4; ++i) {
      if (!isIn[i]) continue;
      ++count;
      place = i;
    }
    return count;
  }
  void findTokens() {
    int place = 0;
    for (std::int32_t token = keys; token < keys + tokens; ++token)
      require(placesOf(token, place) == 1, "a token is in no collection, or in several");
  }
  void moveToken() {
    const std::int32_t token = keys + pick(tokens);
    int place = 0;
    require(placesOf(token, place) == 1, "a token is in no collection, or in several");
    Set set(world_.set);
    Map map(world_.map);
    HashedSet hashed(world_.hashSet);
    HashedMap hashedMap(world_.hashMap);
    const Cell cell = place == 0   ? *set.get(token)
                      : place == 1 ? map.find(token)->key_ref()
                      : place == 2 ? *hashed.get(token)
                                   : hashedMap.find(token)->key_ref();
    const bool isOut = place == 0   ? set.erase(token)
                       : place == 1 ? map.erase(token)
                       : place == 2 ? hashed.erase(token)
                                    : hashedMap.erase(token);
    require(isOut, "a token cannot be removed");
    switch ((place + 1 + pick(3)) % 4) {
      case 0:
        return require(set.insert(cell), "a token is there already");
      case 1:
        return map.put(cell, Cell());
      case 2:
        return require(hashed.insert(cell), "a token is there already");
      default:
        return hashedMap.put(cell, Cell());
    }
  }

  psSession& session_;
  const World& world_;
  const std::uint64_t number_;
  std::mt19937_64& random_;
  HistoryRecorder& recorder_;
};

psSessionOptions quick() {
  psSessionOptions options;
  options.sync = false;
  options.cacheLimit = std::size_t{8} << 20;
  return options;
}

// A process of a history.
class Worker {
 public:
  Worker(const World& world, Shared& shared, std::uint64_t worker, bool isWriter, std::uint64_t seed)
      : world_(world), shared_(shared), number_((worker0 + worker) << numberBits), isWriter_(isWriter), random_(seed) {}

  std::string run(const std::string& store, const std::string& file) {
    constexpr std::size_t manyTransactions = 1000;
    psSession session;
    if (session.open(store, quick()) != 1) return "open: " + session.lastError();
    std::string complaint;
    while (!shared_.isOver && complaint.empty()) {
      complaint = transact(session);
      if (history_.size() >= manyTransactions) save(file);
    }
    save(file);
    return complaint;
  }

 private:
  void save(const std::string& file) {
    saveHistory(file, history_);
    history_.clear();
  }

  std::string transact(psSession& session) {
    HistoryTransaction& one = history_.emplace_back();
    one.number = ++number_;
    one.called = now();
    const bool isUpdate = isWriter_ && random_() % 8 != 0;
    if (session.begin(isUpdate ? pscUpdate : pscRead) != 1) return "begin: " + session.lastError();
    one.begun = now();
    HistoryRecorder recorder;
    Visit visit(session, world_, one.number, random_, recorder);
    try {
      isUpdate ? visit.change() : visit.look(random_() % 4 == 0);
    } catch (const Error& error) {
      session.abort();
      return error.kind() == psErrorKind::conflict ? "" : std::string("in a transaction: ") + error.what();
    }
    one.events = recorder.events();
    const bool isGivenUp = isUpdate && random_() % 16 == 0;
    one.ending = now();
    one.isCommitted = (isGivenUp ? session.abort() : session.commit()) == 1 && !isGivenUp;
    one.ended = now();
    if (one.isCommitted && isUpdate) ++shared_.commits;
    if (!one.isCommitted && !isGivenUp && session.lastErrorKind() != psErrorKind::conflict)
      return "commit: " + session.lastError();
    if (!isUpdate) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return one.isCommitted && !recorder.complaint().empty()
               ? "transaction " + std::to_string(one.number) + ": " + recorder.complaint()
               : "";
  }

  const World& world_;
  Shared& shared_;
  std::uint64_t number_;
  const bool isWriter_;
  std::mt19937_64 random_;
  std::vector<HistoryTransaction> history_;
};

// Creates the world in a transaction, which is returned too.
World createWorld(const std::string& store, HistoryTransaction& made) {
  World world;
  Session session(store, quick());
  made = {setUp, now(), now(), 0, 0, true, {}};
  session.update([&] {
    const auto in = session.container("history", "elements");
    world.elements = in.oid();
    world.members = Place(session.database("history"), "members").first().oid();
    for (std::int32_t i = 0; i < registers; ++i) {
      const auto half = session.container("history", i % 2 == 0 ? "even registers" : "odd registers");
      world.registers.push_back(make<Versioned>(half, i, setUp).id());
      made.events.push_back({datum(ofRegisters, i), 1, 0, setUp});
    }
    // Each collection in a container of its own, so that only those conflict who use the same one.
    Set set = Set::create(session.container("history", "set"), 4);
    world.set = set.id();
    world.map = Map::create(session.container("history", "map"), 4).id();
    world.hashSet = HashedSet::create(session.container("history", "hash set"), 5).id();
    world.hashMap = HashedMap::create(session.container("history", "hash map"), 5).id();
    for (std::int32_t token = keys; token < keys + tokens; ++token) set.insert(make<Versioned>(in, token, setUp));
    Cells list = Cells::create(session.container("history", "list"), 4);
    world.list = list.id();
    list.push_back(make<Versioned>(in, 0, setUp));
    for (const std::int32_t end : {front, back}) made.events.push_back({datum(ofList, end), 1, 0, setUp});
    made.ending = now();
  });
  made.ended = now();
  return world;
}

}  // namespace

HistoryVerdict runHistory(const std::string& store, std::uint64_t commits, double seconds, std::uint64_t seed) {
  constexpr std::uint64_t writers = 4;
  constexpr std::uint64_t readers = 2;
  const ScratchFolder folder;
  void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Shared& shared = *new (memory) Shared;
  std::vector<HistoryTransaction> history(1);
  const World world = createWorld(store, history.front());
  const auto fileOf = [&folder](std::uint64_t i, const char* what) { return folder / (what + std::to_string(i)); };
  std::vector<std::unique_ptr<Process>> processes;
  for (std::uint64_t i = 0; i < writers + readers; ++i) {
    processes.push_back(std::make_unique<Process>([&, i](const Process::Channel&) {
      const std::string complaint = Worker(world, shared, i, i < writers, seed + i).run(store, fileOf(i, "history"));
      if (complaint.empty()) return 0;
      std::ofstream(fileOf(i, "complaint")) << complaint;
      shared.isOver = true;
      return 1;
    }));
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (!shared.isOver && shared.commits < commits && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  shared.isOver = true;
  std::vector<std::string> complaints;
  for (std::uint64_t i = 0; i < processes.size(); ++i) {
    if (processes[i]->wait() != 0) {
      std::string& complaint = complaints.emplace_back();
      std::ifstream file(fileOf(i, "complaint"));
      if (!std::getline(file, complaint)) complaint = "a process has died";
    }
    loadHistory(fileOf(i, "history"), history);
  }
  ::munmap(memory, sizeof(Shared));
  HistoryVerdict verdict = checkHistory(history);
  verdict.anomalies.insert(verdict.anomalies.end(), complaints.begin(), complaints.end());
  return verdict;
}

}  // namespace ps::test
