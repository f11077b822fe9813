#include "StoredText.h"

#include <cstring>

bool storeText(pstVArray<char>& letters, std::string_view text) {
  if (letters.resize(static_cast<unsigned int>(text.size() + 1)) != 1) return false;
  char* const first = letters.head();
  std::memcpy(first, text.data(), text.size());
  first[text.size()] = '\0';
  return true;
}

const char* textIn(const pstVArray<char>& letters) { return letters.size() == 0 ? "" : letters.head(); }
