#include <sstream>

#include "package.h"

class Word : public psObj {
  PS_PERSISTENT_CLASS(Word, psObj, 20404)
  PS_FIELDS(text)

 public:
  explicit Word(std::string_view itsText) : text(itsText) {}
  ps::String text;
};
PS_REGISTER_CLASS(Word)
PS_ORDER(ByText, 20405, &Word::text)
using Words = ps::SortedMap<Word, psTreeSet, ByText>;

// The packages in whose summaries a word occurs; with an empty set for a new word.
Names packagesOf(Words& words, const std::string& word, const pstHandle<psContObj>& in) {
  if (const auto there = words.get(word)) return Names(*there);
  Names none = Names::create(in, 20);
  words.put(ps::make<Word>(in, word), none.ref());
  return none;
}

void index(ps::Session& session) {
  const auto indexes = session.container("catalogue", "indexes");
  auto words = Words::open_or_create(indexes, "by word");
  const Names names(indexes, "by name");
  for (auto package = names.begin(); package != names.end(); ++package) {
    std::istringstream summary(package->summary.str());
    for (std::string word; summary >> word;) packagesOf(words, word, indexes).insert(package.ref());
  }
}

void search(const Words& words, const std::vector<std::string>& wanted) {
  std::vector<Names> sets;
  for (const std::string& word : wanted) {
    const auto there = words.get(word);
    if (!there) return;
    sets.emplace_back(*there);
  }
  for (const Package& package : ps::intersection(sets)) print(package);
}

int main() try {
  ps::Session session("catalogue.ps");
  session.update([&] { index(session); });
  session.read([&] {
    const Words words(session.container("catalogue", "indexes"), "by word");
    for (auto [word, packages] : words) std::cout << word.text << ' ' << packages->size() << '\n';
    std::cout << "fruit for:\n";
    search(words, {"fruit", "for"});
    std::cout << "programs larger:\n";
    search(words, {"programs", "larger"});
  });
} catch (const ps::Error& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
