#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

// Finds the words of a text: runs of letters with single apostrophes inside them. Capital ASCII letters are made small.
//
// The text is taken to be UTF-8. Every character that is not ASCII counts as a letter, except the punctuation of the
// blocks Latin-1 and General Punctuation. The typographic apostrophe counts as the plain one. Bytes that are not UTF-8
// count as letters, so that texts in an older encoding are split at the right places too.
class WordSplitter {
 public:
  // Words are cut to this many bytes, at the end of a character. The rest of the word is skipped.
  static constexpr std::size_t longestWord = 100;

  // Calls receive for each complete word; receive may throw.
  explicit WordSplitter(std::function<void(const std::string&)> receive) : receive_(std::move(receive)) {}

  // Takes the next piece of the text, which may end anywhere.
  void feed(std::string_view piece);
  // Ends the text.
  void finish();

 private:
  void take(char byte);
  void endCharacter();
  void addLetter(std::string_view letter);
  void addApostrophe();
  void endWord();

  std::function<void(const std::string&)> receive_;
  std::string word_;
  std::string character_;         // the bytes so far of one that is not ASCII
  std::size_t missingBytes_ = 0;  // of it
  bool apostrophe_ = false;       // stands behind word_, and belongs to it when a letter follows
  bool cut_ = false;              // word_ is complete, though the text's word goes on
};

// Text with capital ASCII letters made small and typographic apostrophes made plain, cut as words are. A word that
// begins with text begins with this.
std::string foldedPrefix(std::string_view text);

// The one word in text, as it is in the book; "" when there is none, or more than one.
std::string foldedWord(std::string_view text);
