#include <gtest/gtest.h>

#include <filesystem>
#include <new>

#include "store/StoreObjects.h"
#include "store/engine/LmdbEngine.h"
#include "store/session/SessionCore.h"
#include "support/RawFile.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

enum class Fault { once, fromThenOn, exception };

// Which call of an engine fails, counted down; 0: none.
int callsBeforeFault = 0;
Fault fault = Fault::once;
bool bit = false;
bool bitReading = false;

bool strikes(bool reading) {
  if (callsBeforeFault == 0 || --callsBeforeFault > 0) return false;
  if (fault == Fault::fromThenOn) callsBeforeFault = 1;
  bit = true;
  bitReading = reading;
  if (fault == Fault::exception) throw std::bad_alloc();
  return true;
}

class FaultyEngine final : public ps::detail::Engine {
 public:
  explicit FaultyEngine(std::unique_ptr<Engine> sound) : sound_(std::move(sound)) {}

  bool begin(bool update) override { return noted(sound_->begin(update)); }
  Lookup get(std::string_view key, std::string_view& value) override {
    const Lookup found = strikes(true) ? Lookup::failed : sound_->get(key, value);
    noted(found != Lookup::failed);
    return found;
  }
  bool put(std::string_view key, std::string_view value) override { return changed() && sound_->put(key, value); }
  bool erase(std::string_view key) override { return changed() && sound_->erase(key); }
  bool scan(std::string_view prefix, const Visitor& visitor) override {
    const bool broken = strikes(true);
    int visits = 0;
    const bool done = sound_->scan(prefix, [&](std::string_view key, std::string_view value) {
      return !(broken && ++visits > 1) && visitor(key, value);
    });
    return noted(done && !broken);
  }
  Commit commit() override {
    const Commit outcome = sound_->commit();
    noted(outcome == Commit::committed);
    return outcome;
  }
  void abort() override { sound_->abort(); }
  void invalidate(psErrorKind kind) noexcept override { sound_->invalidate(kind); }
  std::uint64_t records() const override { return sound_->records(); }
  bool readers(std::vector<psReader>& found) override { return sound_->readers(found); }
  bool facts(detail::EngineFacts& found) override { return sound_->facts(found); }
  std::uint64_t version() const override { return sound_->version(); }
  std::size_t uncommittedBytes() const override { return sound_->uncommittedBytes(); }
  std::size_t maxKeySize() const override { return sound_->maxKeySize(); }
  std::size_t maxValueSize() const override { return sound_->maxValueSize(); }

 private:
  bool noted(bool good) {
    if (!good) fail(psErrorKind::disk, sound_->error().text + "a fault");
    return good;
  }
  bool changed() {
    if (!strikes(false)) return true;
    sound_->invalidate();
    return noted(false);
  }

  std::unique_ptr<Engine> sound_;
};

}  // namespace
}  // namespace ps::test

// Takes the place of the library's.
std::unique_ptr<ps::detail::Engine> ps::detail::openEngine(const std::string& path, const psSessionOptions& options,
                                                           StoreError& error) {
  auto sound = std::make_unique<LmdbEngine>(LmdbEnvironment::acquire(path, options, error), options);
  return std::make_unique<ps::test::FaultyEngine>(std::move(sound));
}

