#include "pscol/picture/Svg.h"

#include <algorithm>
#include <cmath>

#include "pscol/picture/Numbers.h"
#include "pscol/picture/Palette.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

namespace {

std::string attribute(const char* name, double value) {
  return std::string(" ") + name + "=\"" + coordinate(value) + "\"";
}

std::string classAttribute(const std::string& classes) { return classes.empty() ? "" : " class=\"" + classes + "\""; }

}  // namespace

std::string data(const char* name, const std::string& value) {
  return std::string(" data-") + name + "=\"" + escaped(value) + "\"";
}

Svg::Svg(double width, const std::string& label) : width_(width), label_(escaped(label)) {}

void Svg::rect(const Box& box, const std::string& classes, const std::string& title, const std::string& attributes) {
  content_ += "<rect" + attribute("x", box.x) + attribute("y", box.y) + attribute("width", std::max(box.width, 0.0)) +
              attribute("height", std::max(box.height, 0.0)) + classAttribute(classes) + attributes;
  content_ += title.empty() ? "/>" : "><title>" + escaped(title) + "</title></rect>";
}

void Svg::line(const Point& from, const Point& to, const std::string& classes) {
  content_ += "<line" + attribute("x1", from.x) + attribute("y1", from.y) + attribute("x2", to.x) +
              attribute("y2", to.y) + classAttribute(classes) + "/>";
}

void Svg::dotted(double x, double y, double right) {
  line({x, y}, {right, y}, "u");
  line({x, y}, {right, y}, "d");
}

void Svg::text(double x, double y, const std::string& text, const std::string& classes) {
  if (text.empty()) return;
  content_ +=
      "<text" + attribute("x", x) + attribute("y", y) + classAttribute(classes) + ">" + escaped(text) + "</text>";
}

void Svg::path(const std::string& commands, const std::string& classes) {
  content_ += "<path d=\"" + commands + "\"" + classAttribute(classes) + "/>";
}

void Svg::polygon(const std::string& points, const std::string& classes) {
  content_ += "<polygon points=\"" + points + "\"" + classAttribute(classes) + "/>";
}

void Svg::beginGroup(const std::string& attributes) { content_ += "<g" + attributes + ">"; }

std::string Svg::opening(const std::string& classes, double margin) const {
  const std::string width = coordinate(width_ + 2 * margin);
  const std::string height = coordinate(std::ceil(height_) + 2 * margin);
  const std::string start = coordinate(-margin);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"" + classes + "\" viewBox=\"" + start + " " + start + " " +
         width + " " + height + "\" width=\"" + width + "\" height=\"" + height + "\" role=\"img\" aria-label=\"" +
         label_ + "\"><title>" + label_ + "</title>";
}

std::string Svg::element(const std::string& classes) const { return opening("p " + classes, 0) + content_ + "</svg>"; }

std::string Svg::document() const {
  const double margin = width_ > 600 ? 16 : 8;
  const std::string box = "<rect x=\"" + coordinate(-margin) + "\" y=\"" + coordinate(-margin) + "\" width=\"" +
                          coordinate(width_ + 2 * margin) + "\" height=\"" +
                          coordinate(std::ceil(height_) + 2 * margin) + "\" class=\"r\"/>";
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + opening("p", margin) + "<style>" + colourStyles() +
         pictureStyles() + "svg.p{background:var(--bg)}</style>" + box + content_ + "</svg>\n";
}

}  // namespace pscol::picture
