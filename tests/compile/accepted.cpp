// Uses what the headers of the typed layer define, so that a compiler looks at all of it.
#include <algorithm>
#include <iterator>
#include <numeric>
#include <set>
#include <unordered_set>
#if __cplusplus >= 202002L
#include <ranges>
#endif

#include "pstyped.h"

namespace shop {
inline namespace v1 {

class Animal : public psObj {
  PS_PERSISTENT_CLASS(Animal, psObj, 20001)
  PS_FIELDS(age_, name_)
 public:
  Animal(std::string_view name, int age) : age_(age), name_(name) {}
  std::string_view name() const { return name_.view(); }
  int age() const noexcept { return age_; }

 private:
  int age_ = 0;
  ps::String name_;
};
class Dog : public Animal {
  PS_PERSISTENT_CLASS(Dog, Animal, 20002)
  PS_FIELDS(tag_)
 public:
  using Animal::Animal;

 private:
  char tag_[3] = {};
};
template <class A, class B>
class Pair : public psObj {
  PS_PERSISTENT_CLASS(Pair, psObj, 20010 + A::pstTypeN % 10)
  PS_FIELDS(a_, b_)
  pstRef<A> a_;
  pstRef<B> b_;
};

PS_ORDER(ByName, 20020, &Animal::name)
PS_ORDER(ByAge, 20021, ps::descending(&Animal::age), [](const Animal& animal) { return animal.name(); })

}  // namespace v1
}  // namespace shop
PS_REGISTER_CLASS(shop::Animal)
PS_REGISTER_CLASS_VERSION(shop::Dog, 1)
PS_REGISTER_CLASS(shop::Pair<shop::Animal, shop::Dog>)
PS_CLASS_CONVERSION(shop::Dog, 0, [](const psOldObject& old, shop::Dog&) { static_cast<void>(old.get<int>("age_")); })

using shop::Animal;
using Names = ps::SortedSet<Animal, shop::ByName>;
using Ages = ps::SortedSet<Animal, shop::ByAge>;
using Hashed = ps::HashSet<Animal, shop::ByName>;
using Map = ps::SortedMap<Animal, psTreeList, shop::ByName>;
using Hash = ps::HashMap<Animal, Animal, shop::ByName>;
using List = ps::List<Animal>;

template class ps::SortedSet<Animal, shop::ByAge>;
template class ps::HashSet<Animal, shop::ByName>;
template class ps::SortedMap<Animal, psTreeList, shop::ByName>;
template class ps::HashMap<Animal, Animal, shop::ByName>;
template class ps::List<Animal>;
template class ps::Ref<Animal>;

#if __cplusplus >= 202002L
static_assert(std::bidirectional_iterator<Names::iterator> && std::bidirectional_iterator<Names::reverse_iterator>);
static_assert(std::bidirectional_iterator<Hashed::iterator> && std::bidirectional_iterator<Map::iterator>);
static_assert(std::bidirectional_iterator<Hash::iterator> && std::random_access_iterator<List::iterator>);
static_assert(std::random_access_iterator<List::reverse_iterator>);
static_assert(std::ranges::bidirectional_range<const Names> && std::ranges::common_range<const Names>);
#endif

int useAll(ps::Session& session) {
  return session.update([&] {
    const auto in = session.container("zoo", "animals");
    auto names = Names::open_or_create(in, "names");
    auto ages = Ages::create(in);
    auto list = List::create(in);
    auto map = Map::create(in);
    const auto rex = ps::make<shop::Dog>(in, "Rex", 3);
    ps::Ref<Animal> animal = rex;
    ages.insert(animal);
    names.insert_all(ages);
    list.append(names.prefix("R"));
    map.put(animal, list.ref());
    int sum = 0;
    for (auto [key, found] : map.range("A", "Z")) sum += key.age() + List(found).size();
    for (const Animal& each : ps::intersection(names, names)) sum += each.age();
    for (const Animal& each : ps::difference(names, Hashed::create(in))) sum += each.age();
    sum += static_cast<int>(std::count_if(names.begin(), names.end(), [](const Animal& a) { return a.age() > 2; }));
    sum += std::distance(ages.with(3).begin(), ages.with(3).end()) > 0 ? ages.prefix(3, "R").begin()->age() : 0;
    const std::set<psId> ids{animal.id(), rex.id()};
    const std::unordered_set<ps::Ref<Animal>> refs{animal};
    sum += ps::cast<shop::Dog>(animal)->age() + static_cast<int>(ids.size() + refs.size());
#if __cplusplus >= 202002L && (!defined(__clang__) || __clang_major__ > 15)
    for (int age : names | std::views::transform(&Animal::age) | std::views::take(3)) sum += age;
    sum += std::ranges::max_element(names, {}, &Animal::age)->age();
#endif
    return sum;
  });
}
