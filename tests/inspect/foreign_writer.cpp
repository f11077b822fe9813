// Writes collections for foreign_test, which has none of these classes, and a list of what is in them. Each line is "="
// and the name of a collection; or an identifier, or "-" for what is not in it, and the values of the keys as texts.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "pstyped.h"

namespace shop {

enum class Colour : signed char { red = -3, green = 2 };

// No object is one of this class itself.
class Named : public psObj {
  PS_PERSISTENT_CLASS(Named, psObj, 20801)
  PS_FIELDS(name, weight)
 public:
  Named() = default;
  ps::String name;
  double weight = 0;
};

class Part : public Named {
  PS_PERSISTENT_CLASS(Part, Named, 20802)
  PS_FIELDS(count, size, slim, code, isSold, colour, letters, text, next)
 public:
  Part() = default;
#ifdef LATER_VERSION
  std::int64_t count = 5;  // it was narrower, and in another place
#endif
  std::int32_t size = 0;
  float slim = 0;
  std::uint16_t code = 0;
  bool isSold = false;
  Colour colour = Colour::red;
  char letters[4] = {};
  pstVArray<char> text;
  pstRef<Part> next;
#ifndef LATER_VERSION
  std::int32_t count = 5;
#endif
};

class Bolt : public Part {
  PS_PERSISTENT_CLASS(Bolt, Part, 20803)
  PS_FIELDS(size)
 public:
  Bolt() = default;
  double size = 0;  // another one than that by which parts are ordered
};

PS_ORDER(ByName, 20811, &Named::name)
PS_ORDER(BySize, 20812, ps::descending(&Part::size), &Part::text)
PS_ORDER(ByWeight, 20813, &Part::slim, ps::descending(&Part::weight), &Part::code)
PS_ORDER(ByLetters, 20814, &Part::isSold, ps::descending(&Part::letters), &Part::colour)
PS_ORDER(ByNext, 20815, &Part::next)
PS_ORDER(ByLength, 20816, [](const Part& part) { return part.name.viewIfReadable().size(); })

class Shelf : public psTreeSet {
  PS_PERSISTENT_CLASS(Shelf, psTreeSet, 20821)
  PS_FIELDS(label)
 public:
  explicit Shelf(const pstHandle<psCompare>& order) : psTreeSet(order, 5) {}
  ps::String label;
};
class Drawer : public psHashMap {
  PS_PERSISTENT_CLASS(Drawer, psHashMap, 20822)
 public:
  explicit Drawer(const pstHandle<psCompare>& order) : psHashMap(order, 7, 1) {}
};

}  // namespace shop

#ifdef LATER_VERSION
PS_REGISTER_CLASS_VERSION(shop::Part, 1)
#else
PS_REGISTER_CLASS(shop::Part)
#endif
PS_REGISTER_CLASS(shop::Named)
PS_REGISTER_CLASS(shop::Bolt)
PS_REGISTER_CLASS(shop::Shelf)
PS_REGISTER_CLASS(shop::Drawer)

namespace {

using ps::Ref;
using shop::Part;

std::ofstream list;

void print(std::string_view text) { list << '\t' << text; }
void print(const psId& id) {
  list << '\t' << id.get_DB() << '-' << id.get_OC() << '-' << id.get_page() << '-' << id.get_slot();
}
template <class Number>
void print(Number number) {
  if constexpr (std::is_enum_v<Number>) {
    print(static_cast<std::underlying_type_t<Number>>(number));
  } else if constexpr (std::is_floating_point_v<Number>) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", static_cast<double>(number));
    list << '\t' << text;
  } else {
    list << '\t' << +number;
  }
}

template <class Order, class Element>
void printKeys(const Element& element) {
  std::apply([](const auto&... view) { (print(view), ...); }, Order::viewsOf(element));
  list << '\n';
}

template <class T>
const T& keyIn(const T& element) {
  return element;
}
template <class K, class V>
const K& keyIn(const ps::MapEntry<K, V>& entry) {
  return entry.key();
}

template <class View>
auto add(View& all, const Ref<Part>& part, int) -> decltype(all.put(part, part)) {
  return all.put(part, part);
}
template <class View>
void add(View& all, const Ref<Part>& part, long) {
  all.insert(part);
}

