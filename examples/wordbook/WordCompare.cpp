#include "WordCompare.h"

#include <cstdint>
#include <cstring>

#include "Word.h"

PS_REGISTER_CLASS(WordCompare)

namespace {

// Opens a word for its text, while an object of this class lives. The text is empty when the word cannot be opened; the
// collection notices that by itself.
class OpenText {
 public:
  explicit OpenText(const pstHandle<psObj>& word) : word_(word), text_(word_.open(pscRead) == 1 ? word_->text() : "") {}

  operator const char*() const { return text_; }

 private:
  pstHandle<Word> word_;
  const char* text_;
};

// FNV-1a, times the golden ratio. A hash that collections keep must be the same in every program, so the standard
// library's cannot be used. In FNV-1a, texts that differ only in their last letters have the same first bits, and the
// first bits lead to the bucket. The multiplication makes the first bits depend on all others.
int hashOf(const char* text) {
  std::uint32_t hash = 2166136261U;
  for (; *text != '\0'; ++text) hash = (hash ^ static_cast<unsigned char>(*text)) * 16777619U;
  return static_cast<int>(hash * 0x9E3779B1U);
}

}  // namespace

int WordCompare::compare(const pstHandle<psObj>& word, const void*& text) const {
  return std::strcmp(OpenText(word), static_cast<const char*>(text));
}

int WordCompare::compare(const pstHandle<psObj>& word, const pstHandle<psObj>& other) const {
  const OpenText text(word);
  return std::strcmp(text, OpenText(other));
}

int WordCompare::hash(const void*& text) const { return hashOf(static_cast<const char*>(text)); }

int WordCompare::hash(const pstHandle<psObj>& word) const { return hashOf(OpenText(word)); }

std::uint64_t WordCompare::abbreviation(const void*& text) const {
  return ps::abbreviationOf(static_cast<const char*>(text));
}

std::uint64_t WordCompare::abbreviation(const pstHandle<psObj>& word) const {
  return ps::abbreviationOf(static_cast<const char*>(OpenText(word)));
}
