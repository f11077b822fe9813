#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "WordBook.h"
#include "WordSplitter.h"

// Puts the words of texts into a book, and shows on a terminal how far it has come.
class Indexing {
 public:
  explicit Indexing(const std::string& store);
  Indexing(const Indexing&) = delete;
  Indexing& operator=(const Indexing&) = delete;
  ~Indexing();

  // Adds the words of a file, "-" being standard input. False, with errno set, when it cannot be read to its end: the
  // words up to there are added all the same. Throws a WordBookError when the store fails.
  bool addFile(const std::string& name);
  void commit() { book_.commit(); }

  // Whether the file is one of those that the store consists of.
  bool isStore(const std::string& name) const;

  std::uint64_t words() const { return words_; }
  std::uint64_t newWords() const { return book_.added(); }
  std::uint64_t committedWords() const { return book_.committed(); }
  // Where the reading stands: "FILE, line N".
  std::string place() const;

 private:
  bool read(std::FILE* text);
  void take(const std::string& word);
  void showProgress();
  void hideProgress();

  std::string store_;
  WordBook book_;
  std::string file_;
  WordSplitter splitter_;
  std::uint64_t words_ = 0;
  bool onTerminal_;
};