namespace ps::test {
namespace {

// What a store's file says, without what may differ: the next fresh numbers, and the page in which an object lies.
std::map<std::string, std::string> contentOfFile(const std::string& path) {
  std::map<std::string, std::string> content;
  std::map<std::string, int> objects;  // by container
  for (auto& [key, value] : RawFile(path).content()) {
    ps::detail::CatalogEntry entry;
    std::string where = key;
    for (std::size_t id = 1; id <= (key[0] == 'O' ? 9U : 1U) && (key[0] == 'N' || key[0] == 'O'); id += 8)
      where.replace(id + 4, 4, "page");
    if (key[0] == 'P') {
      ps::detail::PageContents page;
      EXPECT_TRUE(ps::detail::readContents(std::string_view(value).substr(8), page));
      objects[key.substr(0, 5)] += static_cast<int>(page.objects.size());
    } else if (entry.decode(key, value)) {
      content[where] = entry.name + " has " + std::to_string(entry.live);
    } else {
      content[where] = key[0] == 'N' ? value.substr(8, 4) : value;
    }
  }
  for (const auto& [container, count] : objects) content[container] = std::to_string(count);
  return content;
}

std::size_t membersOf(const psHandleBase& scope) {
  pstItr<psObj> found;
  std::size_t count = found.scan(scope, pscNoOpen) == 1 ? 0 : 100;
  while (found.next()) ++count;
  return count;
}

// Whichever call to the engine fails, a change happens whole or not at all, a question is answered rightly or refused,
// and the result says which.
TEST(StoreFaults, NothingIsHalfDoneAndNothingThatFailedIsAbsent) {
  const psId database(1, 0, 0, 0);
  const psId shelf(1, 1, 0, 0);
  const psId object(1, 1, 1, 1);
  const ScratchFolder folder;
  const std::string base = folder / "base";
  const std::string path = folder / "store";
  {
    psSession session;
    ASSERT_EQ(session.open(base, unsynced()), 1) << session.lastError();
    ASSERT_EQ(session.begin(pscUpdate), 1);
    for (const char* name : {"shelf", "other"}) {
      const pstHandle<psContObj> in = session.container(session.database("data"), name);
      const pstHandle<psObj> made(new (in) Flat(1));
      ASSERT_EQ(session.name(made, in, "name"), 1);
      ASSERT_EQ(session.name(made, made, "self"), 1);
      ASSERT_EQ(session.name(in, database, name), 1);
    }
    ASSERT_EQ(session.commit(), 1) << session.lastError();
  }
  const auto before = contentOfFile(base);

  const struct {
    const char* what;
    std::function<bool(psSession&)> run;
  } operations[] = {
      {"delete object",
       [&](psSession&) {
         return pstHandle<psObj>(object).isValid() && [&] {
           pstHandle<psObj> victim(object);
           return psDelete(victim) == 1;
         }();
       }},
      {"delete container",
       [&](psSession&) {
         pstHandle<psObj> victim(shelf);
         return psDelete(victim) == 1;
       }},
      {"delete database",
       [&](psSession&) {
         pstHandle<psObj> victim(database);
         return psDelete(victim) == 1;
       }},
      {"name", [&](psSession& s) { return s.name(object, database, "second") == 1; }},
      {"move", [&](psSession&) { return pstHandle<psObj>(object).move(psId(1, 2, 0, 0)) == 1; }},
      {"make container", [&](psSession& s) { return !s.container(database, "new").isNull(); }},
      {"make database", [&](psSession& s) { return !s.database("new").isNull(); }},
      {"make object", [&](psSession&) { return new (shelf) Blob(1, pattern(1, 9000)) != nullptr; }},
      {"find database", [&](psSession& s) { return s.database("data").oid() == database; }},
      {"find container", [&](psSession& s) { return s.container(database, "shelf").oid() == shelf; }},
      {"look up", [&](psSession&) { return pstHandle<Flat>().lookupObj(shelf, "name", pscRead) == 1; }},
      {"scan federation", [&](psSession& s) { return membersOf(s.federation()) == 1; }},
      {"scan database", [&](psSession&) { return membersOf(psHandleBase(database)) == 2; }},
      {"scan container", [&](psSession&) { return membersOf(psHandleBase(shelf)) == 1; }},
      {"class", [&](psSession&) { return psHandleBase(shelf).typeN() == psContObj::pstTypeN; }},
      {"name of", [&](psSession&) { return pstHandle<psContObj>(shelf).name() != nullptr; }},
      {"refresh", [&](psSession&) { return pstHandle<psContObj>(shelf).refreshOpen(pscRead, nullptr, 0) == 1; }},
  };
  for (const auto& operation : operations) {
    for (const Fault kind : {Fault::once, Fault::fromThenOn, Fault::exception}) {
      std::map<std::string, std::string> after;
      bit = true;
      for (int calls = 0; bit; ++calls) {
        SCOPED_TRACE(std::string(operation.what) + ", call " + std::to_string(calls) + ", fault " +
                     std::to_string(static_cast<int>(kind)));
        std::filesystem::copy_file(base, path, std::filesystem::copy_options::overwrite_existing);
        psSession session;
        ASSERT_EQ(session.open(path, unsynced()), 1) << session.lastError();
        ASSERT_EQ(session.begin(pscUpdate), 1) << session.lastError();
        callsBeforeFault = calls;
        fault = kind;
        bit = calls == 0;
        bitReading = false;
        const bool done = operation.run(session);
        callsBeforeFault = 0;
        const bool isLack = kind == Fault::exception && session.lastErrorKind() == psErrorKind::memory;
        EXPECT_TRUE(done || isLack || session.lastError().find("a fault") != std::string::npos) << session.lastError();
        EXPECT_TRUE(done || !bitReading || session.counters().refusals > 0) << "not counted";
        const bool committed = session.commit() == 1;
        ASSERT_EQ(session.close(), 1);
        const auto now = contentOfFile(path);
        if (calls == 0) after = now;
        EXPECT_TRUE(now == (done && committed ? after : before));
        EXPECT_TRUE(done || calls > 0);
      }
    }
  }
}

}  // namespace
}  // namespace ps::test
