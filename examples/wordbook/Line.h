#pragma once

#include <cstdint>

#include "Text.h"

// A line of a text. All words that occur in it refer to the same line.
class Line : public psObj {
  PS_PERSISTENT_CLASS(Line, psObj, 20004)
  PS_FIELDS(text_, number_, letters_)

 public:
  // number counts from 1.
  Line(const ps::Ref<Text>& text, std::uint64_t number, std::string_view letters)
      : text_(text), number_(number), letters_(letters) {}

  ps::Ref<Text> text() const { return text_; }
  std::uint64_t number() const { return number_; }
  // Valid while the line is open.
  std::string_view letters() const { return letters_.view(); }

 private:
  pstRef<Text> text_;
  std::uint64_t number_ = 0;
  ps::String letters_;
};
