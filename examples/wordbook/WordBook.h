#pragma once

#include <pscollections.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

// What a store, or an attempt to open one, reports.
class WordBookError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The words in a store: objects of class Word, in a sorted set that is filed in the database "wordbook" under the name
// "words". Every operation that fails throws a WordBookError that says what failed, where, and what to do.
class WordBook {
 public:
  // Opens the book at path for reading, as it is now; or for update, creating what is missing and waiting for other
  // updates.
  WordBook(const std::string& path, psMode mode);

  bool contains(const std::string& word);

  // Adds a word; false when it is there. Every 10,000 new words are committed.
  bool add(const std::string& word);
  // Commits what is not committed yet.
  void commit();
  // How many words this object has added, and how many of those are committed.
  std::uint64_t added() const { return added_; }
  std::uint64_t committed() const { return committed_; }

  // Gives the words that begin with prefix to visit, in order, until that returns false.
  void forEach(const std::string& prefix, const std::function<bool(const char*)>& visit);

  struct Statistics {
    int words;
    int depth;  // levels of the tree
    std::uint64_t storeBytes;
    psSessionCounters counters;
  };
  Statistics statistics();

 private:
  void find(psMode mode);
  void create(const pstHandle<psDBObj>& database);
  void requireNothingRefused() const;
  [[noreturn]] void fail() const;

  std::string path_;
  psSession session_;
  pstHandle<psTreeSet> words_;
  pstHandle<psContObj> texts_;  // where the words go
  std::uint64_t added_ = 0;
  std::uint64_t committed_ = 0;
};
