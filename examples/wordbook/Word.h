#pragma once

#include <pscollections.h>

#include <string>

// A word of the book, or the name of a text. It is an object of the store: its letters lie in an array of the store,
// and it can be referred to from anywhere in it.
class Word : public psObj {
  PS_PERSISTENT_CLASS(Word, psObj, 20001)

 public:
  // When the store has no room for the text, the word's text is empty.
  explicit Word(const std::string& text);

  // Ends with a null character; good for as long as the word is open.
  const char* text() const;

 private:
  pstVArray<char> letters_;
};
