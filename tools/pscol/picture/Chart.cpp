#include "pscol/picture/Chart.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "pscol/picture/Numbers.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

namespace {

constexpr double lineHeight = 16;

const char* markFor(Advice::Severity severity) {
  switch (severity) {
    case Advice::Severity::fine:
      return "f-ok";
    case Advice::Severity::note:
      return "f-half";
    case Advice::Severity::advice:
    case Advice::Severity::damage:
      return "f-low";
  }
  return "";
}

// A filled box from the bottom of the plot.
std::string columnPath(const Plot& plot, std::size_t column, double width, double value) {
  const std::string height = coordinate(plot.heightOf(std::min(value, plot.top)));
  return "M" + coordinate(plot.box.x + static_cast<double>(column) * width) + " " + coordinate(plot.box.bottom()) +
         "v-" + height + "h" + coordinate(width) + "v" + height + "z";
}

}  // namespace

const char* gradeOfFill(double fill) { return fill >= 0.5 ? "full" : fill >= 0.25 ? "half" : "low"; }

double Chart::head(const std::string& name, const std::string& facts, const std::vector<Advice>& advice) {
  svg_.text(0, 16, fittedInMiddle(cleaned(name), svg_.width(), textSize, Weight::bold), "b");
  double y = 34;
  for (const std::string& line : wrapped(facts, svg_.width(), smallText)) {
    svg_.text(0, y, line, "s");
    y += lineHeight;
  }
  for (const Advice& one : advice) {
    svg_.rect({0, y - 9, 9, 9}, markFor(one.severity));
    for (const std::string& line :
         wrapped(std::string(wordFor(one.severity)) + ": " + one.sentence, svg_.width() - 15, textSize)) {
      svg_.text(15, y, line);
      y += lineHeight;
    }
  }
  return y + 8;
}

void Chart::caption(double y, const std::string& name, const std::string& facts, double right) {
  svg_.text(0, y, name, "b");
  const double x = textWidth(name, textSize, Weight::bold) + 10;
  svg_.text(x, y, fitted(facts, right - x, smallText), "s");
}

void Chart::axis(const Plot& plot, const std::vector<Tick>& ticks) {
  for (const Tick& tick : ticks) {
    const double y = plot.yOf(tick.value);
    svg_.line({plot.box.x, y}, {plot.box.right(), y}, "g");
    svg_.text(plot.box.x - 6, y + 4, tick.text, "s e");
  }
}

void Chart::beginBars(const Plot& plot, const std::string& attributes) {
  svg_.beginGroup(data("base", coordinate(plot.box.bottom())) + data("full", decimal(plot.heightOf(1), 10)) +
                  attributes);
}

double Chart::bars(const Plot& plot, const Bars& bars) {
  if (bars.count > 0 && bars.width < narrowestBar) {
    const auto room = static_cast<std::size_t>(std::max(plot.box.width / columnWidth, 1.0));
    const std::size_t count = std::min(room, bars.count);
    columns(plot, bars, count);
    return static_cast<double>(bars.count) / static_cast<double>(count);
  }
  const double gap = bars.width < 24 ? 1 : 2;
  beginBars(plot);
  for (std::size_t i = 0; i < bars.count; ++i) {
    const double value = std::min(bars.value(i), plot.top);
    const double x = plot.box.x + static_cast<double>(i) * bars.width;
    if (bars.width >= 8) svg_.rect({x, plot.box.y, bars.width - gap, plot.box.height}, "f-empty", bars.title(i));
    svg_.rect({x, plot.yOf(value), bars.width - gap, plot.heightOf(value)}, std::string("f-") + bars.grade(value),
              bars.title(i), data("fill", fractionText(value)));
  }
  svg_.endGroup();
  return 1;
}

