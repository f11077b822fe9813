#include "store/postgresql/PostgresEngine.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

#include "store/engine/StoreAddress.h"
#include "store/engine/StoreKey.h"
#include "store/postgresql/ServerErrors.h"
#include "store/postgresql/Statements.h"
#include "store/postgresql/WireBytes.h"

namespace ps::detail {

namespace {

constexpr const char* openAction = "open";
constexpr const char* beginAction = "begin a transaction on";
constexpr const char* readAction = "read";
constexpr const char* changeAction = "change";
constexpr const char* commitAction = "commit to";

constexpr std::uint32_t owners = 32;
constexpr std::size_t tokenSize = 16;
constexpr unsigned int commitsBetweenPruning = 256;
constexpr std::size_t mostPrefetched = 512;

// While the server keeps the rows of commits for longer, a lost one can be found.
constexpr std::chrono::seconds longestDecision{120};

Counts countsIn(const Result& result, int row, int column) {
  if (result.isNull(row, column)) return {};
  return {static_cast<std::int64_t>(numberIn(result.field(row, column))),
          static_cast<std::uint32_t>(numberIn(result.field(row, column + 1)))};
}

// Whether what keeps us out may be over in a while: a server that is not there yet, or that all its sessions come back
// to at once.
bool mayPass(psErrorKind kind) {
  return kind == psErrorKind::unreachable || kind == psErrorKind::busy || kind == psErrorKind::conflict;
}

std::string describeKeyLimit(std::size_t most) { return "a key has from 1 to " + std::to_string(most) + " bytes"; }

}  // namespace

Engine* PostgresEngine::open(const std::string& address, const psSessionOptions& options, StoreError& error) {
  auto engine = std::make_unique<PostgresEngine>(address);
  engine->place_ = ServerPlace::of(address);
  engine->place_.isReadOnly = options.readOnly;
  engine->place_.isSynced = options.sync;
  StoreError reason;
  if (engine->server_.open(engine->place_, reason)) return engine.release();
  engine->refuse(openAction, reason);
  error = engine->error();
  return nullptr;
}

PostgresEngine::PostgresEngine(const std::string& address)
    : shown_(shownStore(address)), random_(std::random_device()()) {
  owner_ = static_cast<std::uint32_t>(random_() % owners);
}

PostgresEngine::~PostgresEngine() {
  if (server_.isOpen() && server_.connection().isOfThisProcess()) abort();
}

bool PostgresEngine::refuse(const char* action, const StoreError& reason) {
  fail(reason.kind, std::string("Cannot ") + action + " the store '" + shown_ + "': " + reason.text + '.');
  return false;
}

bool PostgresEngine::refuseAsServer(const char* action) {
  return refuse(action, explain(server_.connection().error()));
}

bool PostgresEngine::isOurs(const char* action) {
  return server_.connection().isOfThisProcess() ||
         refuse(action, {psErrorKind::usage, "it was opened by the parent process. Open it in the child again"});
}

std::string PostgresEngine::voidText() const {
  if (!voidReason_.text.empty()) return voidReason_.text;
  return voidReason_.kind == psErrorKind::memory ? "there was no memory left" : "an earlier change failed";
}

bool PostgresEngine::isReadable(const char* action) {
  if (!isOurs(action)) return false;
  if (state_ == State::reading || state_ == State::updating) return true;
  if (state_ == State::idle) return refuse(action, {psErrorKind::usage, "no transaction is open. Begin one first"});
  return refuse(action, {voidReason_.kind, "the transaction is void because " + voidText() + ". Abort it"});
}

bool PostgresEngine::isWritable(std::string_view key) {
  if (!isReadable(changeAction)) return false;
  if (state_ != State::updating) {
    return refuse(changeAction, {psErrorKind::usage, "the open transaction is for reading only. Begin one for update"});
  }
  return isKey(key) || voidTransaction(changeAction, {psErrorKind::usage, describeKeyLimit(maxKeySize())});
}

bool PostgresEngine::voidTransaction(const char* action, const StoreError& reason) {
  state_ = State::voided;
  voidReason_ = reason;
  return refuse(action, reason);
}

void PostgresEngine::invalidate(psErrorKind kind) noexcept {
  const bool isKnown = state_ == State::voided && kind != psErrorKind::memory;
  if (!isKnown && (state_ == State::updating || state_ == State::voided)) becomeVoid(kind);
}

void PostgresEngine::becomeVoid(psErrorKind kind) noexcept {
  state_ = State::voided;
  voidReason_.kind = kind;
  voidReason_.text.clear();
}

// Sends what was added to the batch, and receives it into results_. A failure makes the transaction void.
bool PostgresEngine::query(const char* action) {
  if (server_.connection().receive(results_)) return true;
  return voidTransaction(action, explain(server_.connection().error()));
}

// Nothing that was read before is known to be so still: the server may be another one now.
void PostgresEngine::forgetAll() {
  snapshot_.clear();
  ownTokens_.clear();
  records_.clear();
  numbers_.forgetAll();
  changes_.clear();
  anyChange_ = true;
}

// Carries out a call. Lack of memory in the middle of it leaves answers that nobody has taken, and half of what was
// learned. So the connection is closed, and all is forgotten, which needs no memory.
template <class Call>
auto PostgresEngine::whole(const Call& call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    server_.close();
    forgetAll();
    if (state_ != State::idle) becomeVoid(psErrorKind::memory);
    throw;
  }
}

