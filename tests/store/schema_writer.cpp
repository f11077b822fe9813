// Writes the objects that schema_test reads with later versions of the same classes.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "store/psPersistentClass.h"
#include "store/psSession.h"
#include "store/pstVArray.h"

namespace catalog {

constexpr int animals = 20401;
constexpr int packages = 20402;
constexpr int count = 700;

enum class Colour : signed char { red, green = -7 };
struct Place {
  float x = 1;
  short y = 2;
  PS_FIELDS(x, y)
};
struct Line {
  int quantity;
  PS_FIELDS(quantity)
};
class Animal : public psObj {
  PS_PERSISTENT_CLASS(Animal, psObj, animals)
  PS_FIELDS(age, tag)
 public:
  Animal() = default;
  int age = 3;
  char tag[4] = "cat";
};
class Package : public Animal {
  PS_PERSISTENT_CLASS(Package, Animal, packages)
  PS_FIELDS(size, flag, colour, weight, code, places, name, lines, gone, next, kilobytes, small, tail)
 public:
  explicit Package(int i) : size(-i), flag(i % 2 == 0), colour(i % 3 == 0 ? Colour::green : Colour::red) {
    age = i;
    weight = static_cast<float>(i) / 2;
    places[1].x = static_cast<float>(i);
    const std::string text = "name " + std::to_string(i);
    if (name.resize(static_cast<unsigned>(text.size())) == 1) std::memcpy(name.head(), text.data(), text.size());
    for (int j = 0; j < i % 4; ++j) static_cast<void>(lines.extend(Line{i + j}));
    if (i % 5 == 0) static_cast<void>(gone.resize(3));
    kilobytes = i;
    small = static_cast<unsigned char>(i);
  }
  int size = 0;
  bool flag = false;
  Colour colour = Colour::red;
  float weight = 0;
  char code[6] = "abcde";
  Place places[2];
  pstVArray<char> name;
  pstVArray<Line> lines;
  pstVArray<int> gone;
  pstRef<Package> next;
  int kilobytes = 0;
  unsigned char small = 0;
  short tail = -1;
};
// Neither has a description yet.
struct Plain {
  int quantity;
};
class Holder : public psObj {
  PS_PERSISTENT_CLASS(Holder, psObj, 20403)
 public:
  explicit Holder(int i) { static_cast<void>(plains.extend(Plain{i})); }
  pstVArray<Plain> plains;
};

}  // namespace catalog

PS_REGISTER_CLASS(catalog::Holder)
PS_REGISTER_CLASS_VERSION(catalog::Animal, 1)
PS_REGISTER_CLASS_VERSION(catalog::Package, 1)

// The second file lists the arrays that version 2 drops.
int main(int argc, char** argv) {
  using catalog::Package;
  psSession session;
  bool done = argc == 3 && session.open(argv[1]) == 1 && session.begin(pscUpdate) == 1;
  if (done) {
    const pstHandle<psContObj> in = session.container(session.database("shop"), "packages");
    pstRef<Package> before;
    std::ofstream dropped(argv[2]);
    for (int i = 0; i < catalog::count; ++i) {
      const pstHandle<Package> made(new (in) Package(i));
      made->next = before;
      before = made;
      std::uint64_t storage = 0;
      std::memcpy(&storage, &made->gone, sizeof storage);
      if (storage != 0) dropped << storage << '\n';
    }
    const pstHandle<psContObj> holders = session.container(session.database("shop"), "holders");
    for (int i = 0; i < catalog::count; ++i) done = done && new (holders) catalog::Holder(i) != nullptr;
    done = done && session.commit() == 1;
  }
  if (!done) std::fprintf(stderr, "%s\n", session.lastError().c_str());
  return done ? 0 : 1;
}
