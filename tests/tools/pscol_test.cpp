// The tool, run as from the command line, on stores of all kinds of content.
#include <gtest/gtest.h>
#include <inspect/psInspector.h>
#include <inspect/psStoreBuilder.h>
#include <pstyped.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>

#include "pscol/CommandLine.h"
#include "support/RawFile.h"
#include "support/ScratchFolder.h"

namespace pscol::test {

namespace fs = std::filesystem;
using nlohmann::json;

struct Tag {
  std::int16_t weight = 0;
  float share = 0;
  PS_FIELDS(weight, share)
};

class Item : public psObj {
  PS_PERSISTENT_CLASS(Item, psObj, 20601)
  PS_FIELDS(number, name, tags, other, share, codes, letters)

 public:
  Item(std::int64_t n, const std::string& text) : number(n), name(text) {}
  std::int64_t number = 0;
  ps::String name;
  pstVArray<Tag> tags;
  pstRef<psObj> other;
  double share = 0;
  std::uint8_t codes[3] = {};
  char letters[5] = {};
};
PS_REGISTER_CLASS(Item)

class LongItem : public Item {
  PS_PERSISTENT_CLASS(LongItem, Item, 20602)
  PS_FIELDS(numbers)

 public:
  using Item::Item;
  pstVArray<int> numbers;
};
PS_REGISTER_CLASS(LongItem)

// Nobody knows of its array.
class Opaque : public psObj {
  PS_PERSISTENT_CLASS(Opaque, psObj, 20603)

 public:
  explicit Opaque(int n) : number(n) {}
  int number = 0;
  pstVArray<char> bytes;
};
PS_REGISTER_CLASS(Opaque)

PS_ORDER(ByName, 20604, &Item::name, ps::descending(&Item::number))

using Random = std::mt19937_64;

std::string randomText(Random& random) {
  static const std::string alphabets[] = {"abc", "äöü€", std::string("\0\xff\n\"", 4)};
  std::string text;
  for (std::size_t n = random() % 12; n > 0; --n) {
    const std::string& alphabet = alphabets[random() % 8 < 6 ? 0 : random() % 3];
    text += alphabet == alphabets[1] ? alphabet : alphabet.substr(random() % alphabet.size(), 1);
  }
  return text;
}

ps::Ref<Item> makeItem(const pstHandle<psContObj>& in, std::int64_t n, Random& random) {
  const bool isLong = random() % 5 == 0;
  const std::string name = randomText(random);
  ps::Ref<Item> item = isLong ? ps::Ref<Item>(ps::make<LongItem>(in, n, name)) : ps::make<Item>(in, n, name);
  const pstHandle<Item> open(item.id());
  EXPECT_EQ(open.open(pscUpdate), 1);
  open->share = static_cast<double>(random()) / 7;
  open->codes[1] = static_cast<std::uint8_t>(random());
  open->letters[0] = 'x';
  EXPECT_EQ(open->tags.resize(random() % 4), 1);
  for (unsigned int i = 0; i < open->tags.size(); ++i) {
    open->tags.elem(i)->weight = static_cast<std::int16_t>(random());
    open->tags.elem(i)->share = static_cast<float>(i) / 3;
  }
  const pstHandle<LongItem> numbers(isLong ? item.id() : psId());
  const unsigned int count = isLong ? static_cast<unsigned int>(random() % 20 == 0 ? 20000 : random() % 300) : 0;
  if (isLong) {
    EXPECT_EQ(numbers->numbers.resize(count), 1);
  }
  for (unsigned int i = 0; i < count; i += 3) *numbers->numbers.elem(i) = static_cast<int>(i);
  return item;
}

using Set = ps::SortedSet<Item, ByName>;
using Map = ps::SortedMap<Item, Item, ByName>;
using Table = ps::HashSet<Item, ByName>;
using TableMap = ps::HashMap<Item, Item, ByName>;
using List = ps::List<Item>;

// All five kinds of collections, objects of all kinds of classes, names and keys, gaps where objects were.
void furnish(const std::string& path, unsigned seed, int count) {
  Random random(seed);
  ps::Session session(path);
  session.update([&] {
    const auto in = session.container("shop", "items");
    const auto lists = session.container("shop", "a/b\xc3\xa4");
    auto set = Set::create(lists, 5);
    auto map = Map::create(lists, 6);
    auto table = Table::create(lists, 5);
    auto tableMap = TableMap::create(lists, 4);
    auto list = List::create(in, 8);
    std::vector<ps::Ref<Item>> items;
    for (int n = 0; n < count; ++n) {
      const ps::Ref<Item> item = makeItem(in, n, random);
      if (!items.empty()) pstHandle<Item>(item.id())->other = pstRef<psObj>(items[random() % items.size()].id());
      items.push_back(item);
      set.insert(item);
      if (n % 2 == 0) map.put(item, items[random() % items.size()]);
      table.insert(item);
      if (n % 3 == 0) tableMap.put(item, items[random() % items.size()]);
      list.push_back(items[random() % items.size()]);
      if (n % 7 == 0) {
        const pstHandle<Opaque> opaque(new (in) Opaque(n));
        EXPECT_EQ(opaque->bytes.resize(n % 400), 1);
        for (unsigned int i = 0; i < opaque->bytes.size(); ++i) *opaque->bytes.elem(i) = static_cast<char>(n + i);
      }
      if (n % 50 == 0) {
        EXPECT_EQ(session.key(item.handle(), in, psKey(n)), 1);
      }
    }
    for (int n = 1; n < count; n += 11) set.erase(items[n]);
    for (int n = 0; n < count / 3; ++n) EXPECT_EQ(psDelete(new (in) Opaque(n)), 1);
    const auto file = [&](const psId& id, const char* name) {
      EXPECT_EQ(session.name(pstHandle<psObj>(id), lists, name), 1);
    };
    file(set.id(), "set");
    file(map.id(), "map");
    file(table.id(), "table");
    file(tableMap.id(), "table map");
    file(list.id(), "list");
    EXPECT_EQ(session.name(items[0].handle(), pstHandle<psObj>(list.id()), "first"), 1);
  });
}

struct Result {
  int status;
  std::string text;
};

Result run(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "pscol");
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  std::ostringstream out;
  std::ostringstream errors;
  std::streambuf* const usualOut = std::cout.rdbuf(out.rdbuf());
  std::streambuf* const usualErrors = std::cerr.rdbuf(errors.rdbuf());
  const int status = runCommandLine(static_cast<int>(pointers.size()), pointers.data());
  std::cout.rdbuf(usualOut);
  std::cerr.rdbuf(usualErrors);
  return {status, out.str() + errors.str()};
}

