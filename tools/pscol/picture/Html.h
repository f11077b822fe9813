#pragma once

#include <string>
#include <vector>

namespace pscol::picture {

// The style sheet of a page; it needs the colours and the styles of pictures.
std::string pageStyles();

// Text as the content of an element, cut to a length that a line of a phone can break.
std::string htmlText(const std::string& text);
// A name of the store, in the letters of code and apart from the direction of writing around it.
std::string htmlName(const std::string& name, std::size_t longest = 90);

// A table that scrolls in its own box.
class HtmlTable {
 public:
  enum class Align { left, right, wrap };
  struct Column {
    std::string title;
    Align align = Align::left;
  };

  HtmlTable(std::string label, std::vector<Column> columns) : label_(std::move(label)), columns_(std::move(columns)) {}

  // Cells are HTML, one for each column. What would make the table longer than that is counted, and left out.
  void setMostBytes(std::size_t bytes) { mostBytes_ = bytes; }
  void add(const std::vector<std::string>& cells);
  bool isEmpty() const { return rows_.empty(); }
  // more says how to see the rest, as in "pscol ls shows them".
  std::string html(const std::string& more) const;

 private:
  std::string label_;
  std::vector<Column> columns_;
  std::string rows_;
  std::size_t mostBytes_ = 40000;
  std::size_t leftOut_ = 0;
};

}  // namespace pscol::picture
