#include <pscollections.h>

#include <cstdio>
#include <ctime>

class Visit : public psObj {
  PS_PERSISTENT_CLASS(Visit, psObj, 20001)

 public:
  explicit Visit(std::time_t t) : time(t) {}
  std::time_t time;
};
PS_REGISTER_CLASS(Visit)

static int complain(const psSession& session) {
  std::fprintf(stderr, "quickstart: %s\n", session.lastError().c_str());
  return 1;
}

int main() {
  psSession session;
  if (session.open("visits.ps") != 1 || session.begin(pscUpdate) != 1) return complain(session);
  const pstHandle<psDBObj> db = session.database("guest book");  // made in the first run, found in the others
  const pstHandle<psContObj> in = session.container(db, "visits");
  pstHandle<psTreeSet> visits;
  if (visits.lookupObj(db, "all visits", pscUpdate) != 1) {
    visits = new (in) psTreeSet(200);  // 200 entries in a node; without a comparator, ordered by identifier
    if (session.name(visits, db, "all visits") != 1) return complain(session);
  }
  if (!visits->add(new (in) Visit(std::time(nullptr)))) return complain(session);
  std::printf("visit number %d\n", visits->size());
  return session.commit() == 1 ? 0 : complain(session);
}
