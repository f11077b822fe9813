// A process that has none of the classes of a store reads what another program has written. The writer's list of what
// is in each collection is the model. Adopted classes stay for the life of the process, so each test has a process.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "core/psCollectionIterator.h"
#include "hash/psHashSet.h"
#include "inspect/ForeignClasses.h"
#include "inspect/psOrderKeys.h"
#include "sorted/psTreeSet.h"
#include "store/catalog/SealedValue.h"
#include "store/engine/StoreKey.h"
#include "store/session/SessionCore.h"
#include "support/Process.h"
#include "support/RawStore.h"
#include "support/TempStore.h"

namespace ps::test {
namespace {

using ps::detail::SessionCore;

constexpr unsigned int part = 20802;
constexpr unsigned int byLength = 20816;

struct Line {
  std::string id;  // "-" for what is not in the collection
  std::vector<std::string> keys;
};
using Model = std::map<std::string, std::vector<Line>>;

Model readList(const std::string& path) {
  Model model;
  std::vector<Line>* lines = nullptr;
  std::ifstream file(path);
  for (std::string text; std::getline(file, text);) {
    if (text.compare(0, 2, "= ") == 0) {
      lines = &model[text.substr(2)];
      continue;
    }
    Line& line = lines->emplace_back();
    std::size_t end = text.find('\t');
    line.id = text.substr(0, end);
    while (end != std::string::npos) {
      const std::size_t begin = end + 1;
      end = text.find('\t', begin);
      line.keys.push_back(text.substr(begin, end - begin));
    }
  }
  return model;
}

std::string textOfId(const psId& id) {
  return std::to_string(id.get_DB()) + "-" + std::to_string(id.get_OC()) + "-" + std::to_string(id.get_page()) + "-" +
         std::to_string(id.get_slot());
}

void write(const char* writer, const ScratchFolder& folder, const char* rest) {
  const std::string command =
      std::string(writer) + " '" + folder.store("store") + "' " + (folder / "list") + " " + rest;
  ASSERT_EQ(std::system(command.c_str()), 0);  // NOLINT(cert-env33-c)
}

// A session that reads, with the classes of the store.
struct Reader {
  explicit Reader(const std::string& path) {
    psSessionOptions options;
    options.readOnly = true;
    EXPECT_TRUE(session.open(path, options) == 1 && session.begin(pscRead) == 1) << session.lastError();
    // What was met before is known afterwards too.
    if (session.inTransaction()) {
      const pstHandle<psContObj> in = container();
      pstHandle<psCollection> shelf;
      EXPECT_NE(shelf.lookupObj(in, "a shelf", pscRead), 1);
      EXPECT_TRUE(ps::detail::adoptForeignClasses(*SessionCore::current(), adopted)) << session.lastError();
    }
  }
  pstHandle<psContObj> container() { return session.container(session.database("shop"), "parts"); }

