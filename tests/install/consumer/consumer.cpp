#include <pscollections.h>

#include <cstdio>
#include <cstring>

// An application's own class: its glue, base class and arrays come from the installed headers, and the library, in
// another file of the process, has to find its registration and its virtual table.
class Note : public psObj {
  PS_PERSISTENT_CLASS(Note, psObj, 20001)

 public:
  explicit Note(const char* text) {
    const unsigned int size = static_cast<unsigned int>(std::strlen(text)) + 1;
    if (letters.resize(size) == 1) {
      std::memcpy(letters.head(), text, size);
    }
  }

  const char* text() const { return letters.size() == 0 ? "" : letters.elem(0); }

 private:
  pstVArray<char> letters;
};

PS_REGISTER_CLASS(Note)

// Functions of the application's own that the library has too: each keeps to its own.
int pow2(int) { return 0; }
bool isPrime(unsigned int) { return true; }
unsigned int next_prime(unsigned int) { return 0; }

bool fitsItsHeaders();  // in version.cpp

namespace {

// A hash set takes more elements than a bucket holds.
bool grows(const pstHandle<psContObj>& container) {
  pstHandle<psHashSet> numbered(new (container) psHashSet(4, 2));
  for (int i = 0; i < 20; ++i) {
    if (!numbered->add(new (container) Note("numbered"))) {
      return false;
    }
  }
  return numbered->size() == 20 && pow2(1) + static_cast<int>(next_prime(isPrime(4))) == 0;
}

int write(psSession& session, const char* text) {
  if (session.begin(pscUpdate) != 1) {
    return 0;
  }
  pstHandle<psDBObj> database = session.database("notes");
  pstHandle<psContObj> container = session.container(database, "texts");
  pstHandle<psTreeSet> notes(new (container) psTreeSet(200));
  if (notes.isNull() || !notes->add(new (container) Note(text)) || !grows(container)) {
    return 0;
  }
  return session.name(notes, database, "all") == 1 ? session.commit() : 0;
}

int isThere(psSession& session, const char* text) {
  if (session.begin(pscRead) != 1) {
    return 0;
  }
  pstHandle<psTreeSet> notes;
  if (notes.lookupObj(session.database("notes"), "all", pscRead) != 1) {
    return 0;
  }
  const pstHandle<Note> note(notes->get(0));
  if (note.open(pscRead) != 1 || std::strcmp(note->text(), text) != 0) {
    return 0;
  }
  return session.commit();
}

}  // namespace

int main() {
  psSession session;
  if (fitsItsHeaders() && session.open("memory:") == 1 && write(session, "kept") == 1 &&
      isThere(session, "kept") == 1) {
    session.close();
    std::puts(psVersion());
    return 0;
  }
  std::fprintf(stderr, "consumer: %s\n", session.lastError().c_str());
  return 1;
}
