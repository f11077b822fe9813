#include <pstyped.h>

#include <iostream>

class Entry : public psObj {
  PS_PERSISTENT_CLASS(Entry, psObj, 20001)
  PS_FIELDS(word, meaning)

 public:
  Entry(std::string_view theWord, std::string_view itsMeaning) : word(theWord), meaning(itsMeaning) {}
  ps::String word, meaning;
};
PS_REGISTER_CLASS(Entry)
PS_ORDER(ByWord, 20002, &Entry::word)
using Words = ps::SortedSet<Entry, ByWord>;

static void write(ps::Session& session) {
  const auto entries = session.container("dictionary", "entries");  // created by the first run
  auto words = Words::open_or_create(entries, "words");
  for (std::string word, meaning; std::cin >> word && std::getline(std::cin >> std::ws, meaning);) {
    if (!words.contains(word)) words.insert(ps::make<Entry>(entries, word, meaning));
  }
}

static void read(ps::Session& session, const char* from, const char* to) {
  const Words words(session.container("dictionary", "entries"), "words");
  for (const Entry& entry : ps::Range(words.lower_bound(from), words.upper_bound(to)))
    std::cout << entry.word << ": " << entry.meaning << '\n';
}

int main(int argc, char** argv) try {
  ps::Session session("words.ps");
  if (argc == 3) {
    session.read([&] { read(session, argv[1], argv[2]); });  // what has been committed; waits for no writer
  } else {
    session.update([&] { write(session); });  // when this returns, all of it is on disk
  }
} catch (const ps::Error& error) {
  std::cerr << "quickstart: " << error.what() << '\n';
  return 1;
}
