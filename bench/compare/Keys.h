#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Contestant.h"
#include "KeyKind.h"
#include "KeyList.h"

// The keys of the elements 0, 1, … in ascending order, and behind each of them one that is missing.
class Keys {
 public:
  enum class Of { present, missing };

  // The words are a random choice from those of the system's dictionary.
  Keys(KeyKind kind, std::size_t count);

  // Adds the key of the element, or the missing one behind it. Identifiers are those of the contestant's objects.
  void append(KeyList& list, const Contestant& contestant, std::size_t element, Of of = Of::present) const;

  // How many words the dictionary has that can be keys.
  static std::size_t wordCount();

 private:
  KeyKind kind_;
  std::vector<std::string> words_;
};
