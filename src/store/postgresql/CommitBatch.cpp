#include "store/postgresql/CommitBatch.h"

#include <algorithm>
#include <utility>

#include "store/postgresql/Statements.h"

namespace ps::detail {

namespace {

// Rows and bytes of one statement; a larger change takes several.
constexpr std::uint32_t mostRows = 4096;
constexpr std::size_t mostBytes = std::size_t{16} << 20;

// Calls send with arrays of the keys, values and stamps of changes.
template <class Changes, class Send>
void inParts(const Changes& changes, const Send& send) {
  WireArray keys;
  WireArray values;
  WireArray stamps;
  const auto sendPart = [&] {
    if (keys.size() != 0) send(keys.encoded(), values.encoded(), stamps.encoded());
    keys.clear();
    values.clear();
    stamps.clear();
  };
  for (const auto& change : changes) {
    keys.add(change.key);
    values.add(change.value);
    if (change.hasStamp)
      stamps.add(change.stamp);
    else
      stamps.addNull();
    if (keys.size() == mostRows || values.bytes() >= mostBytes) sendPart();
  }
  sendPart();
}

template <class Keys>
std::string arrayOf(const Keys& keys) {
  WireArray array;
  for (const auto& key : keys) array.add(std::string_view(key));
  return array.encoded();
}

}  // namespace

CommitBatch::CommitBatch(const ReadSet& reads, const WriteSet& writes, const KnownRecords& records, std::string token,
                         std::uint32_t owner)
    : reads_(reads), records_(records), token_(std::move(token)), owner_(owner) {
  made_.reserve(writes.size());
  for (const auto& [key, value] : writes) plan(key, value);
  planRanges();
}

void CommitBatch::plan(std::string_view key, const std::optional<std::string>& value) {
  if (!value.has_value()) {
    planErasure(key);
    return;
  }
  const KnownRecord* const before = isCountedKey(key) ? records_.find(std::string(key)) : nullptr;
  if (before != nullptr && before->stored.has_value() && reads_.stamps.count(std::string(key)) != 0)
    planCounted(key, *value, *before);
  else
    planWrite(key, *value);
}

// The record itself stays as it is, unless something else than its counts has changed.
void CommitBatch::planCounted(std::string_view key, const std::string& value, const KnownRecord& before) {
  if (!differInCountsAlone(before.value, value)) {
    made_.push_back(withCountsOf(key, *before.stored, value));
    planWrite(key, made_.back());
  }
  const Counts counts = countsBetween(before.value, value);
  if (counts.isNone()) return;
  counts_.push_back({key, counts});
  guards_.enter(key);
}

void CommitBatch::planWrite(std::string_view key, std::string_view value) {
  changed_.push_back(key);
  const auto read = reads_.stamps.find(key);
  if (read == reads_.stamps.end()) {
    writes_.push_back({key, {}, value, false});
    guards_.enter(key);
    if (isCountedKey(key)) uncounted_.emplace_back(key);
  } else if (read->second.has_value()) {
    updates_.push_back({key, *read->second, value, true});
  } else {
    inserts_.push_back({key, {}, value, false});
    guards_.enter(key);
  }
}

void CommitBatch::planErasure(std::string_view key) {
  const auto read = reads_.stamps.find(key);
  const bool isRead = read != reads_.stamps.end();
  if (isRead && !read->second.has_value()) return;
  erasures_.push_back({key, isRead ? std::string_view(*read->second) : std::string_view(), {}, isRead});
  changed_.push_back(key);
  guards_.enter(key);
  if (isCountedKey(key)) uncounted_.emplace_back(key);
}

// What was found to be absent, and is not written, is an empty range.
void CommitBatch::planRanges() {
  ranges_ = reads_.ranges;
  for (const auto& [key, stamp] : reads_.stamps) {
    if (!stamp.has_value() && !isChanged(key)) ranges_.push_back({key, key + '\0', 0});
  }
  for (const ReadSet::Range& range : ranges_) guards_.guard(range.first, range.last);
  // Whoever counts with a record enters its group.
  for (const auto& [key, live] : reads_.counts) guards_.guard(key, key + '\0');
}

bool CommitBatch::isChanged(std::string_view key) const {
  return std::binary_search(changed_.begin(), changed_.end(), key);
}

void CommitBatch::send(Connection& connection) const {
  connection.sendText(statements::beginCommit);
  sendGuards(connection);
  sendRanges(connection);
  sendReadCounts(connection);
  sendLocks(connection);
  inParts(updates_, [&](const std::string& keys, const std::string& values, const std::string& stamps) {
    connection.send("update", {keys, values, stamps});
  });
  inParts(erasures_, [&](const std::string& keys, const std::string&, const std::string& stamps) {
    connection.send("delete", {keys, stamps});
  });
  sendReads(connection);
  for (const auto& [statement, changes] : {std::make_pair("insert", &inserts_), std::make_pair("write", &writes_)}) {
    inParts(*changes, [&, name = statement](const std::string& keys, const std::string& values, const std::string&) {
      connection.send(name, {keys, values});
    });
  }
  sendCounts(connection);
  sendNote(connection);
}

void CommitBatch::sendGuards(Connection& connection) const {
  if (guards_.isEmpty()) return;
  WireArray rows(WireArray::Of::numbers);
  for (const std::uint32_t row : guards_.all()) rows.add(row);
  connection.send(guards_.isGuarding() ? "guard" : "enter", {rows.encoded()});
}

void CommitBatch::sendRanges(Connection& connection) const {
  if (ranges_.empty()) return;
  WireArray first;
  WireArray last;
  WireArray pairs(WireArray::Of::numbers);
  for (const ReadSet::Range& range : ranges_) {
    first.add(range.first);
    last.add(range.last);
    pairs.add(range.pairs);
  }
  connection.send("ranges", {first.encoded(), last.encoded(), pairs.encoded()});
}

void CommitBatch::sendReadCounts(Connection& connection) const {
  if (reads_.counts.empty()) return;
  WireArray keys;
  WireArray live(WireArray::Of::numbers);
  for (const auto& [key, count] : reads_.counts) {
    keys.add(key);
    live.add(static_cast<std::uint32_t>(count));
  }
  connection.send("counted", {keys.encoded(), live.encoded()});
}

// Where one statement locks all rows by key, locking them before would only take time.
void CommitBatch::sendLocks(Connection& connection) const {
  const bool isOneStatement =
      (updates_.empty() || erasures_.empty()) && writes_.empty() && updates_.size() + erasures_.size() <= mostRows;
  if (isOneStatement) return;
  std::vector<std::string_view> keys;
  for (const std::vector<Change>* const changes : {&updates_, &erasures_, &writes_}) {
    for (const Change& change : *changes) keys.push_back(change.key);
  }
  std::sort(keys.begin(), keys.end());
  connection.send("lock", {arrayOf(keys)});
}

void CommitBatch::sendReads(Connection& connection) const {
  std::vector<Change> compared;
  for (const auto& [key, stamp] : reads_.stamps) {
    if (stamp.has_value() && !isChanged(key)) compared.push_back({key, *stamp, {}, true});
  }
  inParts(compared, [&](const std::string& keys, const std::string&, const std::string& stamps) {
    connection.send("compare", {keys, stamps});
  });
}

void CommitBatch::sendCounts(Connection& connection) const {
  if (!uncounted_.empty()) {
    const std::string keys = arrayOf(uncounted_);
    connection.send("uncount", {keys});
    connection.send("unnumber", {keys});
  }
  if (counts_.empty()) return;
  WireArray keys;
  WireArray live(WireArray::Of::numbers);
  WireArray next(WireArray::Of::numbers);
  for (const Count& count : counts_) {
    keys.add(count.key);
    live.add(static_cast<std::uint32_t>(count.counts.live));
    next.add(count.counts.next);
  }
  connection.send("count", {keys.encoded(), number32(owner_), live.encoded(), next.encoded()});
}

void CommitBatch::sendNote(Connection& connection) const {
  WireArray counts;
  for (const Count& count : counts_) {
    std::string encoded = number32(static_cast<std::uint32_t>(count.counts.live)) + number32(count.counts.next);
    counts.add(encoded.append(count.key));
  }
  connection.send("note", {token_, arrayOf(changed_), counts.encoded()});
}

void CommitBatch::apply(KnownRecords& records) const {
  for (const std::vector<Change>* const changes : {&updates_, &inserts_, &writes_}) {
    for (const Change& change : *changes) {
      if (!KnownRecords::covers(change.key)) continue;
      const std::string key(change.key);
      const KnownRecord* const before = records.find(key);
      const bool keepsCounts = before != nullptr && changes == &updates_;
      const Counts counts = keepsCounts ? before->counts : Counts();
      records.keep(key, KnownRecord(key, std::string(change.value), counts));
    }
  }
  for (const Change& change : erasures_) {
    if (KnownRecords::covers(change.key)) records.keep(std::string(change.key), KnownRecord());
  }
  for (const Count& count : counts_) records.count(std::string(count.key), count.counts);
}

}  // namespace ps::detail
