#pragma once

#include <pstyped.h>

#include <functional>
#include <string>
#include <vector>

#include "Package.h"

// A word that occurs in names or summaries of packages.
class Term : public psObj {
  PS_PERSISTENT_CLASS(Term, psObj, 20302)
  PS_FIELDS(word_)

 public:
  explicit Term(std::string_view word) : word_(word) {}
  std::string_view word() const { return word_.view(); }

 private:
  ps::String word_;
};

PS_ORDER(ByName, 20303, &Package::name)
PS_ORDER(BySection, 20304, &Package::section, ps::descending(&Package::bytes), &Package::name)
PS_ORDER(ByWord, 20305, &Term::word)

// Packages in a store, with indexes by name, by section and by word.
class Catalogue {
 public:
  using Names = ps::SortedSet<Package, ByName>;
  using Sections = ps::SortedSet<Package, BySection>;
  using Words = ps::SortedMap<Term, psTreeSet, ByWord>;
  using Visit = std::function<void(const Package&)>;

  // In a transaction of the session; an update creates what is not there.
  explicit Catalogue(ps::Session& session);

  // Adds a package, or replaces the one of that name.
  void put(const ps::Ref<Package>& package);
  // False when there is none of that name.
  bool remove(std::string_view name);

  std::optional<ps::Ref<Package>> get(std::string_view name) const { return names_.get(name); }
  void withPrefix(std::string_view prefix, const Visit& visit) const;
  // Those of a section, the largest first.
  void inSection(std::string_view section, const Visit& visit) const;
  // Those in which all of the words occur.
  void withWords(const std::vector<std::string>& words, const Visit& visit) const;
  int size() const { return names_.size(); }

  const pstHandle<psContObj>& packages() const { return packages_; }

 private:
  pstHandle<psContObj> packages_;
  pstHandle<psContObj> indexes_;
  Names names_;
  Sections sections_;
  Words words_;
};

// The words of a text, each once, in small letters.
std::vector<std::string> wordsIn(std::string_view text);
