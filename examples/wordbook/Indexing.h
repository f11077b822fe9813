#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "WordBook.h"
#include "WordSplitter.h"

// Adds the words of texts to a book, and shows its progress on a terminal.
class Indexing {
 public:
  explicit Indexing(const std::string& store);
  Indexing(const Indexing&) = delete;
  Indexing& operator=(const Indexing&) = delete;
  ~Indexing();

  // Adds what a file holds beyond what the book already has of it. "-" is standard input, taken as one long text.
  // False, with errno set, when the file cannot be read to its end; what was read is added all the same. Throws when
  // the store fails, as WordBook does.
  bool addFile(const std::string& name);
  void commit() { book_.commit(); }

  // Whether the file is one of the store's own files.
  bool isStore(const std::string& name) const;

  std::uint64_t words() const { return words_; }
  std::uint64_t newWords() const { return book_.newWords(); }
  std::uint64_t committedWords() const { return book_.committedWords(); }
  // The place that the reading has reached: "FILE, line N".
  std::string place() const;

 private:
  WordSplitter makeSplitter();
  bool read(std::FILE* text);
  void take(const std::string& piece, bool isLast);
  void showProgress();
  void hideProgress();

  std::string store_;
  WordBook book_;
  std::string file_;
  std::uint64_t line_ = 1;
  WordSplitter splitter_;
  std::vector<std::string> found_;  // the words of the piece at hand
  std::uint64_t words_ = 0;
  bool onTerminal_;
};
