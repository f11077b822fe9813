#include "Line.h"

#include "StoredText.h"

PS_REGISTER_CLASS(Line)

Line::Line(const pstHandle<Text>& text, std::uint64_t number, const std::string& letters)
    : text_(text), number_(number) {
  storeText(letters_, letters);
}

const char* Line::letters() const { return textIn(letters_); }