// Columns show the mean of their values, and the highest one as a tint. All columns of a colour are one path.
void Chart::columns(const Plot& plot, const Bars& bars, std::size_t count) {
  const double width = plot.box.width / static_cast<double>(count);
  std::map<std::string, std::string> means;
  std::map<std::string, std::string> tops;
  std::string values;
  for (std::size_t column = 0; column < count; ++column) {
    const std::size_t begin = column * bars.count / count;
    const std::size_t end = (column + 1) * bars.count / count;
    double sum = 0;
    double highest = 0;
    for (std::size_t i = begin; i < end; ++i) {
      const double value = bars.value(i);
      sum += value;
      highest = std::max(highest, value);
    }
    const double mean = sum / static_cast<double>(end - begin);
    const std::string grade = std::string("f-") + bars.grade(mean);
    if (highest > mean) tops[grade] += columnPath(plot, column, width, highest);
    if (mean > 0) means[grade] += columnPath(plot, column, width, mean);
    values += (column == 0 ? "" : " ") + fractionText(std::min(mean, plot.top));
  }
  svg_.rect(plot.box, "f-empty");
  beginBars(plot, data("x", coordinate(plot.box.x)) + data("step", fractionText(width)) + data("columns", values) +
                      " class=\"c\"");
  for (const auto& [grade, path] : tops) svg_.path(path, grade + " t");
  for (const auto& [grade, path] : means) svg_.path(path, grade);
  svg_.endGroup();
}

void Chart::distribution(const Box& box, const std::array<std::uint64_t, 10>& counts,
                         const std::function<const char*(double)>& grade, const std::string& what, double top) {
  const std::uint64_t most = *std::max_element(counts.begin(), counts.end());
  if (most == 0) return;
  const double step = box.height / 10;
  svg_.text(box.x, box.y - 14, isWide() ? what + " by fill" : "by fill", "s");
  for (std::size_t tenth = 0; tenth < counts.size(); ++tenth) {
    if (counts[tenth] == 0) continue;
    const double value = static_cast<double>(tenth) / 10 * top;
    const double width = std::max(box.width * static_cast<double>(counts[tenth]) / static_cast<double>(most), 1.0);
    svg_.rect({box.x, box.bottom() - step * static_cast<double>(tenth + 1) + 0.5, width, step - 1},
              std::string("f-") + grade(value),
              counted(counts[tenth]) + " " + what + " are " + percentText(value) + " to " +
                  percentText(value + top / 10) + " full",
              data("count", std::to_string(counts[tenth])));
  }
  svg_.line({box.x - 0.5, box.y}, {box.x - 0.5, box.bottom()}, "x");
  svg_.text(svg_.width(), box.bottom() + 14, "most " + counted(most), "s e");
}

double Chart::portions(double y, const std::vector<Portion>& portions) {
  double total = 0;
  for (const Portion& portion : portions) total += portion.amount;
  double x = 0;
  std::vector<LegendItem> items;
  for (const Portion& portion : portions) {
    if (portion.amount < 0.5) continue;
    const double width = svg_.width() * share(portion.amount, total);
    const std::string text =
        portion.text + " " + bytesText(portion.amount) + ", " + percentText(share(portion.amount, total));
    svg_.rect({x, y, width, 14}, portion.classes, text);
    items.push_back({portion.classes, text});
    x += width;
  }
  return legend(y + 30, items);
}

double Chart::containers(double y, std::uint64_t used) {
  const double all = static_cast<double>(std::max(used, mostContainers));
  caption(y, "Containers",
          counted(used) + "; a database takes " + counted(firstCrowdedContainer) +
              (isWide() ? " for parts of collections (dotted line), and " + counted(mostContainers) + " in all"
                        : std::string()),
          svg_.width());
  const double filled = static_cast<double>(used) / all;
  svg_.rect({0, y + 9, svg_.width(), 8}, "f-empty");
  svg_.rect({0, y + 9, std::max(svg_.width() * filled, 1.0), 8}, filled > 0.05 ? "f-half" : "f-full",
            counted(used, "container"));
  const double crowded = svg_.width() * static_cast<double>(firstCrowdedContainer) / all;
  svg_.line({crowded, y + 6}, {crowded, y + 20}, "d");
  return y + 20;
}

double Chart::legend(double y, const std::vector<LegendItem>& items) {
  double x = 0;
  for (const LegendItem& item : items) {
    const std::string text = fitted(item.text, svg_.width() - 16, smallText);
    const double width = 16 + textWidth(text, smallText);
    if (x > 0 && x + width > svg_.width()) {
      x = 0;
      y += 17;
    }
    if (item.kind.rfind("line:", 0) == 0)
      svg_.line({x, y - 4}, {x + 11, y - 4}, item.kind.substr(5));
    else if (item.kind.rfind("out:", 0) == 0)
      svg_.rect({x + 1, y - 9, 9, 9}, item.kind.substr(4));
    else
      svg_.rect({x, y - 9.5, 11, 11}, item.kind);
    svg_.text(x + 16, y, text, "s");
    x += width + 16;
  }
  return y;
}

}  // namespace pscol::picture
