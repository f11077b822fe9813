#include "network/Writers.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <new>
#include <random>
#include <set>
#include <vector>

#include "core/psCollectionIterator.h"
#include "hash/psHashMap.h"
#include "list/psTreeList.h"
#include "sorted/psTreeMap.h"
#include "support/Faults.h"
#include "support/Item.h"

namespace ps::test {

namespace {

constexpr std::int64_t perWriter = 1 << 16;
constexpr int nodeCapacity = 20;
constexpr std::array<const char*, 4> sharedNames = {"sorted set", "sorted map", "hash set", "hash map"};

enum class Fate : std::uint8_t { none, begun, acknowledged, refused, undecided };

std::string listName(std::size_t writer) { return "list " + std::to_string(writer); }

pstHandle<psCollection> collection(const pstHandle<psDBObj>& database, const std::string& name) {
  pstHandle<psCollection> found;
  static_cast<void>(found.lookupObj(database, name.c_str(), pscRead));
  return found;
}

// Makes the collections in the open update transaction.
bool makeCollections(psSession& session) {
  const pstHandle<psDBObj> database = session.database("writers");
  const pstHandle<psContObj> in = session.container(database, "trees");
  const pstHandle<psCompare> by(new (in) ItemCompare);
  std::vector<std::pair<std::string, pstHandle<psCollection>>> made;
  made.emplace_back(sharedNames[0], pstHandle<psCollection>(new (in) psTreeSet(by, nodeCapacity)));
  made.emplace_back(sharedNames[1], pstHandle<psCollection>(new (in) psTreeMap(by, nodeCapacity)));
  made.emplace_back(sharedNames[2], pstHandle<psCollection>(new (in) psHashSet(by, nodeCapacity, 8)));
  made.emplace_back(sharedNames[3], pstHandle<psCollection>(new (in) psHashMap(by, nodeCapacity, 8)));
  for (std::size_t writer = 0; writer < Writers::most; ++writer) {
    const pstHandle<psContObj> own = session.container(database, listName(writer).c_str());
    made.emplace_back(listName(writer), pstHandle<psCollection>(new (own) psTreeList(nodeCapacity)));
  }
  for (const auto& [name, made_] : made) {
    if (made_.isNull() || session.name(made_, database, name.c_str()) != 1) return false;
  }
  return true;
}

// Puts a number into all collections, in the open update transaction.
bool add(psSession& session, std::size_t writer, std::int64_t number) {
  const pstHandle<psDBObj> database = session.database("writers");
  const pstHandle<psContObj> in = session.container(database, listName(writer).c_str());
  if (in.isNull()) return false;
  const pstHandle<Item> item(new (in) Item(number));
  if (item.isNull()) return false;
  for (const std::string& name : {std::string(sharedNames[0]), std::string(sharedNames[2]), listName(writer)}) {
    const pstHandle<psCollection> set = collection(database, name);
    if (set.isNull() || !set->add(item)) return false;
  }
  const pstHandle<psTreeMap> sorted = collection(database, sharedNames[1]);
  const pstHandle<psHashMap> hashed = collection(database, sharedNames[3]);
  return !sorted.isNull() && sorted->put(item, item) == 1 && !hashed.isNull() && hashed->put(item, item);
}

// Whether a number is in all shared collections, by look-ups in a read transaction of its own. The complaint.
std::string find(psSession& session, std::int64_t number) {
  if (session.begin(pscRead) != 1) return "";
  std::string complaint;
  const std::uint64_t refusals = session.counters().refusals;
  const pstHandle<psDBObj> database = session.database("writers");
  for (const char* const name : sharedNames) {
    const pstHandle<psCollection> in = collection(database, name);
    const bool isThere = !in.isNull() && !in->get(static_cast<const void*>(&number)).isNull();
    if (isThere || session.counters().refusals != refusals) continue;
    complaint = "its own number " + std::to_string(number) + " is not in the " + name;
  }
  if (session.commit() != 1) complaint += session.lastError();
  return complaint;
}

// The numbers in a collection, in ascending order.
std::vector<std::int64_t> numbersIn(const pstHandle<psDBObj>& database, const std::string& name) {
  std::vector<std::int64_t> numbers;
  const pstHandle<psCollection> in = collection(database, name);
  if (in.isNull()) return numbers;
  const std::unique_ptr<psCollectionIterator> iterator(in->keyIterator());
  while (iterator->hasNext()) {
    const pstHandle<Item> item(iterator->next(pscNoLock));
    numbers.push_back(item.open(pscRead) == 1 ? item->number() : -1);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace

// In memory that all processes have: it outlives whoever is killed.
struct Writers::Shared {
  struct Log {
    std::atomic<std::uint32_t> begun{0};
    std::array<std::atomic<Fate>, perWriter> fates{};
    std::array<char, 512> complaint{};
  };

  std::atomic<bool> isOver{false};
  std::array<Log, most> logs;

  std::uint64_t count(Fate fate) const {
    std::uint64_t found = 0;
    for (const Log& log : logs)
      found += static_cast<std::uint64_t>(std::count(log.fates.begin(), log.fates.end(), fate));
    return found;
  }
  std::string complaints() const {
    std::string all;
    for (const Log& log : logs) all += log.complaint.data();
    return all;
  }
  Fate fateOf(std::int64_t number) const {
    const std::int64_t writer = number / perWriter;
    if (number < 0 || writer >= static_cast<std::int64_t>(most)) return Fate::none;
    return logs[static_cast<std::size_t>(writer)].fates[static_cast<std::size_t>(number % perWriter)];
  }
};

namespace {

// What a process does.
template <class Log>
class Writer {
 public:
  Writer(Log& log, std::size_t writer) : log_(log), writer_(writer), random_(::getpid()) {}

  int run(const std::string& path, const std::atomic<bool>& isOver) {
    psSession session;
    for (; session.open(path) != 1; ::usleep(10000)) {
      if (isOver) return 0;
      expect(mayPass(session.lastErrorKind()), "open: " + session.lastError());
    }
    while (!isOver && log_.begun < perWriter - 1) {
      const std::uint32_t i = ++log_.begun;
      const std::int64_t number = static_cast<std::int64_t>(writer_) * perWriter + i;
      log_.fates[i] = Fate::begun;
      log_.fates[i] = commit(session, number);
      if (log_.fates[i] != Fate::acknowledged) continue;
      last_ = number;
      if (random_() % 4 == 0) expect(true, find(session, last_));
    }
    return 0;
  }

 private:
  Fate commit(psSession& session, std::int64_t number) {
    const bool isBegun = session.begin(pscUpdate) == 1;
    const bool isAdded = isBegun && add(session, writer_, number);
    if (isAdded && session.commit() == 1) return Fate::acknowledged;
    const psErrorKind kind = session.lastErrorKind();
    if (isBegun && !isAdded) session.abort();
    if (isAdded && kind == psErrorKind::outcomeUnknown) return Fate::undecided;
    if (isAdded || !isBegun) expect(mayPass(kind), session.lastError());
    if (!isBegun) ::usleep(10000);
    return Fate::refused;
  }

  static bool mayPass(psErrorKind kind) {
    return kind == psErrorKind::unreachable || kind == psErrorKind::conflict || kind == psErrorKind::busy;
  }

  // The first complaint stays.
  void expect(bool isRight, const std::string& text) {
    if (log_.complaint[0] != 0 || text.empty() || (isRight && text.find("its own") == std::string::npos)) return;
    text.copy(log_.complaint.data(), log_.complaint.size() - 1);
  }

  Log& log_;
  std::size_t writer_;
  std::mt19937_64 random_;
  std::int64_t last_ = 0;
};

}  // namespace

Writers::Writers() {
  void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  shared_ = new (memory) Shared;
}

Writers::~Writers() {
  for (auto& process : processes_) process.reset();
  ::munmap(shared_, sizeof(Shared));
}

std::string Writers::prepare(const std::string& path) {
  psSession session;
  if (session.open(path) != 1 || session.begin(pscUpdate) != 1) return session.lastError();
  return makeCollections(session) && session.commit() == 1 ? "" : "collections: " + session.lastError();
}

void Writers::start(std::size_t writer, const std::string& path) {
  if (processes_[writer] != nullptr) return;
  processes_[writer] = std::make_unique<Process>([this, writer, path](const Process::Channel&) {
    return Writer<Shared::Log>(shared_->logs[writer], writer).run(path, shared_->isOver);
  });
}

void Writers::stop() {
  shared_->isOver = true;
  for (auto& process : processes_) {
    if (process != nullptr && process->wait() != 0) shared_->logs[0].complaint[0] = '!';
    process.reset();
  }
  shared_->isOver = false;
}

std::uint64_t Writers::acknowledged() const { return shared_->count(Fate::acknowledged); }
std::uint64_t Writers::refused() const { return shared_->count(Fate::refused); }
std::uint64_t Writers::undecided() const { return shared_->count(Fate::undecided); }

bool Writers::waitForCommits() const {
  std::array<std::int64_t, most> before{};
  const auto acknowledgedBy = [this](std::size_t writer) {
    const auto& fates = shared_->logs[writer].fates;
    return std::count(fates.begin(), fates.end(), Fate::acknowledged);
  };
  for (std::size_t writer = 0; writer < most; ++writer) before[writer] = acknowledgedBy(writer);
  for (std::size_t writer = 0; writer < most; ++writer) {
    for (int i = 0; processes_[writer] != nullptr && acknowledgedBy(writer) == before[writer]; ++i) {
      if (i > 6000) return false;
      ::usleep(10000);
    }
  }
  return true;
}

std::string Writers::check(const std::string& path, bool isThorough) {
  // What was told by now must be there, or not; what comes later may be.
  std::map<std::int64_t, Fate> told;
  for (std::size_t writer = 0; writer < most; ++writer) {
    for (std::int64_t i = 0; i <= std::min<std::int64_t>(shared_->logs[writer].begun, perWriter - 1); ++i) {
      const std::int64_t number = static_cast<std::int64_t>(writer) * perWriter + i;
      told[number] = shared_->fateOf(number);
    }
  }
  std::string complaint = shared_->complaints();
  psSession session;
  if (session.open(path) != 1 || session.begin(pscRead) != 1) return complaint + session.lastError();
  const pstHandle<psDBObj> database = session.database("writers");
  std::vector<std::int64_t> listed;
  for (std::size_t writer = 0; writer < most; ++writer) {
    const std::vector<std::int64_t> own = numbersIn(database, listName(writer));
    listed.insert(listed.end(), own.begin(), own.end());
  }
  for (const char* const name : sharedNames) {
    if (numbersIn(database, name) != listed) complaint += std::string("the lists differ from the ") + name + "; ";
  }
  const std::set<std::int64_t> there(listed.begin(), listed.end());
  if (there.size() != listed.size()) complaint += "a number is there twice; ";
  for (const auto& [number, fate] : told) {
    const bool isThere = there.count(number) != 0;
    if (fate == Fate::acknowledged && !isThere) complaint += "lost " + std::to_string(number) + "; ";
    if (fate == Fate::refused && isThere) complaint += "refused, but there: " + std::to_string(number) + "; ";
  }
  for (const std::int64_t number : listed) {
    if (shared_->fateOf(number) == Fate::none) complaint += "never begun: " + std::to_string(number) + "; ";
  }
  if (isThorough) complaint += findingsIn(session);
  if (session.commit() != 1) complaint += session.lastError();
  return complaint.substr(0, 1000);
}

}  // namespace ps::test
