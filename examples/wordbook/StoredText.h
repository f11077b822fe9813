#pragma once

#include <pscollections.h>

#include <string_view>

// Text in an array of the store, where it ends with a null character.

// False when the store has no room for it; the array is then empty, and so is its text.
bool storeText(pstVArray<char>& letters, std::string_view text);

// Good for as long as the object that the array belongs to is open.
const char* textIn(const pstVArray<char>& letters);
