// What must not compile: a case each, with a part of what the compiler must say. check-compile compiles them. Case 0 is
// what compiles.
#include <string>
#include <vector>

#if CASE == 0 || CASE > 10
#include "pstyped.h"
#else
#include "store/psPersistentClass.h"
#include "typed/String.h"
#endif

struct Place {
  int x = 0;
  int y = 0;
  PS_FIELDS(x, y)
};
struct Plain {
  int x = 0;
};
struct Named {
  ps::String name;
  PS_FIELDS(name)
};
class Base : public psObj {
  PS_PERSISTENT_CLASS(Base, psObj, 20001)
  PS_FIELDS(inherited)
 public:
  int inherited = 0;
};

class Thing : public Base {
  PS_PERSISTENT_CLASS(Thing, Base, 20002)
 public:
  Thing() = default;
  int number = 0;
#if CASE == 0
  char letters[3] = {};
  float matrix[2][3] = {};
  pstRef<Thing> next;
  pstVArray<Place> places;
  Place place;
  ps::String text;
  PS_FIELDS(number, letters, matrix, PS_RENAMED(next, "after", "behind"), places, place, text)
#elif CASE == 1   // use ps::String or pstVArray<char>
  std::string text;
  PS_FIELDS(number, text)
#elif CASE == 2   // a pointer cannot be stored
  Thing* next = nullptr;
  PS_FIELDS(number, next)
#elif CASE == 3   // a handle cannot be stored
  pstHandle<Thing> next;
  PS_FIELDS(number, next)
#elif CASE == 4   // a std::vector becomes a pstVArray
  std::vector<int> numbers;
  PS_FIELDS(number, numbers)
#elif CASE == 5   // structs that have PS_FIELDS themselves
  Plain plain;
  PS_FIELDS(number, plain)
#elif CASE == 6   // PS_FIELDS leaves out a member of this class
  long forgotten = 0;
  PS_FIELDS(number)
#elif CASE == 7   // PS_FIELDS leaves out a member of this class
  int forgotten = 0;
  int last = 0;
  PS_FIELDS(number, last)
#elif CASE == 8   // PS_FIELDS names a member of a base class
  PS_FIELDS(number, inherited)
#elif CASE == 9   // elements are stored as their bytes
  pstVArray<Named> names;
  PS_FIELDS(number, names)
#elif CASE == 10  // elements are stored as their bytes
  pstVArray<pstVArray<int>> numbers;
  PS_FIELDS(number, numbers)
#else
  std::string_view name() const { return text.view(); }
  std::vector<int> list() const { return {}; }
  ps::String text;
  PS_FIELDS(number, text)
#endif
};
PS_REGISTER_CLASS(Base)
PS_REGISTER_CLASS(Thing)

#if CASE == 0 || CASE > 10
PS_ORDER(ByText, 20003, &Thing::text)
using Things = ps::SortedSet<Thing, ByText>;

void use(ps::Session& session, Things& things, const ps::Ref<Thing>& thing) {
  session.update([&] { return things.size(); });
#if CASE == 11  // values of this type have no order
  struct ByList : ps::detail::Order<ByList> {
    static constexpr auto psKeys = ps::detail::orderBy(&Thing::list);
    using Views = ps::detail::OrderTypes<std::remove_const_t<decltype(psKeys)>>::Views;
  };
#elif CASE == 12  // const
  thing->number = 5;
#elif CASE == 13  // what a transaction returns must not point into the store
  session.read([&] { return thing->name(); });
#elif CASE == 14  // elements of one class
  static_cast<void>(ps::intersection(things, ps::SortedSet<Base>(thing.id())));
#elif CASE == 15  // the order is a class that PS_ORDER defines
  static_cast<void>(ps::SortedSet<Thing, int>(thing.id()));
#endif
}
#endif
#if CASE == 16  // a class with a version needs PS_FIELDS
class Versioned : public psObj {
  PS_PERSISTENT_CLASS(Versioned, psObj, 20004)
  int number = 0;
};
PS_REGISTER_CLASS_VERSION(Versioned, 1)
#endif
