#include "commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <queue>
#include <utility>

#include "Indexing.h"
#include "WordBook.h"
#include "WordSplitter.h"

namespace {

// True when the file's words have been added.
bool addOrComplain(Indexing& indexing, const std::string& file) {
  if (indexing.isStore(file)) {
    complain("'" + file + "' is the store itself: passed over");
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
  } catch (const WordBookError& error) {
    complain(error.what());
    complain("stopped at " + indexing.place() + "; " + std::to_string(indexing.committedWords()) +
             " words are committed, and the store is sound. When the cause is mended, run the same command again: it "
             "goes on behind them");
    return exitError;
  }
  std::printf("%zu of %zu files read: %llu words, %llu of them new\n", filesRead, files.size(),
              static_cast<unsigned long long>(indexing.words()), static_cast<unsigned long long>(indexing.newWords()));
  return filesRead == files.size() ? exitSuccess : exitError;
}

int findWords(const std::string& store, const std::vector<std::string>& words) {
  WordBook book(store, pscRead);
  const auto print = [](const WordBook::Occurrence& at) {
    return std::printf("%s:%llu: %s\n", at.text, static_cast<unsigned long long>(at.line), at.letters) >= 0;
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
  WordBook book(store, pscRead);
  int status = exitNotFound;
  book.forEach(foldedPrefix(prefix), [&status](const char* word, const pstHandle<psTreeList>&) {
    status = exitSuccess;
    return std::puts(word) >= 0;
  });
  return status;
}

int topWords(const std::string& store, std::size_t count) {
  using Counted = std::pair<int, std::string>;
  const auto isMoreFrequent = [](const Counted& a, const Counted& b) {
    return a.first != b.first ? a.first > b.first : a.second < b.second;
  };
  // The most frequent so far, the least frequent of them first.
  std::priority_queue<Counted, std::vector<Counted>, decltype(isMoreFrequent)> top(isMoreFrequent);
  WordBook(store, pscRead).forEach("", [&](const char* word, const pstHandle<psTreeList>& occurrences) {
    if (occurrences.open(pscRead) != 1) return false;  // forEach reports why
    const Counted counted(occurrences->size(), word);
    if (top.size() == count && isMoreFrequent(counted, top.top())) top.pop();
    if (top.size() < count) top.push(counted);
    return true;
  });
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
  WordBook book(store, pscRead);
  const WordBook::Statistics statistics = book.statistics();
  std::printf("%-6s %-24s %9s %6s %14s %12s\n", "", "kind", "elements", "depth", "nodes, buckets", "bytes");
  printRow("words", "psTreeMap", statistics.words);
  printRow("lines", "psTreeList, one a word", statistics.lines);
  printRow("files", "psHashMap", statistics.texts);
  std::printf("\nThe hash map of files in detail:\n");
  book.printHashStatistics();
  std::printf("\nThe store takes %llu bytes. To count all this, %llu objects in %llu pages were opened.\n",
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
