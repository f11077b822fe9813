#include "Catalogue.h"

#include <algorithm>
#include <cctype>
#include <set>

PS_REGISTER_CLASS(Term)

namespace {

template <class Index>
Index indexIn(ps::Session& session, const pstHandle<psContObj>& indexes, const char* name) {
  return session.inUpdate() ? Index::open_or_create(indexes, name) : Index(indexes, name);
}

std::vector<std::string> wordsOf(const Package& package) {
  return wordsIn(std::string(package.name()) + ' ' + std::string(package.summary()));
}

}  // namespace

std::vector<std::string> wordsIn(std::string_view text) {
  std::set<std::string> words;
  std::string word;
  for (const char c : std::string(text) + ' ') {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } else if (!word.empty()) {
      words.insert(std::exchange(word, {}));
    }
  }
  return {words.begin(), words.end()};
}

Catalogue::Catalogue(ps::Session& session)
    : packages_(session.container("catalogue", "packages")),
      indexes_(session.container("catalogue", "indexes")),
      names_(indexIn<Names>(session, indexes_, "by name")),
      sections_(indexIn<Sections>(session, indexes_, "by section")),
      words_(indexIn<Words>(session, indexes_, "by word")) {}

void Catalogue::put(const ps::Ref<Package>& package) {
  remove(package->name());
  names_.insert(package);
  sections_.insert(package);
  for (const std::string& word : wordsOf(*package)) {
    std::optional<ps::Ref<psTreeSet>> found = words_.get(word);
    if (!found) {
      found = Names::create(indexes_, 20).ref();
      words_.put(ps::make<Term>(indexes_, word), *found);
    }
    Names(*found).insert(package);
  }
}

bool Catalogue::remove(std::string_view name) {
  const std::optional<ps::Ref<Package>> found = names_.get(name);
  if (!found) return false;
  for (const std::string& word : wordsOf(**found)) Names(*words_.get(word)).erase(*found);
  sections_.erase(*found);
  names_.erase(*found);
  ps::destroy(*found);
  return true;
}

void Catalogue::withPrefix(std::string_view prefix, const Visit& visit) const {
  for (const Package& package : names_.prefix(prefix)) visit(package);
}

void Catalogue::inSection(std::string_view section, const Visit& visit) const {
  for (const Package& package : sections_.with(section)) visit(package);
}

void Catalogue::withWords(const std::vector<std::string>& words, const Visit& visit) const {
  std::vector<Names> sets;
  for (const std::string& word : words) {
    const std::optional<ps::Ref<psTreeSet>> found = words_.get(word);
    if (!found) return;
    sets.emplace_back(*found);
  }
  for (const Package& package : ps::intersection(sets)) visit(package);
}
