#pragma once

#include <pscollections.h>

// A word of the book. It is an object of the store: its text lies in an array of the store, and it can be referred to
// from anywhere in it.
class Word : public psObj {
  PS_PERSISTENT_CLASS(Word, psObj, 20001)

 public:
  // text is not empty. When the store has no room for it, the word's text is.
  explicit Word(const char* text);

  // Ends with a null character; good for as long as the word is open.
  const char* text() const;

 private:
  pstVArray<char> letters_;  // with the null character
};
