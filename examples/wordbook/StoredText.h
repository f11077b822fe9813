#pragma once

#include <pscollections.h>

#include <string_view>

// Text in an array of the store, where it ends with a null character.

// False when the store has no room for the text. The array and the text are then empty.
bool storeText(pstVArray<char>& letters, std::string_view text);

// Valid while the object that the array belongs to is open.
const char* textIn(const pstVArray<char>& letters);
