#pragma once

#include <cstdint>

#include "Word.h"

// A text, and how much of it was read.
class Text : public psObj {
  PS_PERSISTENT_CLASS(Text, psObj, 20003)
  PS_FIELDS(name_, bytes_, lines_)

 public:
  explicit Text(const ps::Ref<Word>& name) : name_(name) {}

  ps::Ref<Word> name() const { return name_; }
  // How much of the text is in the book: this many bytes, and this many lines that end within them.
  std::uint64_t bytes() const { return bytes_; }
  std::uint64_t lines() const { return lines_; }

  // Notes that more of the text is in the book. The text must be open for update.
  void advance(std::uint64_t bytes, std::uint64_t lines) {
    bytes_ += bytes;
    lines_ += lines;
  }

 private:
  pstRef<Word> name_;
  std::uint64_t bytes_ = 0;
  std::uint64_t lines_ = 0;
};
