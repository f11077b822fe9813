#include "pscol/picture/TreeDrawing.h"

#include <algorithm>
#include <cmath>

#include "pscol/Text.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/Text.h"
#include "pscol/picture/TreePicture.h"

namespace pscol::picture {

namespace {

constexpr double innerHeight = 22;
constexpr double leafHeight = 104;
constexpr double magnifiedHeight = 78;

std::string fillText(std::uint32_t used, std::uint32_t capacity) {
  return counted(used) + " of " + counted(capacity) + " entries";
}

std::size_t leafOf(const std::optional<KeyInTree>& key, const std::vector<TreeSketch::Leaf>& leaves) {
  if (!key) return leaves.size();
  const auto found =
      std::find_if(leaves.begin(), leaves.end(), [&](const TreeSketch::Leaf& leaf) { return leaf.id == key->leaf; });
  return static_cast<std::size_t>(found - leaves.begin());
}

// info has elements.
std::string perElement(const psTreeInfo& info) {
  const double bytes = static_cast<double>(info.bytes) / static_cast<double>(info.elements);
  return bytes < 100 ? decimal(bytes, 1) : counted(static_cast<std::uint64_t>(bytes));
}

}  // namespace

TreeDrawing::TreeDrawing(const psTreeInfo& info, const TreeSketch& sketch, const Subject& subject,
                         const std::optional<KeyInTree>& key, Svg& svg)
    : info_(info),
      sketch_(sketch),
      subject_(subject),
      key_(key),
      leaves_(sketch.leaves()),
      inner_(sketch.innerLevels()),
      svg_(svg),
      chart_(svg),
      right_(svg.width() - (chart_.isWide() ? 110 : 70)),
      leafWidth_(
          std::min(widestBar, (right_ - gutter) / static_cast<double>(std::max<std::size_t>(leaves_.size(), 1)))),
      keyLeaf_(leafOf(key, leaves_)) {}

void TreeDrawing::draw(bool hasHead) {
  if (hasHead)
    y_ = chart_.head(subject_.name, subject_.className + "\u00A0· " + TreePicture::facts(info_), subject_.advice);
  for (std::size_t level = 0; level < inner_.size(); ++level) drawInner(level);
  if (!leaves_.empty()) {
    drawLeaves();
    if (leafWidth_ < 44)
      drawMagnified();
    else
      drawFirstKeys();
    if (hasKey()) drawLeafOfKey();
  }
  drawBytes();
  y_ = chart_.containers(y_ + 24, info_.containers);
  drawLegend();
  svg_.setHeight(y_ + 8);
}

void TreeDrawing::drawInner(std::size_t level) {
  const std::vector<Inner>& nodes = inner_[level];
  if (nodes.empty()) return;
  std::uint64_t used = 0;
  std::uint64_t capacity = 0;
  for (const Inner& node : nodes) {
    used += node.used;
    capacity += node.capacity;
  }
  if (level == 0)
    chart_.caption(y_ + 12, "Root", fillText(nodes[0].used, nodes[0].capacity), svg_.width());
  else
    chart_.caption(y_ + 12, "Level " + std::to_string(level + 1),
                   counted(nodes.size(), "node") + ", " +
                       percentText(share(static_cast<double>(used), static_cast<double>(capacity))) + " full",
                   svg_.width());
  y_ += 20;
  const double width = xOf(leaves_.size()) - gutter;
  const Plot plot{{gutter, y_, width, innerHeight}};
  if (width / static_cast<double>(nodes.size()) < narrowestBar)
    drawInnerColumns(plot, nodes);
  else
    drawInnerBars(plot, nodes);
  if (hasKey()) {
    const auto on = std::find_if(nodes.begin(), nodes.end(),
                                 [&](const Inner& node) { return node.begin <= keyLeaf_ && keyLeaf_ < node.end; });
    if (on != nodes.end()) outlineWay(plot, on->begin, on->end);
  }
  y_ += innerHeight + 10;
}

void TreeDrawing::drawInnerBars(const Plot& plot, const std::vector<Inner>& nodes) {
  chart_.beginBars(plot);
  for (const Inner& node : nodes) {
    const double x = xOf(node.begin);
    const double span = xOf(node.end) - x;
    const double width = std::max(span - (span < 24 ? 1 : 2), 0.6);
    const std::string title = idText(node.id) + ": " + fillText(node.used, node.capacity);
    svg_.rect({x, plot.box.y, width, plot.box.height}, "f-empty", title);
    svg_.rect({x, plot.yOf(node.fill()), width, plot.heightOf(node.fill())}, "f-inner", title,
              data("fill", fractionText(node.fill())));
  }
  svg_.endGroup();
}

// Where nodes are too narrow, they get equal widths; their leaves are about as many.
void TreeDrawing::drawInnerColumns(const Plot& plot, const std::vector<Inner>& nodes) {
  Bars bars;
  bars.count = nodes.size();
  bars.width = plot.box.width / static_cast<double>(nodes.size());
  bars.value = [&](std::size_t i) { return nodes[i].fill(); };
  bars.grade = [](double) { return "inner"; };
  chart_.bars(plot, bars);
}

void TreeDrawing::drawLeaves() {
  std::array<std::uint64_t, 10> byFill{};
  std::uint64_t used = 0;
  std::uint64_t capacity = 0;
  for (const Leaf& leaf : leaves_) {
    used += leaf.used;
    capacity += leaf.capacity;
    if (leaf.isReadable) ++byFill[std::min(static_cast<std::size_t>(leaf.fill() * 10), byFill.size() - 1)];
  }
  if (inner_.empty())
    chart_.caption(y_ + 12, "Root, a leaf", fillText(leaves_[0].used, leaves_[0].capacity), right_);
  else
    chart_.caption(y_ + 12, "Leaves",
                   counted(leaves_.size()) + ", " +
                       percentText(share(static_cast<double>(used), static_cast<double>(capacity))) + " full",
                   right_);
  y_ += 26;
  const Plot plot{{gutter, y_, xOf(leaves_.size()) - gutter, leafHeight}};
  chart_.fillAxis({{gutter, y_, right_ - gutter, leafHeight}});
  Bars bars;
  bars.count = leaves_.size();
  bars.width = leafWidth_;
  bars.value = [&](std::size_t i) { return leaves_[i].fill(); };
  bars.grade = [&](double fill) { return gradeOfLeaf(fill); };
  bars.title = [&](std::size_t i) { return leafTitle(i); };
  leavesInColumn_ = chart_.bars(plot, bars);
  svg_.dotted(gutter, plot.yOf(0.5), plot.box.right());
  outlineUnreadable(plot);
  if (leaves_.size() > 1)
    chart_.distribution({right_ + 14, y_, svg_.width() - right_ - 18, leafHeight}, byFill, gradeOfFill, "leaves", 1);
  if (hasKey()) outlineWay(plot, keyLeaf_, keyLeaf_ + 1);
  y_ += leafHeight + 4;
}

// In columns, leaves side by side share an outline.
void TreeDrawing::outlineUnreadable(const Plot& plot) {
  const bool areColumns = leafWidth_ < narrowestBar;
  double end = 0;  // of the last outline
  for (std::size_t i = 0; i < leaves_.size(); ++i) {
    if (leaves_[i].isReadable || xOf(i) < end) continue;
    std::size_t next = i + 1;
    if (areColumns) {
      while (next < leaves_.size() && (!leaves_[next].isReadable || xOf(next) < xOf(i) + 4)) ++next;
    }
    const double width = std::max(xOf(next) - xOf(i) - 2, 3.0);
    svg_.rect({xOf(i), plot.box.y + 1, width, plot.box.height - 2}, "k",
              areColumns ? "nodes that cannot be read" : leafTitle(i), data("unreadable", "1"));
    end = xOf(i) + width + 2;
  }
}

void TreeDrawing::outlineWay(const Plot& plot, std::size_t begin, std::size_t end) {
  const double x = xOf(begin);
  const double width = std::max(xOf(end) - x - 1, 3.0);
  svg_.rect({x - 0.5, plot.box.y - 1, width + 1, plot.box.height + 2}, "o",
            "on the way to " + shortened(cleaned(key_->label), 80));
  if (width >= 8) return;
  const double middle = x + width / 2;
  const std::string top = coordinate(plot.box.y - 7);
  svg_.polygon(coordinate(middle - 4) + "," + top + " " + coordinate(middle + 4) + "," + top + " " +
                   coordinate(middle) + "," + coordinate(plot.box.y - 1),
               "tp");
}

// Below leaves that are wide enough for it, the first key of each.
void TreeDrawing::drawFirstKeys() {
  const auto step = static_cast<std::size_t>(std::ceil(56 / leafWidth_));
  for (std::size_t i = 0; i < leaves_.size(); i += step) {
    svg_.line({xOf(i), y_ - 4}, {xOf(i), y_ + 2}, "x");
    svg_.text(xOf(i), y_ + 13, fitted(firstOf(leaves_[i]), static_cast<double>(step) * leafWidth_ - 6, smallText), "s");
  }
  if (info_.elements > 0) svg_.text(0, y_ + 13, "from", "s");
  y_ += 18;
}

std::size_t TreeDrawing::magnifiedLeaf() const {
  if (hasKey()) return keyLeaf_;
  const auto unreadable =
      std::find_if(leaves_.begin(), leaves_.end(), [](const Leaf& leaf) { return !leaf.isReadable; });
  if (unreadable != leaves_.end()) return static_cast<std::size_t>(unreadable - leaves_.begin());
  const auto emptiest = std::min_element(leaves_.begin(), leaves_.end(),
                                         [](const Leaf& a, const Leaf& b) { return a.fill() < b.fill(); });
  return static_cast<std::size_t>(emptiest - leaves_.begin());
}

void TreeDrawing::drawMagnified() {
  const std::size_t parts = chart_.isWide() ? 4 : 2;
  const double room = xOf(leaves_.size()) - gutter;
  for (std::size_t part = 0; part < parts; ++part) {
    const std::size_t leaf = part * leaves_.size() / parts;
    svg_.line({xOf(leaf), y_ - 4}, {xOf(leaf), y_ + 2}, "x");
    const double most = room / static_cast<double>(parts) - 8;
    svg_.text(xOf(leaf), y_ + 13, fitted(firstOf(leaves_[leaf]), most, smallText), "s");
  }
  const std::size_t shown = std::min<std::size_t>(chart_.isWide() ? 16 : 6, leaves_.size());
  const std::size_t middle = magnifiedLeaf();
  const std::size_t begin = std::min(middle - std::min(middle, shown / 2), leaves_.size() - shown);
  const std::string from = coordinate(y_);
  const std::string to = coordinate(y_ + 66);
  const double right = std::max(xOf(begin + shown), xOf(begin) + 2);
  svg_.polygon(coordinate(xOf(begin)) + "," + from + " " + coordinate(right) + "," + from + " " +
                   coordinate(svg_.width()) + "," + to + " " + coordinate(gutter) + "," + to,
               "l");
  y_ += 42;
  svg_.text(0, y_ + 10, "Magnified", "b n");
  svg_.text(textWidth("Magnified", textSize, Weight::bold) + 10, y_ + 10,
            "leaves " + counted(begin + 1) + " to " + counted(begin + shown) + " of " + counted(leaves_.size()), "n s");
  y_ += 24;
  const Plot plot{{gutter, y_, svg_.width() - gutter, magnifiedHeight}};
  chart_.fillAxis(plot);
  chart_.beginBars(plot);
  const double width = plot.box.width / static_cast<double>(shown);
  for (std::size_t i = 0; i < shown; ++i)
    drawMagnifiedLeaf(plot, begin + i, gutter + static_cast<double>(i) * width, width - 3);
  svg_.endGroup();
  svg_.text(0, plot.box.bottom() + 14, "from", "s");
  y_ += magnifiedHeight + 20;
}

void TreeDrawing::drawMagnifiedLeaf(const Plot& plot, std::size_t i, double x, double width) {
  const Leaf& leaf = leaves_[i];
  const double top = plot.yOf(leaf.fill());
  svg_.rect({x, plot.box.y, width, plot.box.height}, "f-empty", leafTitle(i));
  svg_.rect({x, top, width, plot.heightOf(leaf.fill())}, std::string("f-") + gradeOfLeaf(leaf.fill()), leafTitle(i),
            data("fill", fractionText(leaf.fill())));
  svg_.dotted(x, plot.yOf(0.5), x + width);
  if (!leaf.isReadable) svg_.rect({x + 1, plot.box.y + 1, width - 2, plot.box.height - 2}, "k", leafTitle(i));
  if (i == keyLeaf_) svg_.rect({x - 0.5, plot.box.y - 1, width + 1, plot.box.height + 2}, "o");
  const bool isAbove = top - 4 > plot.box.y + 12;
  const std::string number = leaf.isReadable ? counted(leaf.used) : "?";
  if (textWidth(number, smallText) < width + 2)
    svg_.text(x + width / 2, isAbove ? top - 4 : top + 14, number, isAbove ? "s m h" : "s m v");
  svg_.text(x, plot.box.bottom() + 14, fitted(firstOf(leaf), width - 2, smallText), "s");
}

void TreeDrawing::drawLeafOfKey() {
  const Leaf& leaf = leaves_[keyLeaf_];
  y_ += 24;
  chart_.caption(y_, "Leaf " + counted(keyLeaf_ + 1),
                 leaf.isReadable
                     ? counted(leaf.used) + " used, " + counted(leaf.capacity - std::min(leaf.used, leaf.capacity)) +
                           " free of " + counted(leaf.capacity)
                     : "cannot be read",
                 svg_.width());
  y_ += 9;
  const double width = svg_.width() - gutter;
  svg_.rect({gutter, y_, width, 14}, "f-empty", "free entries");
  svg_.rect({gutter, y_, width * leaf.fill(), 14}, "f-full", "used entries", data("share", fractionText(leaf.fill())));
  svg_.line({gutter + width / 2, y_ - 4}, {gutter + width / 2, y_ + 18}, "d");
  const double at = gutter + width * std::min(share(key_->entry + 0.5, leaf.capacity), 1.0);
  svg_.rect({at - 1.5, y_ - 3, 3, 20}, "f-path");
  const std::string label = fitted(cleaned(key_->label), 170, textSize, Weight::bold) +
                            (key_->isPresent ? " is entry " : " is not there; it would be entry ") +
                            counted(key_->entry + 1);
  const double half = textWidth(label, textSize, Weight::bold) / 2 + 2;
  svg_.text(std::clamp(at, half, std::max(svg_.width() - half, half)), y_ + 31, label, "tp m b");
  y_ += 36;
}

void TreeDrawing::drawBytes() {
  const auto leaves = static_cast<double>(sketch_.leafBytes());
  const auto inner = static_cast<double>(sketch_.innerBytes());
  const double entries = entryBytes(info_, leaves);
  const double other = std::max(static_cast<double>(info_.bytes) - leaves - inner, 0.0);
  y_ += 24;
  chart_.caption(y_, "Bytes",
                 bytesText(static_cast<double>(info_.bytes)) +
                     (info_.elements == 0 ? "" : ", " + perElement(info_) + " an element") +
                     (chart_.isWide() ? "; the elements themselves are not counted" : ""),
                 svg_.width());
  y_ = chart_.portions(y_ + 9, {{"f-full", "entries of leaves", entries},
                                {"f-full t", "headers of leaves", leaves - entries},
                                {"f-inner", "inner nodes", inner},
                                {"f-inner t", "administrator", other}});
}

void TreeDrawing::drawLegend() {
  std::vector<LegendItem> items;
  if (leaves_.size() > 1) {
    items = {{"f-full", "half full or more"}, {"f-half", "a quarter to a half"}, {"f-low", "less than a quarter"}};
    if (!inner_.empty()) items.push_back({"f-inner", "inner node"});
  } else {
    items = {{"f-full", "used"}};
  }
  items.push_back({"f-empty", "free"});
  if (leavesInColumn_ > 1) {
    const auto rounded = static_cast<std::uint64_t>(std::ceil(leavesInColumn_ - 0.01));
    items.push_back({"f-full t", "fullest of " + (rounded > 1 ? "up to " + counted(rounded) + " " : std::string()) +
                                     "leaves in a column"});
  }
  if (hasKey()) items.push_back({"out:o", "way to " + fitted(cleaned(key_->label), 130, smallText)});
  if (!leaves_.empty()) items.push_back({"line:d", "half: where a full node splits"});
  if (info_.unreadable > 0) items.push_back({"out:k", "node that cannot be read"});
  y_ = chart_.legend(y_ + 26, items);
}

std::string TreeDrawing::leafTitle(std::size_t i) const {
  const Leaf& leaf = leaves_[i];
  if (leaf.isReadable)
    return idText(leaf.id) + ": " + fillText(leaf.used, leaf.capacity) +
           (leaf.used == 0 ? "" : ", from " + firstOf(leaf));
  const std::string complaint = sketch_.complaintOf(i);
  return (leaf.id.isNull() ? "A node" : idText(leaf.id)) + " " + (complaint.empty() ? "cannot be read" : complaint);
}

// In a list, elements have no keys; their positions count from 0.
std::string TreeDrawing::firstOf(const Leaf& leaf) const {
  if (!leaf.isReadable || leaf.used == 0) return "";
  return info_.kind == psCollectionKind::list ? counted(leaf.elementsBefore) : subject_.label(leaf.first);
}

// A single leaf is never low.
const char* TreeDrawing::gradeOfLeaf(double fill) const { return leaves_.size() > 1 ? gradeOfFill(fill) : "full"; }

}  // namespace pscol::picture
