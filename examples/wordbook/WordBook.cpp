#include "WordBook.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>

#include "Line.h"
#include "WordCompare.h"

namespace {

constexpr const char* databaseName = "wordbook";
constexpr const char* wordsName = "words and lines";
constexpr const char* textsName = "texts";
constexpr int entriesInNode = 200;
constexpr int slotsInBucket = 101;  // a prime, so that none are added
constexpr std::uint64_t wordsInCommit = 10000;

// Most words occur only a few times, and an array has its full size from the start.
constexpr int occurrencesInNode = 64;
// Lists of occurrences share containers even when they grow, since there are more lists than a database has containers.
// The buckets of texts share containers too, since a split can then move entries as they are.
constexpr int partsInContainer = 10000;

// The words, lines and lists of this many texts share a container of each kind. So neither many texts nor much text
// reaches a limit: a container takes 512 MiB.
constexpr int textsInContainer = 50;

constexpr std::size_t longestShownLine = 500;

std::string howToMake(const std::string& path) { return "; make one with: wordbook index " + path + " FILE..."; }

// A line as it is printed: without its end, with blanks for control characters, and cut when it is very long.
std::string shown(const std::string& line) {
  std::string letters = line.substr(0, std::min(line.find_last_not_of("\r\n") + 1, longestShownLine));
  const auto isControl = [](unsigned char byte) { return byte < ' ' || byte == '\x7F'; };
  std::replace_if(letters.begin(), letters.end(), isControl, ' ');
  return letters;
}

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
  database_ = session_.database(databaseName);
  if (!database_.isNull()) {
    words_ = lookUp<psTreeMap>(wordsName, mode);
    texts_ = lookUp<psHashMap>(textsName, mode);
  }
  requireNothingRefused();
  if (!words_.isNull() && !texts_.isNull()) return;
  if (mode != pscUpdate) throw WordBookError("the store '" + path_ + "' holds no word book" + howToMake(path_));
  create();
}

// The object that is filed under the name; null when there is none.
template <class Map>
pstHandle<Map> WordBook::lookUp(const char* name, psMode mode) {
  pstHandle<psObj> found;
  if (found.lookupObj(database_, name, mode) == 1 && !found->psIsKindOf(Map::pstTypeN)) {
    throw WordBookError("the store '" + path_ + "' keeps its " + name + " in a " + found->psGetTypeName() +
                        ", which another version of wordbook did; index the texts into a new store");
  }
  return pstHandle<Map>(found);
}

void WordBook::create() {
  const pstHandle<psContObj> place = session_.container(database_, "index");
  pstHandle<psCompare> order(new (place) WordCompare);
  words_ = new (place) psTreeMap(order, entriesInNode);
  file(words_, wordsName);
  pstHandle<psContObj> bucketPlace = session_.container(database_, "texts");
  texts_ = new (bucketPlace) psHashMap(order, slotsInBucket, 1, bucketPlace, bucketPlace);
  file(texts_, textsName);
  const pstHandle<psHashAdmin> admin(texts_->admin());
  if (admin.open(pscUpdate) != 1) fail();
  admin->setMaxBucketsPerContainer(partsInContainer);
}

void WordBook::file(const pstHandle<psCollection>& map, const char* name) {
  if (map.isNull() || map->admin().isNull() || session_.name(map, database_, name) != 1) fail();
}

WordBook::Extent WordBook::beginText(const std::string& name) {
  takePlaces();
  text_ = pstHandle<Text>(texts_->get(name.c_str()));
  if (text_.isNull()) {
    requireNothingRefused();
    const pstHandle<Word> key(new (wordPlace_) Word(name));
    if (key.isNull() || *key->text() == '\0') fail();
    text_ = new (linePlace_) Text(key);
    if (text_.isNull() || !texts_->put(key, text_)) fail();
  }
  if (text_.open(pscUpdate) != 1) fail();
  return {text_->bytes(), text_->lines()};
}

void WordBook::takePlaces() {
  const std::string group = ' ' + std::to_string(texts_->size() / textsInContainer);
  wordPlace_ = session_.container(database_, ("words" + group).c_str());
  linePlace_ = session_.container(database_, ("lines" + group).c_str());
  listPlace_ = session_.container(database_, ("lists" + group).c_str());
  if (wordPlace_.isNull() || linePlace_.isNull() || listPlace_.isNull()) fail();
}

