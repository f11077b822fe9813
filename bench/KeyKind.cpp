#include "KeyKind.h"

#include <stdexcept>

const std::vector<KeyKindText>& allKeyKinds() {
  static const std::vector<KeyKindText> all{
      {KeyKind::content, "content", "Sets of objects, by a number in each"},
      {KeyKind::identifier, "identifier", "Sets of identifiers"},
      {KeyKind::pair, "pair", "Maps from identifiers to identifiers"},
      {KeyKind::position, "position", "Lists of identifiers, by position"},
  };
  return all;
}

const std::string& nameOf(KeyKind kind) { return allKeyKinds()[static_cast<std::size_t>(kind)].name; }

KeyKind keyKindNamed(const std::string& name) {
  for (const KeyKindText& text : allKeyKinds()) {
    if (text.name == name) return text.kind;
  }
  throw std::runtime_error("there are no keys '" + name + "'; see compare_bench --help");
}
