// The five typed collections beside those of the standard library, in long random runs: with commits, aborts and
// reopenings, with iterators that stay while something else changes, and with every k-th open refused. What is refused
// is thrown, and never gives a wrong answer.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "pstyped.h"
#include "support/TempStore.h"

namespace {

using ps::test::TempStore;

class Entry : public psObj {
  PS_PERSISTENT_CLASS(Entry, psObj, 20530)
  PS_FIELDS(group, text)
 public:
  Entry(int itsGroup, std::string_view itsText) : group(itsGroup), text(itsText) {}
  int group;
  ps::String text;
  std::string_view view() const { return text.viewIfReadable(); }
};
PS_ORDER(ByText, 20531, &Entry::text)
PS_ORDER(ByGroup, 20532, ps::descending(&Entry::group), &Entry::view)

using Set = ps::SortedSet<Entry, ByText>;
using Groups = ps::SortedSet<Entry, ByGroup>;
using Map = ps::SortedMap<Entry, Entry, ByText>;
using HashSet = ps::HashSet<Entry, ByText>;
using HashMap = ps::HashMap<Entry, Entry, ByText>;
using List = ps::List<Entry>;

}  // namespace

PS_REGISTER_CLASS(Entry)

namespace {

using Ref = ps::Ref<Entry>;

struct Model {
  std::map<std::string, psId> elements;  // of the sets, the keys of the maps
  std::map<std::string, psId> values;
  std::vector<psId> list;
};

class TypedModel {
 public:
  TypedModel(std::uint64_t seed, TempStore::Place place)
      : place_(place), store_(place, ps::test::unsynced()), random_(seed) {
    static_cast<void>(store_->begin(pscUpdate));
    const auto in = store_.container("typed");
    ids_ = {Set::create(in, 4).id(),     Groups::create(in, 5).id(),  Map::create(in, 4).id(),
            HashSet::create(in, 5).id(), HashMap::create(in, 5).id(), List::create(in, 4).id()};
    commit();
  }

  void run(int steps) {
    for (int i = 0; i < steps; ++i) {
      if (random_() % 20 == 0) end();
      const bool isRefusing = random_() % 3 == 0;
      const Model before = model_;
      const std::uint64_t k = isRefusing ? 1 + random_() % 40 : 0;
      try {
        const ps::test::Refuse refuse(store_.session(), k, ps::test::Refuse::Manner::once);
        step();
        ASSERT_FALSE(testing::Test::HasFailure()) << "step " << i << ", refused " << k;
      } catch (const ps::Error& error) {
        ASSERT_NE(k, 0U) << error.what();
        ASSERT_EQ(error.kind(), psErrorKind::denied) << error.what();
        abort();
      }
    }
    checkAll();
  }

 private:
  void commit() {
    ASSERT_EQ(store_->commit(), 1) << store_->lastError();
    committed_ = model_;
    begin();
  }
  void abort() {
    store_->abort();
    model_ = committed_;
    begin();
  }
  void begin() { ASSERT_EQ(store_->begin(pscUpdate), 1); }
  void end() {
    const auto choice = random_() % 4;
    if (choice == 0) return abort();
    commit();
    if (choice != 1 || place_ == TempStore::Place::memory) return;
    store_->abort();
    store_.reopen();
    if (!store_->inTransaction()) begin();
    checkAll();
  }

  Set set() const { return Set(ids_[0]); }
  Groups groups() const { return Groups(ids_[1]); }
  Map map() const { return Map(ids_[2]); }
  HashSet hashSet() const { return HashSet(ids_[3]); }
  HashMap hashMap() const { return HashMap(ids_[4]); }
  List list() const { return List(ids_[5]); }

  std::string anyText() {
    return std::string(1, static_cast<char>('a' + random_() % 3)) + std::to_string(random_() % 60);
  }
  int groupOf(const std::string& text) const {
    return static_cast<int>(text.size() * 7 + static_cast<unsigned>(text.back())) % 5;
  }
  Ref anyValue() {
    return random_() % 5 == 0 || model_.list.empty() ? Ref() : Ref(model_.list[random_() % model_.list.size()]);
  }