// The lines of a dump that say what the application put into the store, without where parts of collections are.
std::multiset<std::string> contentOf(const std::string& dump) {
  std::multiset<std::string> lines;
  std::ifstream in(dump);
  for (std::string text; std::getline(in, text);) {
    json line = json::parse(text);
    for (const char* const place : {"nodeContainer", "arrayContainer", "bucketContainer", "next", "commit"})
      line.erase(place);
    if (line.contains("container") && line["name"] == "") continue;
    lines.insert(line.dump());
  }
  return lines;
}

class Pscol : public testing::Test {
 protected:
  std::string at(const char* name) const { return folder_ / name; }
  std::string store(const std::string& name) const { return folder_.store(name); }

  static int statusOf(const std::vector<std::string>& arguments) {
    const Result result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.text;
    return result.status;
  }

 private:
  const ps::test::ScratchFolder folder_;
};

// The set of a store, in its order.
std::vector<psId> idsIn(const std::string& path) {
  std::vector<psId> ids;
  ps::Session session(path);
  session.read([&] {
    for (const Item& item : Set(session.container("shop", "a/b\xc3\xa4"), "set")) ids.push_back(item.psOid());
  });
  return ids;
}

TEST_F(Pscol, LoadsWhatItDumps) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    const std::string from = store("a" + std::to_string(seed) + ".ps");
    const std::string to = store("b" + std::to_string(seed) + ".ps");
    furnish(from, seed, seed == 1 ? 30 : ps::test::ScratchFolder::stepsOr(1500, 300));
    ASSERT_EQ(statusOf({"dump", from, "--output", at("a.dump")}), 0);
    ASSERT_EQ(statusOf({"load", at("a.dump"), to}), 0);
    EXPECT_EQ(statusOf({"check", to}), 0);
    ASSERT_EQ(statusOf({"dump", to, "--output", at("b.dump")}), 0);
    EXPECT_EQ(contentOf(at("a.dump")), contentOf(at("b.dump")));

    // The program that wrote the store goes on with the loaded one.
    const std::vector<psId> ids = idsIn(from);
    ps::Session after(to);
    after.update([&] {
      const auto lists = after.container("shop", "a/b\xc3\xa4");
      Set set(lists, "set");
      Table table(lists, "table");
      for (const psId& id : ids) {
        const ps::Ref<Item> item(id);
        EXPECT_TRUE(set.contains(item));
        EXPECT_TRUE(table.contains(item));
      }
      Random random(seed);
      for (int n = 0; n < 300; ++n) {
        const ps::Ref<Item> item = makeItem(after.container("shop", "items"), 10000 + n, random);
        EXPECT_TRUE(set.insert(item));
        EXPECT_TRUE(table.insert(item));
      }
    });
    psVerifyReport report;
    EXPECT_EQ(after.verify(report), 1) << after.lastError();
  }
}