bool PostgresEngine::connectAgain() {
  forgetAll();
  StoreError reason;
  return server_.open(place_, reason) || refuse(beginAction, reason);
}

bool PostgresEngine::begin(bool update) {
  if (!isOurs(beginAction)) return false;
  if (state_ != State::idle) {
    return refuse(beginAction,
                  {psErrorKind::usage, "this session already has an open transaction. Commit or abort it first"});
  }
  if (update && place_.isReadOnly) {
    return refuse(beginAction, {psErrorKind::denied,
                                "it was opened for reading only. Open it without the option readOnly to change it"});
  }
  return whole([&] { return beginHere(update); });
}

bool PostgresEngine::beginHere(bool update) {
  const bool wasOpen = server_.isOpen();
  if (!wasOpen && !connectAgain()) return false;
  if (!beginSnapshot()) {
    // That the connection was lost since the last transaction is noticed only now.
    const bool isLost = !server_.isOpen() || server_.connection().error().state.empty();
    if (!wasOpen || !isLost) return refuseAsServer(beginAction);
    if (!connectAgain()) return false;
    if (!beginSnapshot()) return refuseAsServer(beginAction);
  }
  records_.trim();
  state_ = update ? State::updating : State::reading;
  return true;
}

bool PostgresEngine::beginSnapshot() {
  Connection& connection = server_.connection();
  connection.sendText(statements::beginSnapshot);
  if (snapshot_.empty())
    connection.send("snapshot");
  else
    connection.send("changes", {snapshot_});
  if (!connection.receive(results_) || results_.size() != 2) {
    if (server_.isOpen()) connection.sendText(statements::rollback);
    return false;
  }
  const Result& changes = results_.back();
  if (snapshot_.empty())
    ++version_;  // whatever has happened since
  else
    learnChanges(changes);
  snapshot_ = changes.field(0, 0);
  ownTokens_.clear();
  return true;
}

// Forgets what others have changed.
void PostgresEngine::learnChanges(const Result& changes) {
  if (numberIn(changes.field(0, 1)) != 0) forgetAll();  // commits since then were pruned
  bool isForeign = anyChange_;
  for (int row = 0; row < changes.rows(); ++row) {
    if (changes.isNull(row, 2)) continue;
    const std::string_view token = changes.field(row, 2);
    if (std::find(ownTokens_.begin(), ownTokens_.end(), token) != ownTokens_.end()) continue;
    isForeign = true;
    visitArray(changes.field(row, 3), [this](std::string_view key) {
      records_.forget(std::string(key));
      changes_.emplace_back(key);
    });
    visitArray(changes.field(row, 4), [this](std::string_view count) {
      if (count.size() <= 8) return;
      const auto live = static_cast<std::int32_t>(numberIn(count.substr(0, 4)));
      records_.count(std::string(count.substr(8)), {live, static_cast<std::uint32_t>(numberIn(count.substr(4, 4)))});
    });
  }
  if (isForeign) ++version_;
}