  void step() {
    switch (random_() % 8) {
      case 0:
      case 1:
        return insert(anyText());
      case 2:
        return erase(anyText());
      case 3:
        return changeList();
      case 4:
        return lookUp(anyText());
      case 5:
        return ranges(anyText(), anyText());
      case 6:
        return walk();
      default:
        return standAndChange();
    }
  }

  void insert(const std::string& text) {
    const auto known = model_.elements.find(text);
    const Ref element = known != model_.elements.end()
                            ? Ref(known->second)
                            : ps::make<Entry>(store_.container("typed"), groupOf(text), text);
    const bool isNew = known == model_.elements.end();
    const Ref value = anyValue();
    EXPECT_EQ(set().insert(element), isNew);
    EXPECT_EQ(groups().insert(element), isNew);
    EXPECT_EQ(hashSet().insert(element), isNew);
    map().put(element, value);
    hashMap().put(element, value);
    model_.elements[text] = element.id();
    model_.values[text] = value.id();
  }

  void erase(const std::string& text) {
    const bool isThere = model_.elements.count(text) != 0;
    EXPECT_EQ(set().erase(text), isThere);
    EXPECT_EQ(groups().erase({groupOf(text), text}), isThere);
    EXPECT_EQ(isThere ? hashSet().erase(Ref(model_.elements[text])) : hashSet().erase(text), isThere);
    EXPECT_EQ(map().erase(text), isThere);
    EXPECT_EQ(hashMap().erase(text), isThere);
    model_.elements.erase(text);
    model_.values.erase(text);
  }

  // An iterator that stands in the list meanwhile goes on where the same element is at its position.
  void changeList() {
    auto standing = list().begin() + static_cast<std::ptrdiff_t>(random_() % (model_.list.size() + 1));
    const auto at = static_cast<std::size_t>(standing.index());
    if (at == model_.list.size()) return changeListAt();
    const psId before = (*standing).id();
    changeListAt();
    if (at < model_.list.size() && model_.list[at] == before) {
      EXPECT_EQ((*standing).id(), before);
      EXPECT_TRUE(at + 1 == model_.list.size() || (*++standing).id() == model_.list[at + 1]);
    } else {
      EXPECT_THROW(*standing, ps::Error);
    }
  }

  void changeListAt() {
    List all = list();
    const int size = static_cast<int>(model_.list.size());
    const int at = static_cast<int>(random_() % (model_.list.size() + 1));
    const Ref element = model_.elements.empty() || random_() % 9 == 0 ? Ref() : Ref(model_.elements.begin()->second);
    const auto place = model_.list.begin() + at;
    switch (random_() % 6) {
      case 0:
        all.insert(at, element);
        model_.list.insert(place, element.id());
        break;
      case 1:
        all.push_back(element);
        model_.list.push_back(element.id());
        break;
      case 2:
        if (at == size) return;
        all.erase(at);
        model_.list.erase(place);
        break;
      case 3:
        if (at == size) return;
        all.set(at, element);
        *place = element.id();
        break;
      case 4: {
        const int to = std::min(at + 7, size);
        all.erase(at, to);
        model_.list.erase(place, model_.list.begin() + to);
        break;
      }
      default: {
        std::vector<Ref> several;
        for (const auto& [text, id] : model_.elements) several.emplace_back(id);
        several.resize(std::min<std::size_t>(several.size(), 9));
        all.append(several);
        for (const Ref& each : several) model_.list.push_back(each.id());
      }
    }
  }

