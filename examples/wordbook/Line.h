#pragma once

#include <cstdint>
#include <string>

#include "Text.h"

// A line of a text. All words that occur in it refer to the same line.
class Line : public psObj {
  PS_PERSISTENT_CLASS(Line, psObj, 20004)

 public:
  // number counts from 1.
  Line(const pstHandle<Text>& text, std::uint64_t number, const std::string& letters);

  const pstRef<Text>& text() const { return text_; }
  std::uint64_t number() const { return number_; }
  // Ends with a null character; valid while the line is open.
  const char* letters() const;
  // False when the store had no room for the letters.
  bool isWhole() const { return letters_.size() != 0; }

 private:
  pstRef<Text> text_;
  std::uint64_t number_ = 0;
  pstVArray<char> letters_;
};