bool PostgresEngine::takeChanges(std::vector<std::string>& keys) {
  return whole([&] { return takeChangesHere(keys); });
}

bool PostgresEngine::takeChangesHere(std::vector<std::string>& keys) {
  keys.insert(keys.end(), std::make_move_iterator(changes_.begin()), std::make_move_iterator(changes_.end()));
  changes_.clear();
  return !std::exchange(anyChange_, false);
}

void PostgresEngine::note(std::string_view key, std::optional<std::string_view> stored) {
  if (state_ == State::updating) reads_.note(key, stored);
}

void PostgresEngine::noteRead(std::string_view key, std::string_view stamp) {
  note(key, stamp.empty() ? std::nullopt : std::make_optional(stamp));
}

void PostgresEngine::noteEnd(std::string_view first, std::string_view prefix) {
  if (state_ == State::updating) reads_.ranges.push_back({std::string(first), behindPrefix(prefix), 0});
}

// A record that the transaction itself has made is not known, and nobody else counts with it.
void PostgresEngine::noteCount(std::string_view key) {
  const KnownRecord* const record = state_ == State::updating ? records_.find(std::string(key)) : nullptr;
  if (record != nullptr) reads_.counts.emplace(key, record->counts.live);
}

// Asks the server for a record. Null on failure.
const KnownRecord* PostgresEngine::fetchRecord(const std::string& key) {
  server_.connection().send("get", {key});
  if (!query(readAction)) return nullptr;
  const Result& found = results_.back();
  if (found.rows() == 0) return &records_.keep(key, KnownRecord());
  return &records_.keep(key, KnownRecord(key, std::string(found.field(0, 0)), countsIn(found, 0, 1)));
}

Engine::Lookup PostgresEngine::get(std::string_view key, std::string_view& value) {
  return whole([&] { return getHere(key, value); });
}

Engine::Lookup PostgresEngine::getHere(std::string_view key, std::string_view& value) {
  if (!isReadable(readAction)) return Lookup::failed;
  if (!isKey(key)) {
    refuse(readAction, {psErrorKind::usage, describeKeyLimit(maxKeySize())});
    return Lookup::failed;
  }
  if (const auto written = writes_.find(key); written != writes_.end()) {
    if (written->second.has_value()) value = *written->second;
    return written->second.has_value() ? Lookup::found : Lookup::absent;
  }
  const std::string name(key);
  if (KnownRecords::covers(key)) {
    const KnownRecord* const known = records_.find(name);
    const KnownRecord* const record = known != nullptr ? known : fetchRecord(name);
    if (record == nullptr) return Lookup::failed;
    note(key, record->stored);
    value = record->value;
    return record->stored.has_value() ? Lookup::found : Lookup::absent;
  }
  const auto ahead = prefetched_.find(name);
  if (ahead != prefetched_.end()) {
    if (ahead->second.has_value()) value = *ahead->second;
    note(key, ahead->second);
    return ahead->second.has_value() ? Lookup::found : Lookup::absent;
  }
  return getChunk(name, value);
}

// Asks for a chunk, and for those of its page that follow it, since a page is read as a whole.
Engine::Lookup PostgresEngine::getChunk(const std::string& key, std::string_view& value) {
  constexpr std::uint32_t most = 64;
  server_.connection().send("page", {key, StoreKey::lastChunkOf(key), number32(most)});
  if (!query(readAction)) return Lookup::failed;
  const Result& chunks = results_.back();
  const bool isFound = chunks.rows() > 0 && chunks.field(0, 0) == key;
  if (isFound) value = chunks.field(0, 1);
  if (chunks.rows() > 1) {
    if (prefetched_.size() + most > mostPrefetched) prefetched_.clear();
    for (int row = 1; row < chunks.rows(); ++row)
      prefetched_.emplace(std::string(chunks.field(row, 0)), std::string(chunks.field(row, 1)));
  }
  note(key, isFound ? std::make_optional(value) : std::nullopt);
  return isFound ? Lookup::found : Lookup::absent;
}

void PostgresEngine::prefetch(const std::vector<std::string>& keys) {
  whole([&] { prefetchHere(keys); });
}

