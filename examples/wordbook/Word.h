#pragma once

#include <pstyped.h>

#include <string_view>

// A word of the book, or the name of a text. Other objects of the store can refer to it.
class Word : public psObj {
  PS_PERSISTENT_CLASS(Word, psObj, 20001)
  PS_FIELDS(text_)

 public:
  explicit Word(std::string_view text) : text_(text) {}

  // Valid while the word is open.
  std::string_view text() const { return text_.view(); }

 private:
  ps::String text_;
};

// Words by the bytes of their texts; for UTF-8 that is the order of the characters.
PS_ORDER(ByText, 20002, &Word::text)
