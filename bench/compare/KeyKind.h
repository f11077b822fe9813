#pragma once

#include <string>

// What the elements are ordered or hashed by: the identifiers of the objects, a 64-bit number in each object, or a word
// in each object.
enum class KeyKind { identifier, content, words };

const char* nameOf(KeyKind kind);
// Ends the program when there is no such kind.
KeyKind keyKindNamed(const std::string& name);
