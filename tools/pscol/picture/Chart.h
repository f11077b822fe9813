#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "pscol/picture/Advice.h"
#include "pscol/picture/Svg.h"

namespace pscol::picture {

// The sizes of text.
constexpr double textSize = 12;
constexpr double smallText = 11;

constexpr double gutter = 46;       // left of a plot, for its axis
constexpr double widestBar = 64;    // so that one leaf is a small box and not a wall
constexpr double narrowestBar = 3;  // below that, several bars become a column
constexpr double columnWidth = 2;   // at least

// Where values are drawn, from 0 at the bottom to `top`.
struct Plot {
  Box box;
  double top = 1;

  double heightOf(double value) const { return box.height * value / top; }
  double yOf(double value) const { return box.bottom() - heightOf(value); }
};

// Bars of the same width from the left of a plot.
struct Bars {
  std::size_t count = 0;
  double width = 0;
  std::function<double(std::size_t)> value;
  std::function<const char*(double)> grade;  // of a value: "full", "half" or "low"
  std::function<std::string(std::size_t)> title;
};

struct Tick {
  double value;
  std::string text;
};

// kind is the class of a filled field, "line:" and the class of a line, or "out:" and the class of an outline.
struct LegendItem {
  std::string kind;
  std::string text;
};

struct Portion {
  const char* classes;
  std::string text;
  double amount;
};

// "full" from a half, "half" from a quarter, else "low".
const char* gradeOfFill(double fill);

// The parts that pictures of collections have in common.
class Chart {
 public:
  explicit Chart(Svg& svg) : svg_(svg) {}

  bool isWide() const { return svg_.width() > 600; }

  // The name of a collection, facts and advice. Returns the y below it.
  double head(const std::string& name, const std::string& facts, const std::vector<Advice>& advice);
  // A bold name and grey facts, cut where right is reached.
  void caption(double y, const std::string& name, const std::string& facts, double right);
  void axis(const Plot& plot, const std::vector<Tick>& ticks);
  void fillAxis(const Plot& plot) { axis(plot, {{1, "100\u00A0%"}, {0.5, "50\u00A0%"}, {0, "0"}}); }
  // Shapes with data("fill", value) that follow stand for values of this plot, up to endGroup.
  void beginBars(const Plot& plot, const std::string& attributes = "");
  // How many values a column stands for; 1 when each has a bar.
  double bars(const Plot& plot, const Bars& bars);
  // How many values are in each tenth of the plot's height, drawn to the right of it. box has the height of the plot.
  void distribution(const Box& box, const std::array<std::uint64_t, 10>& counts,
                    const std::function<const char*(double)>& grade, const std::string& what, double top);
  // A bar of the picture's width. Returns the y of the last line of its legend.
  double portions(double y, const std::vector<Portion>& portions);
  // How many of a database's containers are used.
  double containers(double y, std::uint64_t used);
  // Returns the y of the last line.
  double legend(double y, const std::vector<LegendItem>& items);

 private:
  void columns(const Plot& plot, const Bars& bars, std::size_t count);

  Svg& svg_;
};

}  // namespace pscol::picture
