#include "Word.h"

#include "StoredText.h"

PS_REGISTER_CLASS(Word)

Word::Word(const std::string& text) { storeText(letters_, text); }

const char* Word::text() const { return textIn(letters_); }
