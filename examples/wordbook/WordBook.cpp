#include "WordBook.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace {

constexpr const char* databaseName = "wordbook";
constexpr const char* wordsName = "words and lines";
constexpr const char* textsName = "texts";
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

// The path of a store, which must be there when it is only read. A server says itself that it has none.
const std::string& required(const std::string& path, psMode mode) {
  std::error_code ignored;
  const bool isAddress = path.find("://") != std::string::npos;
  if (mode == pscRead && !isAddress && !std::filesystem::exists(path, ignored) && !ignored) {
    throw std::runtime_error("there is no store '" + path + "'" + howToMake(path));
  }
  return path;
}

psSessionOptions optionsFor(psMode mode) {
  psSessionOptions options;
  options.readOnly = mode == pscRead;
  return options;
}

}  // namespace

WordBook::WordBook(const std::string& path, psMode mode)
    : path_(path), session_(required(path, mode), optionsFor(mode)) {
  require(session_.begin(mode) == 1);
  try {
    database_ = session_.database(databaseName);
    if (mode == pscUpdate) create();
    words_.emplace(database_, wordsName);
    texts_.emplace(database_, textsName);
  } catch (const ps::Error& error) {
    if (error.kind() != psErrorKind::absent) throw;
    throw std::runtime_error("the store '" + path_ + "' holds no word book" + howToMake(path_));
  }
}

// Creates what is not there.
void WordBook::create() {
  Words::open_or_create(database_, wordsName, session_.container(database_, "index"));
  const Texts texts = Texts::open_or_create(database_, textsName, session_.container(database_, "texts"));
  const ps::Ref<psHashAdmin> admin = texts.ref()->admin();
  if (admin->maxBucketsPerContainer() == partsInContainer) return;
  ps::edit(admin)->setMaxBucketsPerContainer(partsInContainer);
}

WordBook::Extent WordBook::beginText(const std::string& name) {
  takePlaces();
  const std::optional<ps::Ref<Text>> known = texts_->get(name);
  text_ = known ? *known : addText(name);
  return {text_->bytes(), text_->lines()};
}

void WordBook::takePlaces() {
  const std::string group = ' ' + std::to_string(texts_->size() / textsInContainer);
  wordPlace_ = session_.container(database_, ("words" + group).c_str());
  linePlace_ = session_.container(database_, ("lines" + group).c_str());
  listPlace_ = session_.container(database_, ("lists" + group).c_str());
}

ps::Ref<Text> WordBook::addText(const std::string& name) {
  const auto key = ps::make<Word>(wordPlace_, name);
  auto text = ps::make<Text>(linePlace_, key);
  texts_->put(key, text);
  return text;
}

void WordBook::add(const std::string& piece, const std::vector<std::string>& words) {
  if (!words.empty()) {
    const auto line = ps::make<Line>(linePlace_, text_, text_->lines() + 1, shown(piece));
    for (const std::string& word : words) occurrencesOf(word).push_back(line);
  }
  ps::edit(text_)->advance(piece.size(), !piece.empty() && piece.back() == '\n' ? 1 : 0);
  addedWords_ += words.size();
  if (addedWords_ - committedWords_ < wordsInCommit) return;
  const std::uint64_t bytes = text_->bytes();
  commit();
  require(session_.begin(pscUpdate) == 1);
  if (text_->bytes() != bytes) {
    throw std::runtime_error("another process has added to the same text; let one of them do it");
  }
}

ps::List<Line> WordBook::occurrencesOf(const std::string& word) {
  const std::optional<ps::Ref<psTreeList>> known = words_->get(word);
  return known ? ps::List<Line>(*known) : addWord(word);
}

ps::List<Line> WordBook::addWord(const std::string& word) {
  auto list = ps::List<Line>::create(listPlace_, occurrencesInNode);
  const auto admin = ps::edit(list.ref()->admin());
  admin->setMaxNodesPerContainer(partsInContainer);
  admin->setMaxVArraysPerContainer(partsInContainer);
  words_->put(ps::make<Word>(wordPlace_, word), list.ref());
  ++newWords_;
  return list;
}

void WordBook::commit() {
  require(session_.commit() == 1);
  committedWords_ = addedWords_;
}

bool WordBook::forEachLine(std::string_view word, const std::function<bool(const Occurrence&)>& visit) const {
  const std::optional<ps::Ref<psTreeList>> occurrences = words_->get(word);
  if (!occurrences) return false;
  ps::Ref<Line> line;
  for (const ps::Ref<Line>& next : ps::List<Line>(*occurrences)) {
    if (next == line) continue;  // the word is in it twice
    line = next;
    const ps::Ref<Text> text = line->text();
    const ps::Ref<Word> name = text->name();
    if (!visit({name->text.view(), line->number(), line->letters()})) break;
  }
  return true;
}

std::map<std::string, WordBook::Extent> WordBook::texts() const {
  std::map<std::string, Extent> result;
  for (const auto& [name, text] : *texts_) result[std::string(name.text.view())] = {text->bytes(), text->lines()};
  return result;
}

WordBook::Statistics WordBook::statistics() const {
  Statistics result{};
  result.words = footprintOf(*words_->ref());
  for (const auto& [word, occurrences] : *words_) result.lines += footprintOf(*occurrences);
  result.texts = footprintOf(*texts_->ref(), slotsInBucket);
  requireNothingRefused();
  std::error_code ignored;
  result.storeBytes = std::filesystem::file_size(path_, ignored);
  result.counters = session_.counters();
  return result;
}

void WordBook::printHashStatistics() const {
  texts_->plain()->statistics();
  requireNothingRefused();
}

void WordBook::require(bool isDone) const {
  if (isDone) return;
  const std::string reason = session_.lastError();
  throw std::runtime_error(reason.empty() ? "the store '" + path_ + "' refused an operation without saying why"
                                          : reason);
}

// The calls that count nodes and buckets stop at what cannot be read.
void WordBook::requireNothingRefused() const { require(session_.counters().refusals == 0); }
