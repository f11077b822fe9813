#pragma once

#include <pscollections.h>

// Orders and hashes words by the bytes of their texts; for UTF-8 that is the order of the characters. A raw key is a
// text: a const char* that ends with a null character.
class WordCompare : public psCompare {
  PS_PERSISTENT_CLASS(WordCompare, psCompare, 20002)

 public:
  WordCompare() = default;

  int compare(const pstHandle<psObj>& word, const void*& text) const override;
  int compare(const pstHandle<psObj>& word, const pstHandle<psObj>& other) const override;
  int hash(const void*& text) const override;
  int hash(const pstHandle<psObj>& word) const override;
  std::uint64_t abbreviation(const void*& text) const override;
  std::uint64_t abbreviation(const pstHandle<psObj>& word) const override;
};
