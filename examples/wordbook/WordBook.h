#pragma once

#include <pstyped.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Footprint.h"
#include "Line.h"

// A concordance in a store: every word of some texts, and where it occurs. The words are the keys of a sorted map. The
// value of each is a list of its occurrences, which are references to the lines that hold it. A hash map, by the names
// of the texts, keeps how much of each text is in the book. The maps are filed in the database "wordbook". Every
// operation that fails throws a std::exception that says what failed, where, and what to do.
class WordBook {
 public:
  using Words = ps::SortedMap<Word, psTreeList, ByText>;  // the values are lists of Line
  using Texts = ps::HashMap<Word, Text, ByText>;

  // Opens the book at path. For reading, it is the book as it is now. For update, what is missing is created, and the
  // call waits for other updates.
  WordBook(const std::string& path, psMode mode);

  // How much of a text is in the book: this many bytes, and the lines that end within them.
  struct Extent {
    std::uint64_t bytes;
    std::uint64_t lines;
  };
  // Starts the text of that name, which is new to the book or is continued.
  Extent beginText(const std::string& name);
  // Adds the next piece of the text: a line, or a part of a long one, with the words in it.
  void add(const std::string& piece, const std::vector<std::string>& words);
  // Commits what is not committed yet. This also happens between pieces, every 10,000 words; other processes may then
  // add to the book, but not to the same text.
  void commit();
  std::uint64_t newWords() const { return newWords_; }
  std::uint64_t committedWords() const { return committedWords_; }

  struct Occurrence {
    std::string_view text;  // its name
    std::uint64_t line;
    std::string_view letters;
  };
  // Calls visit for the lines with the word, in the order in which they were added, until it returns false. Returns
  // false when the word is not there.
  bool forEachLine(std::string_view word, const std::function<bool(const Occurrence&)>& visit) const;

  // The words, in order, with their occurrences.
  const Words& words() const { return *words_; }

  // The texts by their names, in order.
  std::map<std::string, Extent> texts() const;

  struct Statistics {
    Footprint words;
    Footprint lines;  // of the lists of occurrences, of which there are as many as words
    Footprint texts;
    std::uint64_t storeBytes;
    psSessionCounters counters;
  };
  Statistics statistics() const;
  // Prints the hash statistics of the map of texts to standard output.
  void printHashStatistics() const;

 private:
  void create();
  void takePlaces();
  ps::Ref<Text> addText(const std::string& name);
  ps::List<Line> occurrencesOf(const std::string& word);
  ps::List<Line> addWord(const std::string& word);
  void require(bool isDone) const;
  void requireNothingRefused() const;

  std::string path_;
  ps::Session session_;
  pstHandle<psDBObj> database_;
  std::optional<Words> words_;
  std::optional<Texts> texts_;
  ps::Ref<Text> text_;  // the one that is being added

  // Where new objects go.
  pstHandle<psContObj> wordPlace_;
  pstHandle<psContObj> linePlace_;
  pstHandle<psContObj> listPlace_;

  std::uint64_t newWords_ = 0;
  std::uint64_t addedWords_ = 0;
  std::uint64_t committedWords_ = 0;
};