void WordBook::add(const std::string& piece, const std::vector<std::string>& words) {
  if (text_.open(pscUpdate) != 1) fail();
  if (!words.empty()) {
    const pstHandle<Line> line(new (linePlace_) Line(text_, text_->lines() + 1, shown(piece)));
    if (line.isNull() || !line->isWhole()) fail();
    for (const std::string& word : words) {
      if (occurrencesOf(word)->addLast(line) != 1) fail();
    }
  }
  text_->advance(piece.size(), !piece.empty() && piece.back() == '\n' ? 1 : 0);
  addedWords_ += words.size();
  if (addedWords_ - committedWords_ < wordsInCommit) return;
  const std::uint64_t bytes = text_->bytes();
  commit();
  if (session_.begin(pscUpdate) != 1) fail();
  if (words_.open(pscUpdate) != 1 || texts_.open(pscUpdate) != 1 || text_.open(pscUpdate) != 1) fail();
  if (text_->bytes() != bytes) {
    throw WordBookError("another process has added to the same text; let one of them do it");
  }
}

pstHandle<psTreeList> WordBook::occurrencesOf(const std::string& word) {
  pstHandle<psTreeList> occurrences(words_->get(word.c_str()));
  requireNothingRefused();
  if (occurrences.isNull()) return addWord(word);
  if (occurrences.open(pscRead) != 1) fail();
  return occurrences;
}

pstHandle<psTreeList> WordBook::addWord(const std::string& word) {
  const pstHandle<Word> key(new (wordPlace_) Word(word));
  // The text is empty when there was no room for it.
  if (key.isNull() || *key->text() == '\0') fail();
  pstHandle<psTreeList> list(new (listPlace_) psTreeList(occurrencesInNode, listPlace_, listPlace_));
  if (list.isNull()) fail();
  const pstHandle<psTreeAdmin> admin(list->admin());
  if (admin.open(pscUpdate) != 1) fail();
  admin->setMaxNodesPerContainer(partsInContainer);
  admin->setMaxVArraysPerContainer(partsInContainer);
  if (words_->put(key, list) != 1) fail();
  ++newWords_;
  return list;
}

void WordBook::commit() {
  if (session_.commit() != 1) fail();
  committedWords_ = addedWords_;
}

bool WordBook::forEachLine(const std::string& word, const std::function<bool(const Occurrence&)>& visit) {
  const pstHandle<psTreeList> occurrences(words_->get(word.c_str()));
  requireNothingRefused();
  if (occurrences.isNull()) return false;
  if (occurrences.open(pscRead) != 1) fail();
  const std::unique_ptr<psCollectionIterator> position(occurrences->iterator());
  pstHandle<Line> line;
  while (position->hasNext()) {
    const pstHandle<Line> next(position->next(pscNoLock));
    if (next == line) continue;  // the word is in it twice
    line = next;
    const pstHandle<Text> text(line.open(pscRead) == 1 ? line->text() : pstRef<Text>());
    const pstHandle<Word> name(text.open(pscRead) == 1 ? text->name() : pstRef<Word>());
    if (name.open(pscRead) != 1) fail();
    if (!visit({name->text(), line->number(), line->letters()})) break;
  }
  requireNothingRefused();
  return true;
}

void WordBook::forEach(const std::string& prefix, const Visit& visit) {
  const std::unique_ptr<psCollectionIterator> position(words_->iterator());
  const bool onFirst = position->goTo(prefix.c_str());
  pstHandle<Word> word(onFirst ? position->current(pscNoLock) : position->next(pscNoLock));
  while (word.open(pscRead) == 1 && std::strncmp(word->text(), prefix.c_str(), prefix.size()) == 0 &&
         visit(word->text(), pstHandle<psTreeList>(position->currentValue()))) {
    word = pstHandle<Word>(position->next(pscNoLock));
  }
  requireNothingRefused();
}

std::map<std::string, WordBook::Extent> WordBook::texts() {
  std::map<std::string, Extent> result;
  const std::unique_ptr<psCollectionIterator> position(texts_->keyIterator());
  while (position->hasNext()) {
    const pstHandle<Word> name(position->next(pscNoLock));
    const pstHandle<Text> text(position->currentValue());
    if (name.open(pscRead) != 1 || text.open(pscRead) != 1) fail();
    result[name->text()] = {text->bytes(), text->lines()};
  }
  requireNothingRefused();
  return result;
}

WordBook::Statistics WordBook::statistics() {
  Statistics result{};
  result.words = footprintOf(*words_);
  forEach("", [&result](const char*, const pstHandle<psTreeList>& occurrences) {
    if (occurrences.open(pscRead) != 1) return false;  // forEach reports why
    result.lines += footprintOf(*occurrences);
    return true;
  });
  result.texts = footprintOf(*texts_, slotsInBucket);
  requireNothingRefused();
  std::error_code ignored;
  result.storeBytes = std::filesystem::file_size(path_, ignored);
  result.counters = session_.counters();
  return result;
}

void WordBook::printHashStatistics() {
  texts_->statistics();
  requireNothingRefused();
}

// What cannot be read must not be taken for absent.
void WordBook::requireNothingRefused() const {
  if (session_.counters().refusals != 0) fail();
}

void WordBook::fail() const {
  const std::string reason = session_.lastError();
  throw WordBookError(reason.empty() ? "the store '" + path_ + "' refused an operation without saying why" : reason);
}