// What is asked for stays until it is too much, or the transaction ends.
void PostgresEngine::prefetchHere(const std::vector<std::string>& keys) {
  if (state_ != State::reading && state_ != State::updating) return;
  if (keys.empty() || prefetched_.find(keys.front()) != prefetched_.end()) return;
  if (prefetched_.size() + keys.size() > mostPrefetched) prefetched_.clear();
  WireArray wanted;
  for (const std::string& key : keys) {
    if (writes_.find(key) == writes_.end() && prefetched_.find(key) == prefetched_.end() && isKey(key)) wanted.add(key);
  }
  if (wanted.size() == 0) return;
  server_.connection().send("many", {wanted.encoded()});
  if (!query(readAction)) return;
  std::unordered_map<std::string, std::optional<std::string>> found;
  for (int row = 0; row < results_.back().rows(); ++row)
    found.emplace(results_.back().field(row, 0), std::string(results_.back().field(row, 1)));
  for (const std::string& key : keys) found.try_emplace(key);
  prefetched_.merge(found);
}

bool PostgresEngine::put(std::string_view key, std::string_view value) {
  if (!isWritable(key)) return false;
  if (value.size() > maxValueSize()) {
    return voidTransaction(changeAction,
                           {psErrorKind::full, "a value of " + std::to_string(value.size()) +
                                                   " bytes exceeds the limit of " + std::to_string(maxValueSize())});
  }
  std::optional<std::string> stored{std::string(value)};  // first: it may be a view of what is replaced
  const auto found = writes_.find(key);
  const bool isNew = found == writes_.end();
  const std::size_t before = !isNew && found->second.has_value() ? found->second->size() : 0;
  (isNew ? writes_.emplace(std::string(key), std::nullopt).first : found)->second = std::move(stored);
  uncommittedBytes_ += value.size() + (isNew ? key.size() : 0) - before;
  return true;
}

bool PostgresEngine::erase(std::string_view key) {
  if (!isWritable(key)) return false;
  const auto found = writes_.find(key);
  if (found != writes_.end()) {
    if (found->second.has_value()) uncommittedBytes_ -= found->second->size();
    found->second.reset();
    return true;
  }
  writes_.emplace(std::string(key), std::nullopt);
  uncommittedBytes_ += key.size();
  return true;
}

// Reads some pairs from a key on, before the end, into results_. The key becomes the one behind those that were read.
bool PostgresEngine::scanPart(std::string& from, const std::string& end, std::uint32_t limit) {
  server_.connection().send("scan", {from, end, number32(limit)});
  if (!query(readAction)) return false;
  const Result& pairs = results_.back();
  if (pairs.rows() > 0) from = std::string(pairs.field(pairs.rows() - 1, 0)) + '\0';
  return true;
}

bool PostgresEngine::scan(std::string_view prefix, const Visitor& visitor) {
  return whole([&] { return scanHere(prefix, visitor); });
}

bool PostgresEngine::scanHere(std::string_view prefix, const Visitor& visitor) {
  constexpr std::uint32_t most = 1000;
  if (!isReadable(readAction)) return false;
  const std::string end = behindPrefix(prefix);
  ReadSet::Range range{std::string(prefix), end, 0};
  std::string from(prefix);
  std::string own(prefix);  // where to go on among what this transaction has written
  bool goesOn = true;
  // Visits what was written, up to a key.
  const auto visitOwn = [&](const std::string& upTo) {
    for (auto at = writes_.lower_bound(own); goesOn && at != writes_.end() && at->first < upTo; ++at) {
      own = at->first + '\0';
      if (at->second.has_value()) goesOn = visitor(at->first, *at->second);
    }
  };
  for (std::uint32_t limit = 16, rows = limit; goesOn && rows == limit;) {
    limit = std::min(4 * limit, most);
    if (!scanPart(from, end, limit)) return false;
    const std::vector<Result> part = std::move(results_);
    rows = static_cast<std::uint32_t>(part.back().rows());
    for (std::uint32_t row = 0; goesOn && row < rows; ++row) {
      const auto i = static_cast<int>(row);
      const std::string key(part.back().field(i, 0));
      const std::string_view stored = part.back().field(i, 1);
      if (KnownRecords::covers(key))
        records_.keep(key, KnownRecord(key, std::string(stored), countsIn(part.back(), i, 2)));
      visitOwn(key);
      if (!goesOn) break;
      note(key, stored);
      ++range.pairs;
      range.last = key + '\0';
      if (writes_.find(key) == writes_.end())
        goesOn = visitor(key, withCounts(key, stored, countsIn(part.back(), i, 2)));
    }
  }
  visitOwn(end);
  if (goesOn) range.last = end;
  if (state_ == State::updating && (goesOn || range.pairs > 0)) reads_.ranges.push_back(std::move(range));
  return true;
}

