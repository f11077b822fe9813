#include "store/session/Backup.h"

#include "store/base/IdText.h"
#include "store/cache/PageChunks.h"
#include "store/cache/PageRecord.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/FileStructure.h"
#include "store/engine/LmdbEnvironment.h"
#include "store/engine/StoreAddress.h"
#include "store/engine/StoreCopy.h"
#include "store/engine/StoreKey.h"

namespace ps::detail {

namespace {

constexpr std::uint64_t recordsBetweenProgress = 1024;
constexpr std::size_t mostLosses = 1000;

// Whether a record is of this store's kinds, and matches its checksum if it has one.
bool isRight(std::string_view key, std::string_view value) {
  constexpr std::size_t numberSize = 2;
  constexpr std::size_t idSize = 8;
  std::uint64_t checksum = 0;
  switch (key.empty() ? '\0' : key[0]) {
    case 'F':
    case 'D':
    case 'C':
    case 'K':
    case 'P':
      return !verifiedPayload(key, value, checksum).empty();
    case 'A':
    case 'B':
      return !unsealed(key, value, numberSize).empty();
    case StoreKey::byName:
      return !unsealed(key, value, idSize).empty();
    case StoreKey::byObject:
    case StoreKey::byObjectInFormat1:
      return value.empty() && key.size() > 1 + 2 * idSize;
    default:
      return false;
  }
}

// What a record is, for people.
std::string textOfRecord(std::string_view key) {
  const std::size_t numbers = key.empty() ? 0 : (key.size() - 1) / 2;
  const auto number = [key](std::size_t i) { return StoreKey::numberAt(key, 1 + 2 * i); };
  switch (numbers == 0 ? '\0' : key[0]) {
    case 'P':
      if (numbers >= 3) return pageText(psId(number(0), number(1), number(2), 0));
      break;
    case 'C':
      if (numbers >= 2) return textOf(psId(number(0), number(1), 0, 0));
      break;
    case 'D':
      return textOf(psId(number(0), 0, 0, 0));
    case 'K':
      if (numbers >= 2) return "the description of class " + std::to_string(number(1) | std::uint32_t{number(0)} << 16);
      break;
    case 'A':
    case 'B':
    case StoreKey::byName:
    case StoreKey::byObject:
    case StoreKey::byObjectInFormat1:
      return "a name";
    default:
      break;
  }
  return key == std::string_view(StoreKey::federation()) ? "the federation's record" : "a record of an unknown kind";
}

bool signalled(const StoreError& error) {
  signalStoreError(error);
  return false;
}

bool refuseServer(const std::string& action, const std::string& address) {
  return signalled({psErrorKind::usage, "Cannot " + action + " the store '" + shownStore(address) +
                                            "': it has no file, and its server looks after its pages"});
}

// Copies the records of a session's snapshot.
class Backup {
 public:
  Backup(SessionCore& session, const BackupProgress& progress) : session_(session), progress_(progress) {}

  bool run(const std::string& path) {
    if (!copy_.begin(path)) return signalled(copy_.error());
    Engine& engine = session_.engine();
    progressed_.total = engine.records();
    const bool read = engine.scan("", [this](std::string_view key, std::string_view value) { return add(key, value); });
    if (!read) return session_.fail(engine.error());
    if (error_.empty() && !tell()) stop();
    if (!error_.empty()) return session_.fail(error_);
    return copy_.finish() || signalled(copy_.error());
  }

 private:
  bool add(std::string_view key, std::string_view value) {
    bool isNew = false;
    if (!isRight(key, value)) {
      error_ = {psErrorKind::damaged, textOfRecord(key) + " does not match its checksum, so there is no backup; " +
                                          "psSession::salvage copies what can be read"};
    } else if (!copy_.put(key, value, isNew)) {
      error_ = copy_.error();
    }
    ++progressed_.done;
    ++progressed_.records;
    progressed_.bytes += key.size() + value.size();
    if (error_.empty() && progressed_.done % recordsBetweenProgress == 0 && !tell()) stop();
    return error_.empty();
  }

  bool tell() const { return progress_ == nullptr || progress_(progressed_); }
  void stop() { error_ = {psErrorKind::usage, "the backup was stopped; there is no file"}; }

  SessionCore& session_;
  const BackupProgress& progress_;
  psBackupProgress progressed_;
  StoreCopy copy_;
  StoreError error_;
};

// Copies the records of a file that can be read and are right.
class Salvage {
 public:
  Salvage(psSalvageReport& report, const BackupProgress& progress) : report_(report), progress_(progress) {}

  bool run(const std::string& from, const std::string& to) {
    if (!copy_.begin(to)) return signalled(copy_.error());
    StoreError error;
    if (!LmdbEnvironment::withFile(
            from, [this](int descriptor) { copy(descriptor); }, error))
      return signalled(error);
    if (isStopped_) return signalled({psErrorKind::usage, "the salvage was stopped; there is no file"});
    if (!copy_.error().empty()) return signalled(copy_.error());
    if (report_.records == 0) {
      return signalled({psErrorKind::damaged, "Cannot salvage the store '" + from +
                                                  "': no record of it can be read. Restore it from a backup."});
    }
    return copy_.finish() || signalled(copy_.error());
  }

