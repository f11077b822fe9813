#include "Keys.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>

#include "BenchStore.h"

namespace {

constexpr const char* dictionary = "/usr/share/dict/american-english-huge";

// One letter and the null character must fit behind the word.
constexpr std::size_t longestWord = payloadBytes - 2;

std::vector<std::string> readWords() {
  std::ifstream file(dictionary);
  std::vector<std::string> words;
  for (std::string word; std::getline(file, word);) {
    if (!word.empty() && word.size() <= longestWord) words.push_back(word);
  }
  if (words.empty()) {
    stop(std::string("there are no words in ") + dictionary + "; install the Debian package wamerican-huge");
  }
  std::sort(words.begin(), words.end());
  words.erase(std::unique(words.begin(), words.end()), words.end());
  return words;
}

// Ascending with the element, even, and as irregular as contents are.
std::uint64_t contentOf(std::size_t element) {
  constexpr std::uint64_t distance = std::uint64_t{1} << 40;
  std::uint64_t mixed = (element + 1) * 0x9E3779B97F4A7C15U;
  mixed = (mixed ^ mixed >> 31) * 0xBF58476D1CE4E5B9U;
  return element * distance + (mixed >> 24) / 2 * 2;
}

}  // namespace

Keys::Keys(KeyKind kind, std::size_t count) : kind_(kind) {
  if (kind != KeyKind::words) return;
  const std::vector<std::string> all = readWords();
  if (count > all.size()) stop("the dictionary has only " + std::to_string(all.size()) + " words");
  std::sample(all.begin(), all.end(), std::back_inserter(words_), count, std::mt19937_64(3));
}

void Keys::append(KeyList& list, const Contestant& contestant, std::size_t element, Of of) const {
  const std::size_t odd = of == Of::missing ? 1 : 0;
  switch (kind_) {
    case KeyKind::identifier:
      list.add(bytesOf(contestant.identifier(2 * element + odd)));
      break;
    case KeyKind::content:
      list.add(bytesOf(contentOf(element) + odd));
      break;
    case KeyKind::words:
      list.add(of == Of::missing ? words_[element] + '\x01' : words_[element]);
      break;
  }
}

std::size_t Keys::wordCount() { return readWords().size(); }