  void lookUp(const std::string& text) {
    const auto known = model_.elements.find(text);
    const psId id = known != model_.elements.end() ? known->second : psId();
    const auto idOf = [](const std::optional<Ref>& ref) { return ref ? ref->id() : psId(); };
    EXPECT_EQ(idOf(set().get(text)), id);
    EXPECT_EQ(idOf(groups().get({groupOf(text), text})), id);
    EXPECT_EQ(idOf(hashSet().get(text)), id);
    EXPECT_EQ(set().contains(text), !id.isNull());
    EXPECT_EQ(map().contains(text) && hashMap().contains(text) && hashSet().contains(text), !id.isNull());
    const auto value = map().get(text);
    const auto hashed = hashMap().get(text);
    ASSERT_EQ(value.has_value(), !id.isNull());
    ASSERT_EQ(hashed.has_value(), !id.isNull());
    EXPECT_TRUE(!value || (value->id() == model_.values[text] && hashed->id() == model_.values[text]));
    const auto found = hashSet().find(text);
    EXPECT_EQ(found != hashSet().end(), !id.isNull());
    EXPECT_TRUE(id.isNull() || found->view() == text);
    if (!model_.list.empty()) {
      const int at = static_cast<int>(random_() % model_.list.size());
      EXPECT_EQ(list()[at].id(), model_.list[static_cast<std::size_t>(at)]);
      const auto first = std::find(model_.list.begin(), model_.list.end(), model_.list[static_cast<std::size_t>(at)]);
      EXPECT_EQ(list().index_of(Ref(*first)), static_cast<int>(first - model_.list.begin()));
    }
  }

  // The texts of a range of elements.
  template <class Range>
  static std::string textsOf(const Range& range) {
    std::string texts;
    for (auto it = range.begin(); it != range.end(); ++it) texts += std::string(it.ref()->view()) + ' ';
    return texts;
  }
  std::string modelTexts(const std::function<bool(const std::string&)>& isMeant) const {
    std::string texts;
    for (const auto& [text, id] : model_.elements) texts += isMeant(text) ? text + ' ' : "";
    return texts;
  }

  void ranges(std::string from, std::string to) {
    if (to < from) std::swap(from, to);
    const auto between = [&](const std::string& text) { return text >= from && text < to; };
    EXPECT_EQ(textsOf(set().range(from, to)), modelTexts(between));
    EXPECT_EQ(textsOf(map().range(from, to)), modelTexts(between));
    const std::string part = from.substr(0, 1 + random_() % 2);
    const auto begins = [&part](const std::string& text) { return text.compare(0, part.size(), part) == 0; };
    EXPECT_EQ(textsOf(set().prefix(part)), modelTexts(begins));
    const int group = groupOf(from);
    const auto isIn = [&](const std::string& text) { return groupOf(text) == group; };
    EXPECT_EQ(textsOf(groups().with(group)), modelTexts(isIn));
    EXPECT_EQ(textsOf(groups().prefix(group, part)),
              modelTexts([&](auto& text) { return isIn(text) && begins(text); }));
    const auto bound = model_.elements.upper_bound(from);
    const auto found = set().upper_bound(from);
    EXPECT_EQ(found.ref().id(), bound != model_.elements.end() ? bound->second : psId());
    EXPECT_EQ(set().index_of(found), std::distance(model_.elements.begin(), bound));
  }

  void walk() {
    const std::string all = modelTexts([](auto&) { return true; });
    EXPECT_EQ(textsOf(set()), all);
    std::vector<std::string> back;
    for (auto it = set().rbegin(); it != set().rend(); ++it) back.emplace_back(it->view());
    EXPECT_TRUE(std::equal(back.rbegin(), back.rend(), model_.elements.begin(), model_.elements.end(),
                           [](auto& text, auto& pair) { return text == pair.first; }));
    for (auto [key, value] : map()) EXPECT_EQ(value.id(), model_.values[std::string(key.view())]);
    std::size_t met = 0;
    for (auto [key, value] : hashMap()) {
      EXPECT_EQ(value.id(), model_.values[std::string(key.view())]);
      ++met;
    }
    for (auto it = hashSet().rbegin(); it != hashSet().rend(); ++it) ++met;
    EXPECT_EQ(met, 2 * model_.elements.size());
    EXPECT_THROW(static_cast<void>(std::next(set().begin(), set().size() + 1)), ps::Error);
    EXPECT_THROW(static_cast<void>(std::next(hashSet().begin(), hashSet().size() + 1)), ps::Error);
    std::size_t i = 0;
    for (const Ref& element : list()) EXPECT_EQ(element.id(), model_.list.at(i++));
    for (auto it = list().rbegin(); it != list().rend(); ++it) EXPECT_EQ(it->id(), model_.list.at(--i));
    EXPECT_EQ(i, 0U);
    const auto last = list().end();
    EXPECT_TRUE(model_.list.empty() || last[-1].id() == model_.list.back());
  }

