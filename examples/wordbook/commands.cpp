#include "commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Indexing.h"
#include "WordBook.h"
#include "WordSplitter.h"

namespace {

// Whether the file's words have been added.
bool addOrComplain(Indexing& indexing, const std::string& file) {
  if (indexing.isStore(file)) {
    complain("'" + file + "' is the store itself: passed over");
    return false;
  }
  if (indexing.addFile(file)) return true;
  complain("cannot read " + file + ": " + std::strerror(errno));
  return false;
}

}  // namespace

int indexFiles(const std::string& store, const std::vector<std::string>& files) {
  Indexing indexing(store);
  std::size_t filesRead = 0;
  try {
    for (const std::string& file : files) filesRead += addOrComplain(indexing, file) ? 1 : 0;
    indexing.commit();
  } catch (const WordBookError& error) {
    complain(error.what());
    complain("stopped at " + indexing.place() + "; " + std::to_string(indexing.committedWords()) +
             " new words are committed, and the store is sound. When the cause is mended, run the same command again: "
             "it adds "
             "what is missing");
    return exitError;
  }
  std::printf("%zu of %zu files read: %llu words, %llu of them new\n", filesRead, files.size(),
              static_cast<unsigned long long>(indexing.words()), static_cast<unsigned long long>(indexing.newWords()));
  return filesRead == files.size() ? exitSuccess : exitError;
}

int findWords(const std::string& store, const std::vector<std::string>& words) {
  WordBook book(store, pscRead);
  int status = exitSuccess;
  for (const std::string& given : words) {
    const std::string word = foldedWord(given);
    if (!word.empty() && book.contains(word)) {
      std::puts(word.c_str());
      continue;
    }
    complain("'" + given + (word.empty() ? "' is not one word" : "' is not in " + store));
    status = exitNotFound;
  }
  return status;
}

int listWords(const std::string& store, const std::string& prefix) {
  WordBook book(store, pscRead);
  int status = exitNotFound;
  book.forEach(foldedPrefix(prefix), [&status](const char* word) {
    status = exitSuccess;
    return std::puts(word) >= 0;
  });
  return status;
}

int showStatistics(const std::string& store) {
  const WordBook::Statistics statistics = WordBook(store, pscRead).statistics();
  std::printf("words            %d\n", statistics.words);
  std::printf("levels of tree   %d\n", statistics.depth);
  std::printf("bytes of store   %llu\n", static_cast<unsigned long long>(statistics.storeBytes));
  std::printf("to count them, this command opened %llu objects in %llu pages\n",
              static_cast<unsigned long long>(statistics.counters.opens),
              static_cast<unsigned long long>(statistics.counters.pageReads));
  return exitSuccess;
}

void complain(const std::string& message) {
  std::fflush(stdout);
  std::fprintf(stderr, "wordbook: %s\n", message.c_str());
}

int finishOutput(int status) {
  const bool failed = std::ferror(stdout) != 0;
  if (std::fflush(stdout) == 0 && !failed) return status;
  std::fprintf(stderr, "wordbook: cannot write the output: %s\n", std::strerror(errno));
  return exitError;
}