TEST_F(Pscol, MovesAStoreToAServerAndBack) {
  if (!ps::test::ScratchFolder::isOnServer()) GTEST_SKIP() << "there is no server";
  furnish(at("a.ps"), 8, 400);
  const std::vector<psId> ids = idsIn(at("a.ps"));
  ASSERT_EQ(statusOf({"dump", at("a.ps"), "--output", at("a.dump")}), 0);

  // There by a copy of the records, and back by a dump; and the other way round.
  EXPECT_EQ(statusOf({"backup", at("a.ps"), store("copied")}), 0);
  EXPECT_EQ(statusOf({"diff", at("a.ps"), store("copied")}), 0);
  EXPECT_EQ(statusOf({"dump", store("copied"), "--output", at("b.dump")}), 0);
  EXPECT_EQ(statusOf({"load", at("b.dump"), at("b.ps")}), 0);
  EXPECT_EQ(statusOf({"load", at("a.dump"), store("loaded")}), 0);
  EXPECT_EQ(statusOf({"backup", store("loaded"), at("c.ps")}), 0);
  EXPECT_EQ(statusOf({"diff", store("loaded"), at("c.ps")}), 0);
  for (const std::string& path : {store("copied"), at("b.ps"), store("loaded"), at("c.ps")}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(statusOf({"check", path}), 0);
    EXPECT_EQ(statusOf({"dump", path, "--output", at("c.dump")}), 0);
    EXPECT_EQ(contentOf(at("c.dump")), contentOf(at("a.dump")));
    EXPECT_EQ(idsIn(path), ids) << "identifiers stay what they are";
  }

  for (const std::string& taken : {store("copied"), at("c.ps")}) {
    EXPECT_EQ(run({"backup", at("a.ps"), taken}).status, 2);
    EXPECT_EQ(run({"load", at("a.dump"), taken}).status, 2);
    EXPECT_EQ(statusOf({"check", taken}), 0);
  }
  for (const char* const command : {"compact", "salvage"}) {
    std::vector<std::string> arguments = {command, store("copied")};
    if (arguments[0] == "salvage") arguments.push_back(at("d.ps"));
    const Result refused = run(arguments);
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.text.find("it has no file"), std::string::npos) << refused.text;
  }
}