  // Iterators stay where they are while elements come and go.
  void standAndChange() {
    if (model_.elements.size() < 3) return;
    auto known = std::next(model_.elements.begin(), static_cast<int>(random_() % (model_.elements.size() - 1)));
    auto sorted = set().find(known->first);
    auto hashed = hashSet().find(known->first);
    // First in one set alone: an element comes before the one at which the iterator stands, and goes again.
    const Ref visitor = ps::make<Entry>(store_.container("typed"), 0, " before all");
    auto alone = set().find(known->first);
    EXPECT_TRUE(set().insert(visitor));
    ++alone;
    const auto afterIt = std::next(known);
    EXPECT_EQ(alone.ref().id(), afterIt != model_.elements.end() ? afterIt->second : psId());
    EXPECT_TRUE(set().erase(visitor));
    --alone;
    EXPECT_EQ(alone->view(), known->first);
    const std::string text = anyText();
    insert(text);
    const std::string gone = random_() % 2 == 0 ? anyText() : known->first;
    const std::string mine = known->first;
    erase(gone);
    if (gone == mine) {
      EXPECT_THROW(++sorted, ps::Error);
      EXPECT_THROW(++hashed, ps::Error);
      return;
    }
    const auto next = model_.elements.upper_bound(mine);
    EXPECT_EQ(sorted->view(), mine);
    ++sorted;
    EXPECT_EQ(sorted.ref().id(), next != model_.elements.end() ? next->second : psId());
    ++hashed;
    EXPECT_TRUE(hashed == hashSet().end() || model_.elements.count(std::string(hashed->view())) == 1);
    // Removal through an iterator leads to the next element.
    auto following = set().erase(set().find(mine));
    EXPECT_EQ(following.ref().id(), next != model_.elements.end() ? next->second : psId());
    groups().erase(Ref(model_.elements[mine]));
    map().erase(map().find(mine));
    hashSet().erase(hashSet().find(mine));
    hashMap().erase(hashMap().find(mine));
    model_.elements.erase(mine);
    model_.values.erase(mine);
  }

  void checkAll() {
    walk();
    const int size = static_cast<int>(model_.elements.size());
    EXPECT_TRUE(set().size() == size && groups().size() == size && map().size() == size);
    EXPECT_TRUE(hashSet().size() == size && hashMap().size() == size);
    EXPECT_EQ(list().size(), static_cast<int>(model_.list.size()));
    const auto in = store_.container("typed");
    auto copy = Set::create(in, 6);
    copy.assign(hashSet());
    EXPECT_EQ(textsOf(copy), textsOf(set()));
    EXPECT_TRUE(ps::symmetric_difference(copy, set()).empty());
    EXPECT_EQ(copy.erase_if([](const Entry& entry) { return entry.group % 2 == 0; }),
              static_cast<int>(std::count_if(model_.elements.begin(), model_.elements.end(),
                                             [this](auto& pair) { return groupOf(pair.first) % 2 == 0; })));
    EXPECT_EQ(textsOf(copy), modelTexts([this](auto& text) { return groupOf(text) % 2 != 0; }));
    EXPECT_EQ(textsOf(ps::difference(set(), copy)), modelTexts([this](auto& text) { return groupOf(text) % 2 == 0; }));
    EXPECT_EQ(textsOf(ps::intersection(copy, set())), textsOf(copy));
    copy.destroy();
  }

  TempStore::Place place_;
  TempStore store_;
  std::mt19937_64 random_;
  std::vector<psId> ids_;
  Model model_;
  Model committed_;
};

}  // namespace

TEST(TypedModel, InMemory) {
  const std::uint64_t seed = ps::test::seedOr(7);
  SCOPED_TRACE(seed);
  TypedModel(seed, TempStore::Place::memory).run(1500);
}

TEST(TypedModel, InAFile) {
  const std::uint64_t seed = ps::test::seedOr(8);
  SCOPED_TRACE(seed);
  TypedModel(seed, TempStore::Place::file).run(1500);
}