// Puts 2 of 3 parts in.
template <class Order, class View>
void fill(const char* name, View all, const std::vector<Ref<Part>>& parts) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i % 3 == 2 || all.contains(parts[i])) continue;
    add(all, parts[i], 0);
  }
  list << "= " << name << '\n';
  for (const auto& element : all) {
    const auto& key = keyIn(element);
    const psId id = key.psOid();
    list << id.get_DB() << '-' << id.get_OC() << '-' << id.get_page() << '-' << id.get_slot();
    printKeys<Order>(key);
  }
  for (const Ref<Part>& part : parts) {
    if (all.contains(part)) continue;
    list << '-';
    printKeys<Order>(*part);
  }
}

void change(Part& part, std::mt19937& random) {
  const auto oneOf = [&random](const auto& all) { return all[random() % std::size(all)]; };
  using Double = std::numeric_limits<double>;
  const std::string_view texts[] = {"", "a", "ab", "ab ", "abcdefgh", "abcdefghi", "\xff", "b"};
  const double weights[] = {0.0, -0.0, 1.1, -1.5, 1e300, Double::infinity(), Double::quiet_NaN()};
  part.name = std::string(oneOf(texts)) + std::to_string(random() % 400);
  part.weight = oneOf(weights);
  part.size = static_cast<int>(random() % 41) - 20;
  part.slim = static_cast<float>(oneOf(weights));
  part.code = static_cast<std::uint16_t>(random());
  part.isSold = random() % 2 == 0;
  part.colour = random() % 2 == 0 ? shop::Colour::red : shop::Colour::green;
  const std::string_view text = oneOf(texts);
  text.substr(0, 4).copy(part.letters, sizeof part.letters);
  for (const char c : text) static_cast<void>(part.text.extend(c));
}

template <class Order, class View>
void fillNew(const pstHandle<psContObj>& in, const char* name, const std::vector<Ref<Part>>& parts) {
  fill<Order>(name, View::open_or_create(in, name), parts);
}

template <class Order, class View, class Collection>
void fillOwn(const pstHandle<psContObj>& in, const char* name, const std::vector<Ref<Part>>& parts) {
  pstHandle<Collection> own;
  if (own.lookupObj(in, name, pscNoOpen) != 1) {
    const pstHandle<psCompare> order(new (in) Order);
    own = new (in) Collection(order);
    ps::detail::file(own, in, name);
  }
  fill<Order>(name, View(own.oid()), parts);
}

}  // namespace

// STORE LIST SEED [damaged]
int main(int argc, char** argv) try {
  using namespace shop;
  psSessionOptions options;
  options.sync = false;
  ps::Session session(argv[1], options);
  list.open(argv[2]);
  std::mt19937 random(static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)));
  session.update([&] {
    const auto in = session.container("shop", "parts");
    std::vector<Ref<Part>> parts;
    for (int i = 0; i < 300; ++i) {
      const Ref<Part> part = i % 4 == 0 ? Ref<Part>(ps::make<Bolt>(in)) : ps::make<Part>(in);
      change(*ps::edit(part), random);
      ps::edit(part)->next = parts.empty() ? part : parts[random() % parts.size()];
      parts.push_back(part);
    }
    fillNew<ByName, ps::SortedSet<Named, ByName>>(in, "by name", parts);
    fillNew<BySize, ps::SortedMap<Part, Part, BySize>>(in, "by size", parts);
    fillNew<ByWeight, ps::SortedSet<Part, ByWeight>>(in, "by weight", parts);
    fillNew<ByLetters, ps::HashSet<Part, ByLetters>>(in, "by letters", parts);
    fillNew<ByNext, ps::HashMap<Part, Part, ByNext>>(in, "by next", parts);
    fillNew<ByWeight, ps::HashSet<Part, ByWeight>>(in, "hashed by weight", parts);
    fillOwn<BySize, ps::SortedSet<Part, BySize>, Shelf>(in, "a shelf", parts);
    fillOwn<BySize, ps::HashMap<Part, Part, BySize>, Drawer>(in, "a drawer", parts);
    fillNew<ByLength, ps::SortedSet<Part, ByLength>>(in, "by length", parts);
    if (argc > 4) ps::edit(parts[0])->size = 1000;  // it stays in its place
  });
  return 0;
} catch (const ps::Error& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
