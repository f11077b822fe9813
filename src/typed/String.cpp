#include "typed/String.h"

#include <algorithm>
#include <limits>

namespace ps {

namespace {

// Changes the number of characters, and returns the first.
char* resized(pstVArray<char>& characters, std::size_t size) {
  const bool fits = size <= std::numeric_limits<unsigned int>::max();
  if (!fits || characters.resize(static_cast<unsigned int>(size)) != 1)
    detail::throwRefused(psId(), "a text cannot be changed");
  return characters.head();
}

}  // namespace

// What is in the store may move, or leave memory, while room is made.
String& String::assign(std::string_view text) {
  if (text.data() != nullptr && (pstIsStorePers(text.data()) != 0 || pstIsStorePers(this) == 0)) {
    const std::string copy(text);
    std::copy_n(copy.data(), copy.size(), resized(characters_, copy.size()));
  } else {
    std::copy_n(text.data(), text.size(), resized(characters_, text.size()));
  }
  return *this;
}

String& String::append(std::string_view text) {
  const std::string copy(text);
  const std::size_t before = size();
  if (!copy.empty()) std::copy_n(copy.data(), copy.size(), resized(characters_, before + copy.size()) + before);
  return *this;
}

}  // namespace ps
