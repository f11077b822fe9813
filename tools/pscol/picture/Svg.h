#pragma once

#include <string>

namespace pscol::picture {

// ` data-NAME="VALUE"`: what a shape stands for, so that a picture can be compared with the data.
std::string data(const char* name, const std::string& value);

struct Point {
  double x;
  double y;
};

struct Box {
  double x;
  double y;
  double width;
  double height;

  double right() const { return x + width; }
  double bottom() const { return y + height; }
};

// A drawing of a fixed width in CSS pixels. Classes are those of pictureStyles. Texts are escaped here, once.
class Svg {
 public:
  // label says in a sentence what the picture shows.
  Svg(double width, const std::string& label);

  double width() const { return width_; }
  void setHeight(double height) { height_ = height; }

  // title is shown for a shape that is pointed at; attributes come from data().
  void rect(const Box& box, const std::string& classes, const std::string& title = "",
            const std::string& attributes = "");
  void line(const Point& from, const Point& to, const std::string& classes);
  // A dotted line that is seen on dark and on light.
  void dotted(double x, double y, double right);
  void text(double x, double y, const std::string& text, const std::string& classes = "");
  void path(const std::string& commands, const std::string& classes);
  void polygon(const std::string& points, const std::string& classes);
  void beginGroup(const std::string& attributes);
  void endGroup() { content_ += "</g>"; }

  std::size_t size() const { return content_.size(); }

  // An element for an HTML page that has the style sheets.
  std::string element(const std::string& classes) const;
  // A file of its own, with a margin.
  std::string document() const;

 private:
  std::string opening(const std::string& classes, double margin) const;

  double width_;
  double height_ = 0;
  std::string label_;
  std::string content_;
};

}  // namespace pscol::picture
