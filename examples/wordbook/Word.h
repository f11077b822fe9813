#pragma once

#include <pscollections.h>

#include <string>

// A word of the book, or the name of a text. It is an object of the store, with its letters in an array of the store,
// and other objects of the store can refer to it.
class Word : public psObj {
  PS_PERSISTENT_CLASS(Word, psObj, 20001)

 public:
  // When the store has no room for the text, the word is empty.
  explicit Word(const std::string& text);

  // Ends with a null character; valid while the word is open.
  const char* text() const;

 private:
  pstVArray<char> letters_;
};
