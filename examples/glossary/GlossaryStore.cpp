#include "GlossaryStore.h"

#include <filesystem>
#include <memory>

namespace {

constexpr int entriesInNode = 200;
constexpr int slotsInBucket = 101;

}  // namespace

GlossaryStore::GlossaryStore(const std::string& path, psMode mode) {
  std::error_code ignored;
  if (mode == pscRead && !std::filesystem::exists(path, ignored) && !ignored) {
    throw GlossaryError("there is no store '" + path + "'; make one with: glossary " + path + " put TERM MEANING");
  }
  if (session_.open(path) != 1 || session_.begin(mode) != 1) fail();
  database_ = session_.database("glossary");
  if (database_.isNull()) throw GlossaryError("the store '" + path + "' holds no glossary");
  static_cast<void>(terms_.lookupObj(database_, "terms", mode));
  static_cast<void>(abbreviations_.lookupObj(database_, "abbreviations", mode));
  if (session_.counters().refusals != 0) fail();
  if (!terms_.isNull() && !abbreviations_.isNull()) return;
  if (mode == pscRead) throw GlossaryError("the store '" + path + "' holds no glossary");
  create();
}

void GlossaryStore::create() {
  const pstHandle<psContObj> place = session_.container(database_, "index");
  terms_ = new (place) psTreeMap(entriesInNode);
  file(terms_, "terms");
  abbreviations_ = new (place) psHashMap(slotsInBucket, 1);
  file(abbreviations_, "abbreviations");
}

// A collection has no administrator when the store had no room for it.
void GlossaryStore::file(const pstHandle<psCollection>& map, const char* name) {
  if (map.isNull() || map->admin().isNull() || session_.name(map, database_, name) != 1) fail();
}

void GlossaryStore::put(JavaText& term, const std::u16string& meaning) {
  pstHandle<psObj> oldMeaning(terms_->get(term.key, term.callee, term.env));
  pstHandle<psObj> name(makeText(term.letters));
  if (terms_->put(name, makeText(meaning), term.key, term.callee, term.env) != 1) fail();
  // The key object that was there first stays.
  if (!oldMeaning.isNull() && (psDelete(name) != 1 || psDelete(oldMeaning) != 1)) fail();
}

std::optional<std::u16string> GlossaryStore::meaningOf(JavaText& term) {
  return lettersOf(terms_->get(term.key, term.callee, term.env));
}

bool GlossaryStore::abbreviate(JavaText& abbreviation, JavaText& term) {
  const std::unique_ptr<psCollectionIterator> position(terms_->iterator());
  if (!static_cast<psTreeIterator&>(*position).goTo(term.key, term.callee, term.env)) return false;
  const pstHandle<psObj> name(position->current(pscNoLock));
  const pstHandle<psHashMapEntry> old = abbreviations_->entry(abbreviation.key, abbreviation.callee, abbreviation.env);
  if (!old.isNull() && old.open(pscRead) != 1) fail();
  const pstHandle<psObj> key = old.isNull() ? pstRef<psObj>(makeText(abbreviation.letters)) : old->key();
  if (!abbreviations_->put(key, name, abbreviation.key, abbreviation.callee, abbreviation.env)) fail();
  return true;
}

std::optional<std::u16string> GlossaryStore::termFor(JavaText& abbreviation) {
  constexpr unsigned int unusedHash = 0;  // a map asks Java for it
  return lettersOf(abbreviations_->get(unusedHash, abbreviation.key, abbreviation.callee, abbreviation.env));
}

std::vector<std::u16string> GlossaryStore::terms() {
  std::vector<std::u16string> result;
  const std::unique_ptr<psCollectionIterator> position(terms_->iterator());
  while (position->hasNext()) {
    const std::optional<std::u16string> term = lettersOf(position->next(pscNoLock));
    if (!term) fail();
    result.push_back(*term);
  }
  if (session_.counters().refusals != 0) fail();
  return result;
}

void GlossaryStore::commit() {
  if (session_.commit() != 1) fail();
}

pstHandle<Text> GlossaryStore::makeText(const std::u16string& letters) {
  pstHandle<Text> text(new (session_.container(database_, "texts")) Text(letters));
  if (text.isNull() || !text->isWhole()) fail();
  return text;
}

std::optional<std::u16string> GlossaryStore::lettersOf(const pstRef<psObj>& reference) const {
  if (session_.counters().refusals != 0) fail();
  if (reference.isNull()) return std::nullopt;
  const pstHandle<Text> text(reference);
  if (text.open(pscRead) != 1 || !text->isWhole()) fail();
  return text->letters();
}

void GlossaryStore::fail() const {
  const std::string reason = session_.lastError();
  throw GlossaryError(reason.empty() ? "an operation failed" : reason);
}