TEST_F(Pscol, TellsTheStructureAsItIs) {
  furnish(store("a.ps"), 4, ps::test::ScratchFolder::stepsOr(1200, 300));
  psSession session;
  ASSERT_EQ(session.open(store("a.ps")), 1);
  psVerifyReport report;
  ASSERT_EQ(session.verify(report), 1) << session.lastError();
  ASSERT_EQ(session.begin(pscRead), 1);
  psInspector inspector(session);
  psSurvey survey;
  ASSERT_EQ(inspector.survey(survey), 1);
  std::uint64_t objects = 0;
  std::uint64_t pages = 0;
  for (const psContainerInfo& container : survey.databases.at(0).containers) {
    objects += container.all.objects;
    pages += container.pages;
  }
  EXPECT_EQ(objects, report.objects);
  EXPECT_EQ(pages, report.pages);
  EXPECT_EQ(survey.collections.size(), report.collections);
  EXPECT_EQ(survey.recordBytes, report.bytes);

  std::uint64_t elements = 0;
  for (const psId& id : survey.collections) {
    std::set<psId> parts;
    std::uint64_t seen = 0;
    const auto count = [&seen](const psElementInfo&) { return ++seen > 0; };
    ASSERT_EQ(inspector.elements(id, count), 1);
    if (psIsTree(inspector.kindOf(id))) {
      psTreeInfo tree;
      std::uint64_t used = 0;
      ASSERT_EQ(inspector.tree(id, tree,
                               [&](const psNodeInfo& node) {
                                 EXPECT_TRUE(node.isReadable()) << node.complaint;
                                 EXPECT_TRUE(parts.insert(node.id).second);
                                 if (node.isLeaf) {
                                   EXPECT_EQ(node.elementsBefore, used);
                                 }
                                 used += node.isLeaf ? node.used : 0;
                                 return true;
                               }),
                1);
      const pstHandle<psBTree> opened(id);
      EXPECT_EQ(static_cast<int>(tree.elements), opened->size());
      EXPECT_EQ(static_cast<int>(tree.levels.size()), opened->depth());
      EXPECT_EQ(tree.levels.back().used, tree.elements);
      EXPECT_EQ(parts.size(), tree.parts);
      EXPECT_EQ(seen, tree.elements);
      elements += tree.elements;
    } else {
      psHashInfo table;
      std::uint64_t places = 0;
      ASSERT_EQ(inspector.table(id, table,
                                [&](const psBucketInfo& bucket) {
                                  places += bucket.places;
                                  return bucket.isReadable();
                                }),
                1);
      std::uint64_t shared = 0;
      for (std::size_t k = 0; k < table.sharing.size(); ++k) shared += k * table.sharing[k];
      EXPECT_EQ(places, std::uint64_t{1} << table.depth);
      EXPECT_EQ(shared, table.elements);
      EXPECT_EQ(static_cast<int>(table.elements), pstHandle<psHashSet>(id)->size());
      EXPECT_EQ(seen, table.elements);
      elements += table.elements;
    }
  }
  EXPECT_EQ(elements, report.elements);

  // What was read of one store is nothing of another, be its last commit of the same number.
  furnish(store("b.ps"), 40, 20);
  ASSERT_EQ(session.close(), 1);
  ASSERT_EQ(session.open(store("b.ps")), 1);
  ASSERT_EQ(session.begin(pscRead), 1);
  ASSERT_EQ(inspector.survey(survey), 1);
  psStoredObject object;
  EXPECT_EQ(inspector.object(survey.collections.at(0), object), 1) << session.lastError();
  psStoreBuilder nothing;
  EXPECT_EQ(nothing.addClass(psStoredClass()), 0);
  EXPECT_EQ(nothing.finish(), 0);
}

TEST_F(Pscol, RescuesWhatCanBeReadOfADamagedStore) {
  furnish(at("a.ps"), 5, 1000);
  psNodeInfo lost;
  std::uint64_t elements = 0;
  {
    psSession session;
    ASSERT_EQ(session.open(at("a.ps")), 1);
    ASSERT_EQ(session.begin(pscRead), 1);
    psInspector inspector(session);
    psTreeInfo tree;
    ASSERT_EQ(inspector.tree(inspector.find("shop/a/b\xc3\xa4/set"), tree,
                             [&lost](const psNodeInfo& node) {
                               if (node.isLeaf && node.child > 0) lost = node;
                               return true;
                             }),
              1);
    elements = tree.elements;
  }
  {
    ps::test::RawFile file(at("a.ps"));
    const auto content = file.content();
    const psId& id = lost.entries;
    std::string key = "P";
    for (const unsigned part : {id.get_DB(), id.get_OC(), id.get_page()})
      key += {static_cast<char>(part >> 8), static_cast<char>(part)};
    key += std::string(4, '\0');
    std::string value = content.at(key);
    value[value.size() / 2] ^= 1;
    file.put(key, value);
  }
  const Result checked = run({"check", at("a.ps")});
  EXPECT_EQ(checked.status, 1);
  EXPECT_NE(checked.text.find("does not match its checksum"), std::string::npos) << checked.text;
  EXPECT_EQ(run({"dump", at("a.ps"), "--output", at("a.dump")}).status, 1);
  EXPECT_EQ(run({"load", at("a.dump"), at("b.ps")}).status, 0);
  const Result whole = run({"check", at("b.ps"), "--json"});
  EXPECT_EQ(whole.status, 0) << whole.text;
  EXPECT_TRUE(json::parse(whole.text)["whole"].get<bool>());
  ps::Session session(at("b.ps"));
  session.read([&] {
    EXPECT_EQ(Set(session.container("shop", "a/b\xc3\xa4"), "set").size(), static_cast<int>(elements - lost.used));
  });
}

