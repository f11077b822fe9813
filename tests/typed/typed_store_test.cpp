// Sessions, references, texts and casts of the typed layer, and what they throw.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <sstream>
#include <unordered_set>
#include <vector>

#include "pstyped.h"
#include "support/ScratchFolder.h"
#include "support/TempStore.h"

namespace {

class Animal : public psObj {
  PS_PERSISTENT_CLASS(Animal, psObj, 20520)
  PS_FIELDS(name)
 public:
  explicit Animal(std::string_view called) : name(called) {}
  ps::String name;
};
class Dog : public Animal {
  PS_PERSISTENT_CLASS(Dog, Animal, 20521)
 public:
  using Animal::Animal;
};
class Trap : public psObj {
  PS_PERSISTENT_CLASS(Trap, psObj, 20522)
 public:
  explicit Trap(bool throws) {
    if (throws) throw std::runtime_error("trap");
  }
};
PS_ORDER(ByName, 20523, &Animal::name)
void (*trap)() = nullptr;
PS_ORDER(ByTrap, 20524, [](const Animal& animal) {
  if (trap != nullptr) trap();
  return animal.name.view();
})

using Animals = ps::SortedSet<Animal, ByName>;

psErrorKind kindOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const ps::Error& error) {
    EXPECT_STRNE(error.what(), "");
    return error.kind();
  }
  return psErrorKind::none;
}

}  // namespace

PS_REGISTER_CLASS(Animal)
PS_REGISTER_CLASS(Dog)
PS_REGISTER_CLASS(Trap)

TEST(TypedStore, TransactionsCommitOrAbort) {
  const ps::test::ScratchFolder folder;
  const std::string path = folder.store("typed.ps");
  EXPECT_EQ(kindOf([&] { ps::Session nowhere(folder / "no/such/folder/x.ps"); }), psErrorKind::absent);
  ps::Session session(path, ps::test::unsynced());
  EXPECT_EQ(kindOf([&] { session.read([&] { session.database("zoo"); }); }), psErrorKind::absent);
  const int made = session.update([&] {
    const auto in = session.container("zoo", "animals");
    auto animals = Animals::open_or_create(in, "all");
    animals.insert(ps::make<Dog>(in, "Rex"));
    EXPECT_EQ(kindOf([&] { animals.insert(nullptr); }), psErrorKind::none);  // as the plain call: nothing is added
    return animals.size();
  });
  EXPECT_EQ(made, 1);
  const auto names = [&] {
    const Animals animals(session.container("zoo", "animals"), "all");
    std::string all;
    for (const Animal& animal : animals) all += animal.name.str() + " ";
    return all;
  };
  EXPECT_THROW(session.update([&] {
    const auto in = session.container("zoo", "animals");
    Animals(in, "all").insert(ps::make<Animal>(in, "Kitty"));
    throw std::runtime_error("undo");
  }),
               std::runtime_error);
  EXPECT_FALSE(session.inTransaction());
  EXPECT_EQ(session.read(names), "Rex ");
  session.update([&] { session.abort(); });  // f may end the transaction itself
  EXPECT_EQ(kindOf([&] { session.read([&] { session.update([] {}); }); }), psErrorKind::usage);

  session.read([&] {
    const auto in = session.container("zoo", "animals");
    const Animals animals(in, "all");
    EXPECT_EQ(kindOf([&] { ps::edit(animals.begin().ref()); }), psErrorKind::usage);
    EXPECT_EQ(kindOf([&] { ps::make<Animal>(in, "x"); }), psErrorKind::usage);
    EXPECT_EQ(kindOf([&] { Animals(in, "none"); }), psErrorKind::absent);
    EXPECT_EQ(kindOf([&] { ps::SortedSet<Animal>(animals.id()); }), psErrorKind::usage);
    EXPECT_EQ(kindOf([&] { ps::HashSet<Animal, ByName>(animals.id()); }), psErrorKind::usage);
    EXPECT_EQ(kindOf([&] { ps::List<Animal>(psId(1, 1, 99, 1)); }), psErrorKind::absent);
    EXPECT_EQ(kindOf([&] { static_cast<void>(Animals(psId{})); }), psErrorKind::absent);
    EXPECT_EQ(kindOf([&] { animals.at(1); }), psErrorKind::usage);
  });
  EXPECT_NE(kindOf([&] { Animals(psId(1, 1, 1, 1)); }), psErrorKind::none) << "outside a transaction";
}