 private:
  void copy(int descriptor) {
    FileStructure structure(descriptor);
    structure.onEntry([this](std::string_view key, std::string_view value) { add(key, value); });
    structure.onProgress([this](std::uint64_t pages, std::uint64_t ofPages) {
      progressed_.done = pages;
      progressed_.total = ofPages;
      isStopped_ = isStopped_ || (progress_ != nullptr && !progress_(progressed_));
      return !isStopped_ && copy_.error().empty();
    });
    StructureReport structural;
    structure.walk(structural);
    for (const StructureFault& fault : structural.faults)
      lose("page " + std::to_string(fault.page) + " of the file " + fault.text);
    report_.lossCount += structural.faultCount - structural.faults.size();
    isRemains_ = true;
    if (!isStopped_) structure.visitRemains();
  }

  void add(std::string_view key, std::string_view value) {
    if (!copy_.error().empty()) return;
    if (!isRight(key, value)) {
      if (!isRemains_) lose(textOfRecord(key) + " does not match its checksum");
      return;
    }
    bool isNew = false;
    if (!copy_.put(key, value, isNew) || !isNew) return;
    ++report_.records;
    ++progressed_.records;
    progressed_.bytes += key.size() + value.size();
    if (isRemains_) ++report_.fromRemains;
  }

  void lose(std::string what) {
    if (++report_.lossCount <= mostLosses) report_.losses.push_back(std::move(what));
  }

  psSalvageReport& report_;
  const BackupProgress& progress_;
  psBackupProgress progressed_;
  bool isStopped_ = false;
  bool isRemains_ = false;
  StoreCopy copy_;
};

// Puts a compact copy of a whole store in its place.
class Compacting {
 public:
  explicit Compacting(const BackupProgress& progress) : progress_(progress) {}

  bool run(const std::string& path) {
    const auto replace = [this](int descriptor, const std::string& real) { isDone_ = copy(descriptor, real); };
    return LmdbEnvironment::withExclusiveFile(path, replace, error_) && isDone_;
  }
  const StoreError& error() const { return error_.empty() ? copy_.error() : error_; }

 private:
  bool copy(int descriptor, const std::string& path) {
    path_ = path;
    if (!copy_.beginReplacement(path)) return false;
    FileStructure structure(descriptor);
    StructureReport report;
    structure.onEntry([this](std::string_view key, std::string_view value) { add(key, value); });
    structure.onProgress([this](std::uint64_t pages, std::uint64_t ofPages) {
      progressed_.done = pages;
      progressed_.total = ofPages;
      if (progress_ != nullptr && !progress_(progressed_)) refuse(psErrorKind::usage, "the work was stopped");
      return error_.empty() && copy_.error().empty();
    });
    const bool isWhole = structure.walk(report);
    if (error().empty() && !report.isStore) refuse(psErrorKind::usage, "it is no store");
    if (error().empty() && !isWhole) refuse(psErrorKind::damaged, textOf(report));
    return error().empty() && copy_.finish();
  }

  void add(std::string_view key, std::string_view value) {
    bool isNew = false;
    if (!error().empty()) return;
    if (!isRight(key, value)) return refuse(psErrorKind::damaged, textOfRecord(key) + " does not match its checksum");
    if (!copy_.put(key, value, isNew)) return;
    ++progressed_.records;
    progressed_.bytes += key.size() + value.size();
  }

  void refuse(psErrorKind kind, const std::string& why) {
    error_ = {kind, "Cannot compact the store '" + path_ + "': " + why + ". The file is as it was."};
  }

  const BackupProgress& progress_;
  psBackupProgress progressed_;
  std::string path_;
  StoreCopy copy_;
  StoreError error_;
  bool isDone_ = false;
};

}  // namespace

bool backup(SessionCore& session, const std::string& path, const BackupProgress& progress) {
  if (session.mode() == pscUpdate)
    return session.fail(psErrorKind::usage, "a backup inside an update transaction; commit or abort it first");
  const bool isReading = session.mode() == pscRead;
  if (!isReading && !session.begin(pscRead)) return false;
  const bool done = Backup(session, progress).run(path);
  if (!isReading) session.abort();
  return done;
}

bool salvage(const std::string& from, const std::string& to, psSalvageReport& report, const BackupProgress& progress) {
  report = {};
  if (isStoreAddress(from)) return refuseServer("salvage", from);
  return Salvage(report, progress).run(from, to);
}

bool compact(const std::string& path, const BackupProgress& progress) {
  if (isStoreAddress(path)) return refuseServer("compact", path);
  Compacting compacting(progress);
  return compacting.run(path) || signalled(compacting.error());
}

}  // namespace ps::detail