  psSession session;
  std::vector<unsigned int> adopted;
};

std::string notesIn(const psVerifyReport& report) {
  std::string all;
  for (const psFinding& finding : report.notes) all += finding.text + "\n";
  return all;
}
std::string faultsIn(const psVerifyReport& report) {
  std::string all;
  for (const psFinding& finding : report.faults) all += finding.text + "\n";
  return all;
}

psDescribedKey keyFrom(const std::vector<std::string>& texts, const std::vector<psOrderKey>& keys) {
  psDescribedKey key;
  std::string complaint;
  for (std::size_t i = 0; i < texts.size(); ++i)
    EXPECT_TRUE(psParseKey(texts[i], keys.at(i), key.values.emplace_back(), complaint)) << complaint;
  return key;
}

// Each line of the list must be found, or not, by its keys and by its object, in the order of the list.
void compare(const pstHandle<psContObj>& in, const std::string& name, const std::vector<Line>& lines) {
  SCOPED_TRACE(name);
  pstHandle<psCollection> all;
  ASSERT_EQ(all.lookupObj(in, name.c_str(), pscRead), 1);
  const pstRef<psCompare> comparator = all->comparator();
  const unsigned int order = pstHandle<psCompare>(comparator).typeN();
  const std::vector<psOrderKey> keys = psOrderKeysOf(order);
  ASSERT_FALSE(keys.empty());
  ASSERT_EQ(psTakesDescribedKey(order), order != byLength);
  const std::unique_ptr<psCollectionIterator> walk(all->keyIterator());
  for (const Line& line : lines) {
    const bool isIn = line.id != "-";
    const pstRef<psObj> next = isIn ? walk->next(pscNoLock) : pstRef<psObj>();
    EXPECT_EQ(next.isNull() ? "-" : textOfId(next.oid()), line.id);
    if (order == byLength) continue;
    const psDescribedKey key = keyFrom(line.keys, keys);
    EXPECT_EQ(all->contains(static_cast<const void*>(&key)), isIn) << line.id;
    if (!isIn) continue;
    EXPECT_EQ(all->get(static_cast<const void*>(&key)).oid(), next.oid());
    EXPECT_TRUE(all->contains(pstHandle<psObj>(next)));
  }
  EXPECT_FALSE(walk->hasNext());
}

void compareAll(Reader& reader, const Model& model) {
  EXPECT_EQ(model.size(), 9U);
  for (const auto& [name, lines] : model) compare(reader.container(), name, lines);
  psVerifyReport report;
  EXPECT_EQ(reader.session.verify(report), 1) << faultsIn(report) << reader.session.lastError();
  EXPECT_EQ(report.elements, [&model] {
    std::uint64_t sum = 0;
    for (const auto& known : model)
      for (const Line& line : known.second) sum += line.id != "-" ? 1 : 0;
    return sum;
  }());
  // Only the order that a function makes is unknown.
  const std::string notes = notesIn(report);
  EXPECT_EQ(report.notes.size(), 2U) << notes;
  EXPECT_NE(notes.find("class number " + std::to_string(byLength)), std::string::npos) << notes;
  EXPECT_NE(notes.find("its order was not checked"), std::string::npos) << notes;
}

// Runs a test in a process that has adopted nothing yet.
void alone(const std::function<void()>& test) {
  EXPECT_EQ(inProcess([&test]() -> std::string {
              test();
              return ::testing::Test::HasFailure() ? "it failed as said above" : "";
            }),
            "");
}

TEST(ForeignClasses, CollectionsAreReadVerifiedAndSearchedWithoutTheirProgram) {
  const ScratchFolder folder;
  write(FOREIGN_WRITER, folder, std::to_string(seedOr(1)).c_str());
  alone([&folder] {
    Reader reader(folder.store("store"));
    EXPECT_EQ(reader.adopted.size(), 10U);
    compareAll(reader, readList(folder / "list"));
    // The bounds of what begins so.
    pstHandle<psTreeSet> names;
    ASSERT_EQ(names.lookupObj(reader.container(), "by name", pscRead), 1);
    psDescribedKey key = keyFrom({"ab"}, psOrderKeysOf(20811));
    key.isPrefix = true;
    key.end = psDescribedKey::End::beforeFirst;
    const std::unique_ptr<psCollectionIterator> walk(names->iterator());
    EXPECT_FALSE(walk->goTo(&key));
    const std::string first = textOfId(walk->next(pscNoLock).oid());
    const std::vector<Line> lines = readList(folder / "list")["by name"];
    const auto found = std::find_if(lines.begin(), lines.end(), [](const Line& line) {
      return line.id != "-" && line.keys[0].compare(0, 2, "ab") == 0;
    });
    EXPECT_EQ(first, found->id);
  });
}

TEST(ForeignClasses, ObjectsOfOlderLayoutsAreConverted) {
  const ScratchFolder folder;
  write(FOREIGN_WRITER, folder, "1");
  write(LATER_WRITER, folder, "2");
  alone([&folder] {
    Reader reader(folder.store("store"));
    compareAll(reader, readList(folder / "list"));
  });
}

TEST(ForeignClasses, AnOrderThatIsWrongIsFound) {
  const ScratchFolder folder;
  write(FOREIGN_WRITER, folder, "3 damaged");
  alone([&folder] {
    Reader reader(folder.store("store"));
    psVerifyReport report;
    EXPECT_EQ(reader.session.verify(report), 0);
    const std::string faults = faultsIn(report);
    EXPECT_NE(faults.find("does not come after"), std::string::npos) << faults;
    EXPECT_NE(faults.find("is in a wrong"), std::string::npos) << faults;
  });
}

// What is adopted does not change what a session that updates does, and other classes of the same number are refused.
TEST(ForeignClasses, AreForSessionsThatReadTheirOwnStore) {
  const ScratchFolder folder;
  write(FOREIGN_WRITER, folder, "4");
  {
    const Reader reader(folder.store("store"));
    EXPECT_TRUE(ptmIsKindOf(part, psObj::pstTypeN));
  }
  psSession session;
  ASSERT_TRUE(session.open(folder.store("store"), unsynced()) == 1 && session.begin(pscUpdate) == 1)
      << session.lastError();
  std::vector<unsigned int> adopted;
  EXPECT_FALSE(ps::detail::adoptForeignClasses(*SessionCore::current(), adopted));
  EXPECT_NE(session.lastError().find("readOnly"), std::string::npos) << session.lastError();
  const pstHandle<psContObj> in = session.container(session.database("shop"), "parts");
  pstHandle<psObj> shelf;
  EXPECT_NE(shelf.lookupObj(in, "a shelf", pscUpdate), 1);
  EXPECT_EQ(session.lastErrorKind(), psErrorKind::unknownClass);
  EXPECT_EQ(pstNewObj(part, 8, in), nullptr);
  ASSERT_TRUE(session.abort() == 1 && session.close() == 1);
  {
    RawStore store(folder.store("store"));
    const std::string key(std::string_view(ps::detail::StoreKey::classRecord(part)));
    std::string payload = store.content()[key].substr(8);
    payload[payload.find("Part")] = 'M';
    store.put(key, ps::detail::sealed(key, payload));
  }
  psSessionOptions options = unsynced();
  EXPECT_EQ(session.open(folder.store("store"), options), 1) << session.lastError();
  ASSERT_EQ(session.close(), 1);
  options.readOnly = true;
  EXPECT_EQ(session.open(folder.store("store"), options), 0);
  EXPECT_NE(
      session.lastError().find("is Mart in the store, but Part in a store that this process has looked at before"),
      std::string::npos)
      << session.lastError();
  const ScratchFolder later;
  write(LATER_WRITER, later, "4");
  EXPECT_EQ(session.open(later.store("store"), options), 0);
  EXPECT_NE(session.lastError().find("Part (number 20802) has other fields or another version"), std::string::npos)
      << session.lastError();
}

TEST(ForeignClasses, TextsThatAreNoKeysAreRefused) {
  const auto parsed = [](const char* text, KeyKind kind, unsigned int bytes) {
    psKeyValue value;
    std::string complaint;
    return psParseKey(text, {"size", kind, bytes, false}, value, complaint) ? std::string() : complaint;
  };
  EXPECT_EQ(parsed("-128", KeyKind::signedNumber, 1), "");
  EXPECT_EQ(parsed("128", KeyKind::signedNumber, 1), "'128' is not a signed number of 1 byte, which the key 'size' is");
  EXPECT_EQ(parsed("65535", KeyKind::unsignedNumber, 2), "");
  EXPECT_EQ(parsed("18446744073709551615", KeyKind::unsignedNumber, 8), "");
  for (const char* const text : {"", "x", "1x", "65536", "-1", " 1"})
    EXPECT_NE(parsed(text, KeyKind::unsignedNumber, 2), "") << text;
  EXPECT_EQ(parsed("-inf", KeyKind::floating, 8), "");
  EXPECT_NE(parsed("1,5", KeyKind::floating, 8), "");
  EXPECT_EQ(parsed("1-2-3-4", KeyKind::identifier, 0), "");
  for (const char* const text : {"1-2-3", "1-2-3-4-5", "1-2-3-", "1-2-3-65536", "a-2-3-4"})
    EXPECT_NE(parsed(text, KeyKind::identifier, 0), "") << text;
}

}  // namespace
}  // namespace ps::test
