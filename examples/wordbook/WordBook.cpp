#include "WordBook.h"

#include <cstring>
#include <filesystem>
#include <memory>

#include "Word.h"
#include "WordCompare.h"

namespace {

constexpr const char* databaseName = "wordbook";
constexpr const char* setName = "words";
constexpr int entriesInNode = 200;
constexpr std::uint64_t wordsInCommit = 10000;

std::string howToMake(const std::string& path) { return "; make one with: wordbook index " + path + " FILE..."; }

}  // namespace

WordBook::WordBook(const std::string& path, psMode mode) : path_(path) {
  std::error_code ignored;
  if (mode == pscRead && !std::filesystem::exists(path, ignored) && !ignored) {
    throw WordBookError("there is no store '" + path + "'" + howToMake(path));
  }
  psSessionOptions options;
  options.readOnly = mode == pscRead;
  if (session_.open(path, options) != 1 || session_.begin(mode) != 1) fail();
  find(mode);
}

void WordBook::find(psMode mode) {
  const pstHandle<psDBObj> database = session_.database(databaseName);
  if (!database.isNull()) words_.lookupObj(database, setName, mode);
  requireNothingRefused();
  if (mode == pscUpdate) {
    if (words_.isNull()) create(database);
    texts_ = session_.container(database, "texts");
    if (texts_.isNull()) fail();
  } else if (words_.isNull()) {
    throw WordBookError("the store '" + path_ + "' holds no word book" + howToMake(path_));
  }
}

void WordBook::create(const pstHandle<psDBObj>& database) {
  const pstHandle<psContObj> index = session_.container(database, "index");
  pstHandle<psCompare> order(new (index) WordCompare);
  words_ = pstHandle<psTreeSet>(new (index) psTreeSet(order, entriesInNode));
  if (words_.isNull() || words_->admin().isNull()) fail();
  if (session_.name(words_, database, setName) != 1) fail();
}

bool WordBook::contains(const std::string& word) {
  const bool found = words_->contains(word.c_str());
  if (!found) requireNothingRefused();
  return found;
}

bool WordBook::add(const std::string& word) {
  if (contains(word)) return false;
  const pstHandle<Word> added(new (texts_) Word(word.c_str()));
  // An empty text is one for which there was no room.
  if (added.isNull() || *added->text() == '\0' || !words_->add(added)) fail();
  ++added_;
  if (added_ - committed_ == wordsInCommit) {
    commit();
    if (session_.begin(pscUpdate) != 1) fail();
  }
  return true;
}

void WordBook::commit() {
  if (session_.commit() != 1) fail();
  committed_ = added_;
}

void WordBook::forEach(const std::string& prefix, const std::function<bool(const char*)>& visit) {
  const std::unique_ptr<psCollectionIterator> position(words_->iterator());
  const bool onFirst = position->goTo(prefix.c_str());
  pstHandle<Word> word(onFirst ? position->current(pscNoLock) : position->next(pscNoLock));
  while (word.open(pscRead) == 1 && std::strncmp(word->text(), prefix.c_str(), prefix.size()) == 0 &&
         visit(word->text())) {
    word = pstHandle<Word>(position->next(pscNoLock));
  }
  requireNothingRefused();
}

WordBook::Statistics WordBook::statistics() {
  Statistics result{};
  result.words = words_->size();
  result.depth = words_->depth();
  if (result.words < 0 || result.depth == 0) fail();
  std::error_code ignored;
  result.storeBytes = std::filesystem::file_size(path_, ignored);
  result.counters = session_.counters();
  return result;
}

// What cannot be read must not pass for absent.
void WordBook::requireNothingRefused() const {
  if (session_.counters().refusals != 0) fail();
}

void WordBook::fail() const {
  const std::string reason = session_.lastError();
  throw WordBookError(reason.empty() ? "the store '" + path_ + "' refused an operation without saying why" : reason);
}
