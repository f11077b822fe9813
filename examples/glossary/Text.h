#pragma once

#include <pscollections.h>

#include <string>

// A text in the store, in Java's characters.
class Text : public psObj {
  PS_PERSISTENT_CLASS(Text, psObj, 20011)

 public:
  explicit Text(const std::u16string& letters);

  // False when there was no room for the letters, or when they cannot be read.
  bool isWhole() const { return size_ == letters_.size(); }
  std::u16string letters() const { return std::u16string(letters_.head(), letters_.size()); }

 private:
  pstVArray<char16_t> letters_;
  std::uint32_t size_ = 0;
};
