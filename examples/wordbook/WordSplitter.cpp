#include "WordSplitter.h"

#include <string>

namespace {

constexpr std::string_view typographicApostrophe = "\xE2\x80\x99";

bool isAscii(char byte) { return (static_cast<unsigned char>(byte) & 0x80) == 0; }
bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }
bool isAsciiLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }
char folded(char byte) { return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte; }

// The number of bytes that follow the first one of a character.
std::size_t continuationBytes(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte >= 0xC2 && byte <= 0xDF) return 1;
  if (byte >= 0xE0 && byte <= 0xEF) return 2;
  return byte >= 0xF0 && byte <= 0xF4 ? 3 : 0;
}

// Whether a character that is not ASCII separates words.
bool isPunctuation(std::string_view character) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (character == byteOrderMark) return true;
  if (character.size() == 2 && character[0] == '\xC2') {
    return character[1] != '\xAA' && character[1] != '\xB5' && character[1] != '\xBA';  // ª µ º
  }
  return character.size() == 3 && character[0] == '\xE2' && (character[1] == '\x80' || character[1] == '\x81');
}

}  // namespace

void WordSplitter::feed(std::string_view piece) {
  for (const char byte : piece) take(byte);
}

void WordSplitter::finish() {
  if (missingBytes_ > 0) endCharacter();
  endWord();
}

void WordSplitter::take(char byte) {
  if (missingBytes_ > 0) {
    if (isContinuation(byte)) {
      character_.push_back(byte);
      if (--missingBytes_ == 0) endCharacter();
      return;
    }
    endCharacter();
  }
  if (isAsciiLetter(byte)) {
    const char letter = folded(byte);
    addLetter({&letter, 1});
  } else if (byte == '\'') {
    addApostrophe();
  } else if (isAscii(byte)) {
    endWord();
  } else {
    character_.assign(1, byte);
    missingBytes_ = continuationBytes(byte);
    if (missingBytes_ == 0) endCharacter();
  }
}

void WordSplitter::endCharacter() {
  missingBytes_ = 0;
  if (character_ == typographicApostrophe) {
    addApostrophe();
  } else if (isPunctuation(character_)) {
    endWord();
  } else {
    addLetter(character_);
  }
}

void WordSplitter::addLetter(std::string_view letter) {
  const std::size_t apostrophe = apostrophe_ ? 1 : 0;
  apostrophe_ = false;
  cut_ = cut_ || word_.size() + apostrophe + letter.size() > longestWord;
  if (!cut_) word_.append(apostrophe, '\'').append(letter);
}

void WordSplitter::addApostrophe() {
  if (word_.empty()) return;
  if (apostrophe_)
    endWord();
  else
    apostrophe_ = true;
}

void WordSplitter::endWord() {
  apostrophe_ = false;
  cut_ = false;
  if (word_.empty()) return;
  receive_(word_);
  word_.clear();
}

std::string foldedPrefix(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const bool apostrophe = text.substr(0, typographicApostrophe.size()) == typographicApostrophe;
    result.push_back(apostrophe ? '\'' : folded(text.front()));
    text.remove_prefix(apostrophe ? typographicApostrophe.size() : 1);
  }
  if (result.size() <= WordSplitter::longestWord) return result;
  std::size_t end = WordSplitter::longestWord;
  while (end > 0 && isContinuation(result[end])) --end;
  return result.substr(0, end);
}

std::string foldedWord(std::string_view text) {
  std::string only;
  std::size_t words = 0;
  WordSplitter splitter([&](const std::string& word) {
    only = word;
    ++words;
  });
  splitter.feed(text);
  splitter.finish();
  return words == 1 ? only : std::string();
}
