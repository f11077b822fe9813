#include "Word.h"

#include <cstring>

PS_REGISTER_CLASS(Word)

Word::Word(const char* text) {
  const auto size = static_cast<unsigned int>(std::strlen(text) + 1);
  if (letters_.resize(size) == 1) std::memcpy(letters_.head(), text, size);
}

const char* Word::text() const { return letters_.size() == 0 ? "" : letters_.head(); }
