#pragma once

#include <stdexcept>
#include <string>
#include <vector>

// What is looked up by what:
//   content     objects, by a 64-bit number in each
//   identifier  identifiers of objects, which are not opened
//   pair        the same, each with another identifier as its value
//   position    identifiers in a list, by their positions
enum class KeyKind { content, identifier, pair, position };

struct KeyKindText {
  KeyKind kind;
  std::string name;  // in the command line and the files
  std::string title;
};

const std::vector<KeyKindText>& allKeyKinds();

const std::string& nameOf(KeyKind kind);
// Throws std::runtime_error when there is no such kind.
KeyKind keyKindNamed(const std::string& name);
