#pragma once

#include <pstyped.h>

#include <string_view>

// A word of the book, or the name of a text. Other objects of the store can refer to it.
class Word : public psObj {
  PS_PERSISTENT_CLASS(Word, psObj, 20001)
  PS_FIELDS(text)

 public:
  explicit Word(std::string_view itsText) : text(itsText) {}

  ps::String text;  // never changes
};

// Words by the bytes of their texts; for UTF-8 that is the order of the characters.
PS_ORDER(ByText, 20002, &Word::text)