std::uint64_t PostgresEngine::records() const {
  if (state_ != State::reading && state_ != State::updating) return 0;
  std::vector<Result> results;
  server_.connection().send("records");
  if (!server_.connection().receive(results)) return 0;
  std::uint64_t count = numberIn(results.back().field(0, 0));
  for (const auto& [key, value] : writes_) {
    const auto read = reads_.stamps.find(key);
    const bool wasThere = read != reads_.stamps.end() && read->second.has_value();
    if (value.has_value() && !wasThere) ++count;
    if (!value.has_value() && wasThere) --count;
  }
  return count;
}

std::uint32_t PostgresEngine::takeNumber(std::string_view key, std::uint32_t next) {
  return whole([&] { return takeNumberHere(key, next); });
}

std::uint32_t PostgresEngine::takeNumberHere(std::string_view key, std::uint32_t next) {
  if (!isReadable(changeAction)) return 0;
  const std::uint32_t number = numbers_.take(std::string(key), next);
  if (number == 0) voidTransaction(changeAction, numbers_.error());
  return number;
}

std::string PostgresEngine::freshToken() {
  std::string token(tokenSize, '\0');
  for (std::size_t i = 0; i < tokenSize; i += sizeof(std::uint64_t)) {
    const std::uint64_t bits = random_();
    std::memcpy(token.data() + i, &bits, sizeof bits);
  }
  return token;
}

Engine::Commit PostgresEngine::commit() {
  if (state_ == State::idle || state_ == State::voided || !isOurs(commitAction)) {
    if (state_ == State::idle)
      refuse(commitAction, {psErrorKind::usage, "no transaction is open. Begin one first"});
    else if (state_ == State::voided)
      refuse(commitAction, {voidReason_.kind, "the transaction was void because " + voidText()});
    abort();
    return Commit::conflict;
  }
  if (writes_.empty()) {
    abort();
    return Commit::committed;
  }
  return whole([&] { return commitHere(); });
}

Engine::Commit PostgresEngine::commitHere() {
  const std::string token = freshToken();
  const CommitBatch batch(reads_, writes_, records_, token, owner_);
  const Commit sent = sendOrLose(batch);
  if (sent == Commit::committed) learn(batch, token);
  const Commit outcome = sent == Commit::unknown ? decideOrGiveUp(token) : sent;
  if (outcome == Commit::committed) {
    for (const std::string& key : batch.uncounted()) numbers_.forget(key);
    numbers_.afterCommit();
    ++version_;
    prune();
  } else if (outcome == Commit::conflict) {
    numbers_.afterAbort();
  } else {
    numbers_.afterCommit();
  }
  end();
  return outcome;
}

Engine::Commit PostgresEngine::sendOrLose(const CommitBatch& batch) {
  bool mayBeDone = false;
  try {
    return send(batch, mayBeDone);
  } catch (const std::bad_alloc&) {
    if (!mayBeDone) throw;
    server_.connection().closeForMemory();
    return Commit::unknown;
  }
}

Engine::Commit PostgresEngine::decideOrGiveUp(const std::string& token) {
  try {
    return decide(token);
  } catch (const std::bad_alloc&) {
    server_.close();
    fail(psErrorKind::outcomeUnknown, shortMemoryText);
    return Commit::unknown;
  }
}

// What this session knows of the records that it has changed itself.
void PostgresEngine::learn(const CommitBatch& batch, const std::string& token) {
  try {
    ownTokens_.push_back(token);
    batch.apply(records_);
  } catch (const std::bad_alloc&) {
    forgetAll();
  }
}

// Now and then removes old rows of commits; nobody waits for that.
void PostgresEngine::prune() {
  if (++commits_ % commitsBetweenPruning != 0) return;
  server_.connection().send("prune");
  server_.connection().endBatch();
}

