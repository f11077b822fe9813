#include <pstyped.h>

#include <cstdio>
#include <cstdlib>

// What check-printers looks at in gdb.
class Station : public psObj {
  PS_PERSISTENT_CLASS(Station, psObj, 20001)
  PS_FIELDS(name, platforms, next, tracks)

 public:
  Station(std::string_view theName, int thePlatforms) : name(theName), platforms(thePlatforms) {}

  ps::String name;
  int platforms;
  pstRef<Station> next;
  pstVArray<int> tracks;
};
PS_REGISTER_CLASS(Station)
PS_ORDER(ByName, 20002, &Station::name)

namespace {

bool dumpsCore = false;

[[gnu::noinline]] void stop(const void* what) {
  asm volatile("" : : "r"(what) : "memory");
  if (dumpsCore) std::abort();
}

// Returns the last station.
psId write(ps::Session& session, const char* place) {
  const auto in = session.container(place, "stations");
  auto byName = ps::SortedSet<Station, ByName>::open_or_create(in, "by name");
  auto following = ps::HashMap<Station, Station, ByName>::open_or_create(in, "next");
  const auto north = ps::make<Station>(in, "North", 4);
  const auto south = ps::make<Station>(in, "South", 12);
  ps::edit(north)->next = south;
  ps::edit(south)->next = north;
  if (ps::edit(north)->tracks.extend(7) != 1 || ps::edit(north)->tracks.extend(8) != 1) std::abort();
  byName.insert(north);
  byName.insert(south);
  following.put(north, south);
  return south.id();
}

[[gnu::noinline]] void look(ps::Session& session, const psId& unread) {
  const auto in = session.container("rail", "stations");
  const ps::SortedSet<Station, ByName> byName(in, "by name");
  const ps::HashMap<Station, Station, ByName> following(in, "next");
  const ps::Ref<Station> north = byName.find("North").ref();
  const pstHandle<Station> handle(north.handle());
  [[maybe_unused]] const pstRef<Station> reference = north->next;
  [[maybe_unused]] const psId id = north.id();
  const pstRef<Station> farther(unread);
  const pstHandle<Station> nothing;
  [[maybe_unused]] const pstRef<Station> dangling(psId(1, 2, 77, 1));
  const Station transient("Halt", 1);
  if (handle.open(pscRead) == 1) stop(&transient);
  static_cast<void>(byName.size());
  stop(&nothing);
}

}  // namespace

// subject STORE [core]
int main(int argc, char** argv) try {
  dumpsCore = argc > 2;
  psId unread;
  {
    ps::Session session(argv[1]);
    session.update([&] {
      write(session, "rail");
      unread = write(session, "far");
    });
  }
  ps::Session session(argv[1]);
  session.read([&] { look(session, unread); });
} catch (const ps::Error& error) {
  std::fprintf(stderr, "subject: %s\n", error.what());
  return 1;
}
