#include "commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <queue>
#include <utility>

#include "Indexing.h"
#include "WordBook.h"
#include "WordSplitter.h"

namespace {

// True when the file's words have been added.
bool addOrComplain(Indexing& indexing, const std::string& file) {
  if (indexing.isStore(file)) {
    complain("'" + file + "' is the store itself: skipped");
    return false;
  }
  if (indexing.addFile(file)) return true;
  complain("cannot read " + file + ": " + std::strerror(errno));
  return false;
}

void printRow(const char* name, const char* kind, const Footprint& footprint) {
  const std::string depth = footprint.depth > 0 ? std::to_string(footprint.depth) : "-";
  std::printf("%-6s %-24s %9llu %6s %14llu %12llu\n", name, kind, static_cast<unsigned long long>(footprint.elements),
              depth.c_str(), static_cast<unsigned long long>(footprint.parts),
              static_cast<unsigned long long>(footprint.bytes));
}

}  // namespace

int indexFiles(const std::string& store, const std::vector<std::string>& files) {
  Indexing indexing(store);
  std::size_t filesRead = 0;
  try {
    for (const std::string& file : files) filesRead += addOrComplain(indexing, file) ? 1 : 0;
    indexing.commit();
  } catch (const std::exception& error) {
    complain(error.what());
    complain("stopped at " + indexing.place() + "; " + std::to_string(indexing.committedWords()) +
             " words are committed, and the store is sound. Remove the cause and run the same command again: it "
             "continues after them");
    return exitError;
  }
  std::printf("%zu of %zu files read: %llu words, %llu of them new\n", filesRead, files.size(),
              static_cast<unsigned long long>(indexing.words()), static_cast<unsigned long long>(indexing.newWords()));
  return filesRead == files.size() ? exitSuccess : exitError;
}

int findWords(const std::string& store, const std::vector<std::string>& words) {
  const WordBook book(store, pscRead);
  const auto print = [](const WordBook::Occurrence& at) {
    return std::printf("%.*s:%llu: %.*s\n", static_cast<int>(at.text.size()), at.text.data(),
                       static_cast<unsigned long long>(at.line), static_cast<int>(at.letters.size()),
                       at.letters.data()) >= 0;
  };
  int status = exitSuccess;
  for (const std::string& given : words) {
    const std::string word = foldedWord(given);
    if (!word.empty() && book.forEachLine(word, print)) continue;
    complain("'" + given + (word.empty() ? "' is not one word" : "' is not in " + store));
    status = exitNotFound;
  }
  return status;
}

int listWords(const std::string& store, const std::string& prefix) {
  const WordBook book(store, pscRead);
  int status = exitNotFound;
  for (const auto& [word, occurrences] : book.words().prefix(foldedPrefix(prefix))) {
    status = exitSuccess;
    if (std::printf("%.*s\n", static_cast<int>(word.text.size()), word.text.view().data()) < 0) break;
  }
  return status;
}

int topWords(const std::string& store, std::size_t count) {
  using Counted = std::pair<int, std::string>;
  const auto isMoreFrequent = [](const Counted& a, const Counted& b) {
    return a.first != b.first ? a.first > b.first : a.second < b.second;
  };
  // The most frequent so far, the least frequent of them first.
  std::priority_queue<Counted, std::vector<Counted>, decltype(isMoreFrequent)> top(isMoreFrequent);
  const WordBook book(store, pscRead);
  for (const auto& [word, occurrences] : book.words()) {
    const Counted counted(ps::List<Line>(occurrences).size(), word.text.view());
    if (top.size() == count && isMoreFrequent(counted, top.top())) top.pop();
    if (top.size() < count) top.push(counted);
  }
  std::vector<Counted> sorted;
  for (; !top.empty(); top.pop()) sorted.push_back(top.top());
  for (auto counted = sorted.rbegin(); counted != sorted.rend(); ++counted) {
    std::printf("%7d %s\n", counted->first, counted->second.c_str());
  }
  return exitSuccess;
}

int listFiles(const std::string& store) {
  const auto texts = WordBook(store, pscRead).texts();
  if (texts.empty())
    complain("there is no file in " + store + " yet; add some with: wordbook index " + store + " FILE...");
  for (const auto& [name, extent] : texts) {
    std::printf("%8llu %10llu %s\n", static_cast<unsigned long long>(extent.lines),
                static_cast<unsigned long long>(extent.bytes), name.c_str());
  }
  return texts.empty() ? exitNotFound : exitSuccess;
}

int showStatistics(const std::string& store) {
  const WordBook book(store, pscRead);
  const WordBook::Statistics statistics = book.statistics();
  std::printf("%-6s %-24s %9s %6s %14s %12s\n", "", "kind", "elements", "depth", "nodes, buckets", "bytes");
  printRow("words", "psTreeMap", statistics.words);
  printRow("lines", "psTreeList, one a word", statistics.lines);
  printRow("files", "psHashMap", statistics.texts);
  std::printf("\nThe hash map of files in detail:\n");
  book.printHashStatistics();
  std::printf("\nThe store takes %llu bytes. This count opened %llu objects in %llu pages.\n",
              static_cast<unsigned long long>(statistics.storeBytes),
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