// unknown when the connection was lost after the commit had been sent. mayBeDone is true as soon as it is about to be:
// from then on the server may carry it out, whatever this process lacks.
Engine::Commit PostgresEngine::send(const CommitBatch& batch, bool& mayBeDone) {
  constexpr int mostAttempts = 4;
  Connection& connection = server_.connection();
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    // Ends the transaction that has read, or the last attempt.
    connection.sendText(statements::rollback);
    mayBeDone = false;
    batch.send(connection);
    mayBeDone = !connection.isBroken();
    connection.sendText(statements::commit);
    if (connection.receive(results_)) return Commit::committed;
    const ServerError& error = connection.error();
    if (error.state.empty() && mayBeDone) return Commit::unknown;
    if (!isContention(error)) break;
    // Whoever holds what was to be read is about to end; the comparison then tells what has become of it.
    std::this_thread::sleep_for(std::chrono::microseconds(200U * (1U << attempt) + random_() % 500));
  }
  refuseAsServer(commitAction);
  connection.sendText(statements::rollback);
  connection.endBatch();
  return Commit::conflict;
}

// Takes the token of a commit whose answer was lost. That waits while the server is still at work on it, and tells for
// good: when it was carried out, the token is there, with the keys of the commit. Else it is there now without, also if
// this answer is lost too, and the commit can be carried out no more.
Engine::Commit PostgresEngine::decide(const std::string& token) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point last = Clock::now() + longestDecision;
  StoreError reason = explain(server_.connection().error());
  const bool lackedMemory = reason.kind == psErrorKind::memory;
  do {
    forgetAll();
    if (!server_.open(place_, reason)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20 + random_() % 100));
      continue;
    }
    server_.connection().send("decide", {token});
    if (!server_.connection().receive(results_)) {
      reason = explain(server_.connection().error());
      continue;
    }
    if (numberIn(results_.back().field(0, 0)) != 0) return Commit::committed;
    const StoreError lost{psErrorKind::conflict,
                          "the connection to the server was lost, and nothing was written. Repeat the transaction"};
    refuse(commitAction, lackedMemory ? StoreError{psErrorKind::memory, shortMemoryText} : lost);
    return Commit::conflict;
  } while (mayPass(reason.kind) && Clock::now() < last);
  refuse(commitAction, {psErrorKind::outcomeUnknown, "the connection was lost, and the server does not come back (" +
                                                         reason.text + "). Look whether the change is there"});
  return Commit::unknown;
}

// Ends the transaction on the server without waiting for its answer.
void PostgresEngine::abort() {
  if (state_ == State::idle) return;
  if (server_.isOpen() && server_.connection().isOfThisProcess()) {
    server_.connection().sendText(statements::rollback);
    server_.connection().endBatch();
  }
  numbers_.afterAbort();
  end();
}

void PostgresEngine::end() {
  state_ = State::idle;
  voidReason_ = {};
  uncommittedBytes_ = 0;
  prefetched_.clear();
  reads_.clear();
  writes_.clear();
}

bool PostgresEngine::readers(std::vector<psReader>& found) {
  found.clear();
  if (!isOurs(readAction)) return false;
  server_.connection().send("readers");
  std::vector<Result> results;
  if (!server_.connection().receive(results)) return refuseAsServer(readAction);
  const Result& rows = results.back();
  for (int row = 0; row < rows.rows(); ++row) {
    const std::string name(rows.field(row, 0));
    psReader reader;
    reader.process = std::atoi(name.c_str() + name.find(' '));
    const std::uint64_t seconds = numberIn(rows.field(row, 1));
    std::memcpy(&reader.seconds, &seconds, sizeof seconds);
    found.push_back(reader);
  }
  return true;
}

bool PostgresEngine::facts(EngineFacts& found) {
  found = {};
  found.path = shown_;
  if (!isReadable(readAction)) return false;
  server_.connection().send("size");
  if (!query(readAction)) return false;
  found.fileBytes = numberIn(results_.back().field(0, 0));
  if (!results_.back().isNull(0, 1))
    found.lastChange = static_cast<std::int64_t>(numberIn(results_.back().field(0, 1)));
  return true;
}

}  // namespace ps::detail