TEST(TypedStore, ReferencesAreCheckedAndCast) {
  ps::test::TempStore store(ps::test::TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const auto in = store.container("animals");
  const ps::Ref<Dog> dog = ps::make<Dog>(in, "Rex");
  const ps::Ref<Animal> animal = dog;
  const ps::Ref<Animal> other = ps::make<Animal>(in, "Tom");
  EXPECT_EQ(animal->name, "Rex");
  EXPECT_EQ(ps::cast<Dog>(animal), dog);
  EXPECT_FALSE(ps::try_cast<Dog>(other));
  EXPECT_EQ(kindOf([&] { ps::cast<Dog>(other); }), psErrorKind::usage);
  EXPECT_FALSE(ps::cast<Dog>(ps::Ref<Animal>()));
  EXPECT_EQ(kindOf([] { static_cast<void>(ps::Ref<Animal>()->name); }), psErrorKind::absent);
  EXPECT_EQ(std::set<psId>({animal.id(), other.id(), dog.id()}).size(), 2U);
  EXPECT_EQ(std::unordered_set<ps::Ref<Animal>>({animal, other, animal}).size(), 2U);

  for (const bool throws : {false, true}) {  // also where the session itself throws
    store->throwErrors(throws);
    store->openGuard([&](const psId& id, psMode) { return id != other.id(); });
    const ps::Ref<Animal> again(other.id());
    EXPECT_EQ(kindOf([&] { static_cast<void>(again->name); }), psErrorKind::denied);
    EXPECT_EQ(kindOf([&] { ps::edit(again); }), psErrorKind::denied);
    store->openGuard(nullptr);
  }
  store->throwErrors(false);
  ps::destroy(other);
  EXPECT_EQ(kindOf([&] { static_cast<void>(ps::Ref<Animal>(other.id())->name); }), psErrorKind::absent);
  EXPECT_EQ(kindOf([&] { ps::cast<Dog>(other); }), psErrorKind::absent);

  const auto objects = [&] {
    pstItr<psObj> it;
    it.scan(in, pscRead);
    int count = 0;
    while (it.next()) ++count;
    return count;
  };
  const auto before = objects();
  EXPECT_THROW(ps::make<Trap>(in, true), std::runtime_error);
  store->openGuard([](const psId&, psMode mode) { return mode != pscUpdate; });
  EXPECT_EQ(kindOf([&] { ps::make<Animal>(in, "refused"); }), psErrorKind::denied) << "its text cannot be stored";
  store->openGuard(nullptr);
  EXPECT_EQ(objects(), before);
  EXPECT_TRUE(ps::make<Trap>(in, false));
}

TEST(TypedStore, TextsChangeAndCompare) {
  ps::test::TempStore store(ps::test::TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const auto in = store.container("texts");
  ps::Ref<Animal> kept = ps::make<Animal>(in, "Rex");
  for (const bool isStored : {true, false}) {
    Animal transient("Rex");
    Animal& animal = isStored ? *ps::edit(kept) : transient;
    ps::String& text = animal.name;
    text += std::string_view("\0!", 2);
    EXPECT_EQ(text.view(), std::string_view("Rex\0!", 5));
    text = text.view().substr(1, 2);  // a part of itself
    EXPECT_EQ(text, "ex");
    text.append(text);
    EXPECT_TRUE(text == "exex" && "exex" == text && text != "ex" && text < "f" && "a" < text && text == text);
    const ps::String copy(text);
    text.clear();
    EXPECT_TRUE(text.empty() && copy == "exex" && copy.size() == 4);
    text = copy;
    std::ostringstream out;
    out << text;
    EXPECT_EQ(out.str(), "exex");
    text = std::string(70000, 'x');
    EXPECT_EQ(text.size(), 70000U);
  }
}

TEST(TypedStore, KeysThatThrowAreRefusals) {
  ps::test::TempStore store(ps::test::TempStore::Place::memory);
  ASSERT_EQ(store->begin(pscUpdate), 1);
  const auto in = store.container("animals");
  auto sorted = ps::SortedSet<Animal, ByTrap>::create(in);
  auto hashed = ps::HashSet<Animal, ByTrap>::create(in);
  for (const char* const name : {"Rex", "Tom", "Kitty"}) {
    const auto animal = ps::make<Animal>(in, name);
    EXPECT_TRUE(sorted.insert(animal) && hashed.insert(animal));
  }
  const auto other = ps::make<Animal>(in, "Rex");
  const std::pair<void (*)(), psErrorKind> traps[] = {
      {[] { throw ps::Error(psErrorKind::damaged, psId(), "a text cannot be read"); }, psErrorKind::damaged},
      {[] { throw std::bad_alloc(); }, psErrorKind::memory},
      {[] { throw std::runtime_error("trap"); }, psErrorKind::usage},
      {[] { throw 1; }, psErrorKind::usage}};
  for (const auto& [thrower, kind] : traps) {
    trap = thrower;
    for (const auto& action : std::vector<std::function<void()>>{
             [&] { sorted.contains("Rex"); }, [&] { hashed.contains("Rex"); }, [&] { sorted.insert(other); },
             [&] { hashed.insert(other); }, [&] { sorted.erase("Tom"); }, [&] { sorted.find(other); }})
      EXPECT_EQ(kindOf(action), kind);
  }
  trap = nullptr;
  EXPECT_TRUE(sorted.size() == 3 && hashed.size() == 3 && sorted.contains("Tom") && hashed.contains("Rex"));
}