TEST_F(Pscol, AnswersWithItsStatusAndCreatesNothing) {
  const std::string path = store("a.ps");
  const std::string copy = store("b.ps");
  const std::string set = "shop/a/b\xc3\xa4/set";
  furnish(path, 6, 200);
  const std::vector<std::vector<std::string>> readers = {{"info", path},       {"ls", path},
                                                         {"ls", path, "shop"}, {"ls", path, "shop/items"},
                                                         {"schema", path},     {"schema", path, "Item"},
                                                         {"show", path, set},  {"show", path, "shop/items/@50"},
                                                         {"stat", path, set},  {"range", path, set, "--limit", "5"},
                                                         {"check", path},      {"top", path, "--seconds", "1"}};
  for (std::vector<std::string> arguments : readers) {
    SCOPED_TRACE(arguments[0]);
    EXPECT_EQ(run(arguments).status, 0);
    const std::string missing = store("missing.ps");
    std::vector<std::string> elsewhere = arguments;
    elsewhere[1] = missing;
    EXPECT_EQ(run(elsewhere).status, 2);
    EXPECT_FALSE(fs::exists(missing));
    arguments.emplace_back("--json");
    const Result answer = run(arguments);
    EXPECT_EQ(answer.status, 0);
    EXPECT_TRUE(json::parse(answer.text).is_object());
  }
  EXPECT_EQ(statusOf({"report", path, "-o", at("report.html")}), 0);
  EXPECT_EQ(run({"show", path, "shop/nothing"}).status, 1);
  EXPECT_EQ(run({"show", path, "1-1-9999-1"}).status, 1);
  EXPECT_EQ(run({"schema", path, "Nothing"}).status, 1);
  EXPECT_EQ(run({"info", "memory:"}).status, 2);
  EXPECT_EQ(run({"nonsense"}).status, 2);
  EXPECT_EQ(run({"info"}).status, 2);

  EXPECT_EQ(statusOf({"backup", path, copy}), 0);
  EXPECT_EQ(run({"backup", path, copy}).status, 2);
  EXPECT_EQ(statusOf({"diff", path, copy}), 0);
  EXPECT_EQ(statusOf({"diff", path, copy, "--limit", "1"}), 0);
  furnish(store("c.ps"), 7, 200);
  EXPECT_EQ(run({"diff", path, store("c.ps")}).status, 1);

  EXPECT_EQ(statusOf({"dump", path, "--output", at("a.dump")}), 0);
  EXPECT_EQ(run({"load", at("a.dump"), path}).status, 2);
  fs::resize_file(at("a.dump"), fs::file_size(at("a.dump")) / 2);
  EXPECT_EQ(run({"load", at("a.dump"), store("d.ps")}).status, 2);
  for (const auto& entry : fs::directory_iterator(at("")))
    EXPECT_EQ(entry.path().filename().string().rfind("d.ps", 0), std::string::npos) << entry.path();
}

TEST_F(Pscol, CompactsAFileThatNobodyHasOpen) {
  furnish(at("a.ps"), 6, 200);
  ASSERT_EQ(statusOf({"backup", at("a.ps"), at("b.ps")}), 0);
  {
    const ps::Session open(at("a.ps"));
    const Result refused = run({"compact", at("a.ps")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.text.find("it is open"), std::string::npos) << refused.text;
  }
  const auto size = fs::file_size(at("a.ps"));
  EXPECT_EQ(statusOf({"compact", at("a.ps")}), 0);
  EXPECT_LT(fs::file_size(at("a.ps")), size);
  EXPECT_EQ(statusOf({"diff", at("a.ps"), at("b.ps")}), 0);
}

}  // namespace pscol::test
