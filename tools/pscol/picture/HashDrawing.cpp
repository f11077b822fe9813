#include "pscol/picture/HashDrawing.h"

#include <algorithm>
#include <cmath>

#include "pscol/Text.h"
#include "pscol/picture/HashPicture.h"
#include "pscol/picture/Numbers.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

namespace {

constexpr double hashHeight = 72;
constexpr double depthHeight = 60;
constexpr double bucketHeight = 90;
constexpr double sharingHeight = 84;
constexpr double fullest = 0.9;  // a bucket that is fuller is split

// After a split, less than a half is usual; so buckets are only graded for being too full.
const char* gradeOfBucket(double fill) { return fill <= 0.905 ? "full" : fill <= 1.25 ? "half" : "low"; }

std::string rounded(double number) { return counted(static_cast<std::uint64_t>(std::llround(number))); }

// Where the number has no room, in thousands or millions.
std::string shortCount(double number, double room) {
  std::string text = rounded(number);
  if (textWidth(text, smallText) <= room || number < 1000) return text;
  const bool isLarge = number >= 1e6;
  const double part = number / (isLarge ? 1e6 : 1e3);
  return decimal(part, part < 100 ? 1 : 0) + (isLarge ? "\u00A0M" : "\u00A0k");
}

}  // namespace

HashDrawing::HashDrawing(const psHashInfo& info, const HashSketch& sketch, const Subject& subject,
                         const std::optional<KeyInTable>& key, Svg& svg)
    : info_(info),
      sketch_(sketch),
      subject_(subject),
      key_(key),
      buckets_(sketch.buckets()),
      svg_(svg),
      chart_(svg),
      places_(std::exp2(info.depth)),
      right_(svg.width() - (chart_.isWide() ? 110 : 70)) {}

void HashDrawing::draw(bool hasHead) {
  if (hasHead)
    y_ = chart_.head(subject_.name, subject_.className + "\u00A0· " + HashPicture::facts(info_), subject_.advice);
  if (buckets_.size() > 1) {
    drawHashes();
    drawDepths();
  }
  if (!buckets_.empty()) drawBuckets();
  if (info_.elements > 0) drawSharing();
  y_ = chart_.containers(y_ + 24, info_.containers);
  drawLegend();
  svg_.setHeight(y_ + 8);
}

std::vector<double> HashDrawing::elementsByHash(std::size_t classes) const {
  std::vector<double> elements(classes);
  const auto count = static_cast<double>(classes);
  for (const Bucket& bucket : buckets_) {
    const double begin = beginOf(bucket) * count;
    const double end = endOf(bucket) * count;
    for (auto i = static_cast<std::size_t>(begin); i < classes && static_cast<double>(i) < end; ++i) {
      const double common = std::min(end, static_cast<double>(i + 1)) - std::max(begin, static_cast<double>(i));
      elements[i] += bucket.elements * common / (end - begin);
    }
  }
  return elements;
}

void HashDrawing::drawHashes() {
  const std::size_t classes = std::min(chart_.isWide() ? 64.0 : 32.0, places_);
  const std::vector<double> elements = elementsByHash(classes);
  const double mean = static_cast<double>(info_.elements) / static_cast<double>(classes);
  const double top = std::max({*std::max_element(elements.begin(), elements.end()), mean * 1.5, 1.0});
  chart_.caption(y_ + 12, "Elements by the first bits of their hashes",
                 chart_.isWide() ? "even: all about as high as the dotted line" : "", svg_.width());
  y_ += 26;
  const Plot plot{{gutter, y_, plotWidth(), hashHeight}, top};
  chart_.axis(plot, {{top, shortCount(top, gutter - 8)}, {0, "0"}});
  Bars bars;
  bars.count = classes;
  bars.width = plot.box.width / static_cast<double>(classes);
  bars.value = [&](std::size_t i) { return elements[i]; };
  bars.grade = [&](double value) { return value > mean * 1.5 + 20 ? "low" : "full"; };
  bars.title = [&](std::size_t i) {
    return "range " + counted(i + 1) + " of " + counted(classes) + ": " + rounded(elements[i]) + " elements, " +
           rounded(mean) + " expected";
  };
  chart_.bars(plot, bars);
  svg_.dotted(gutter, plot.yOf(mean), plot.box.right());
  y_ += hashHeight;
  drawHashTicks();
}

void HashDrawing::drawHashTicks() {
  constexpr std::array<const char*, 4> quarters{"0x0…", "0x4…", "0x8…", "0xC…"};
  for (std::size_t i = 0; i < quarters.size(); ++i) {
    const double x = gutter + plotWidth() * static_cast<double>(i) / 4;
    svg_.line({x, y_}, {x, y_ + 5}, "x");
    svg_.text(x, y_ + 16, quarters[i], "s");
  }
  y_ += 24;
}

double HashDrawing::evenDepth() const {
  const double buckets = share(static_cast<double>(info_.elements), info_.slots * 0.65);
  return std::log2(std::max(buckets, 1.0));
}

const char* HashDrawing::gradeOfDepth(double depth) const { return depth > evenDepth() + 2.5 ? "low" : "inner"; }

void HashDrawing::drawDepths() {
  int least = info_.depth;
  int most = 0;
  for (const Bucket& bucket : buckets_) {
    if (bucket.slots == 0) continue;
    least = std::min<int>(least, bucket.depth);
    most = std::max<int>(most, bucket.depth);
  }
  chart_.caption(y_ + 14, "Bits by which buckets differ",
                 chart_.isWide()
                     ? counted(static_cast<std::uint64_t>(least)) + " to " + counted(static_cast<std::uint64_t>(most)) +
                           "; directory of " + counted(static_cast<std::uint64_t>(places_), "place")
                     : "at most " + std::to_string(most),
                 svg_.width());
  y_ += 28;
  const double top = std::max({static_cast<double>(most), evenDepth(), 1.0});
  const Plot plot{{gutter, y_, plotWidth(), depthHeight}, top};
  chart_.axis(plot, {{top, decimal(top, 0)}, {0, "0"}});
  if (buckets_.size() <= 80)
    drawDepthBars(plot);
  else
    drawDepthColumns(plot);
  svg_.dotted(gutter, plot.yOf(evenDepth()), plot.box.right());
  y_ += depthHeight;
}

void HashDrawing::drawDepthBars(const Plot& plot) {
  chart_.beginBars(plot);
  for (const Bucket& bucket : buckets_) {
    const double x = gutter + plotWidth() * beginOf(bucket);
    const double width = std::max(plotWidth() * (endOf(bucket) - beginOf(bucket)) - 1, 0.7);
    svg_.rect({x, plot.yOf(bucket.depth), width, plot.heightOf(bucket.depth)},
              std::string("f-") + gradeOfDepth(bucket.depth), titleOf(bucket),
              data("fill", std::to_string(bucket.depth)));
  }
  svg_.endGroup();
}

// A column shows the deepest of its buckets.
void HashDrawing::drawDepthColumns(const Plot& plot) {
  const auto columns = static_cast<std::size_t>(plot.box.width / columnWidth);
  std::vector<double> deepest(columns);
  for (const Bucket& bucket : buckets_) {
    const auto begin = static_cast<std::size_t>(beginOf(bucket) * static_cast<double>(columns));
    const auto end = static_cast<std::size_t>(std::ceil(endOf(bucket) * static_cast<double>(columns)));
    for (std::size_t i = begin; i < std::min(std::max(end, begin + 1), columns); ++i)
      deepest[i] = std::max<double>(deepest[i], bucket.depth);
  }
  Bars bars;
  bars.count = columns;
  bars.width = plot.box.width / static_cast<double>(columns);
  bars.value = [&](std::size_t i) { return deepest[i]; };
  bars.grade = [&](double depth) { return gradeOfDepth(depth); };
  chart_.bars(plot, bars);
}

void HashDrawing::drawBuckets() {
  double top = 1;
  for (const Bucket& bucket : buckets_) top = std::max(top, bucket.fill());
  std::array<std::uint64_t, 10> byFill{};
  for (const Bucket& bucket : buckets_)
    if (bucket.slots > 0) ++byFill[std::min(static_cast<std::size_t>(bucket.fill() / top * 10), byFill.size() - 1)];
  y_ += buckets_.size() > 1 ? 28 : 12;
  chart_.caption(y_, buckets_.size() == 1 ? "The only bucket" : "Buckets",
                 counted(buckets_.size()) + ", " + percentText(HashPicture::fill(info_)) + " full", right_);
  y_ += 14;
  const Plot plot{{gutter, y_, right_ - gutter, bucketHeight}, top};
  std::vector<Tick> ticks{{top, percentText(top)}, {0, "0"}};
  if (top > 1.25) ticks.push_back({1, percentText(1)});
  if (top < 4) ticks.push_back({0.5, percentText(0.5)});
  chart_.axis(plot, ticks);
  Bars bars;
  bars.count = buckets_.size();
  bars.width = std::min(widestBar, plot.box.width / static_cast<double>(buckets_.size()));
  bars.value = [&](std::size_t i) { return buckets_[i].fill(); };
  bars.grade = gradeOfBucket;
  bars.title = [&](std::size_t i) { return titleOf(buckets_[i]); };
  const double used = bars.width * static_cast<double>(bars.count);
  bucketsInColumn_ = chart_.bars({{gutter, y_, used, bucketHeight}, top}, bars);
  svg_.dotted(gutter, plot.yOf(fullest), gutter + used);
  outlineUnreadable(plot, bars.width);
  if (buckets_.size() > 1)
    chart_.distribution({right_ + 14, y_, svg_.width() - right_ - 18, bucketHeight}, byFill, gradeOfBucket, "buckets",
                        top);
  y_ += bucketHeight + 14;
  if (key_) drawKey(plot, bars.width);
}

void HashDrawing::outlineUnreadable(const Plot& plot, double width) {
  double end = 0;  // of the last outline
  for (std::size_t i = 0; i < buckets_.size(); ++i) {
    const double x = gutter + static_cast<double>(i) * width;
    if (buckets_[i].isReadable || x < end) continue;
    svg_.rect({x, plot.box.y + 1, std::max(width - 2, 3.0), plot.box.height - 2}, "k", titleOf(buckets_[i]),
              data("unreadable", "1"));
    end = x + std::max(width, 4.0);
  }
}

void HashDrawing::drawKey(const Plot& plot, double width) {
  const auto found =
      std::find_if(buckets_.begin(), buckets_.end(), [&](const Bucket& bucket) { return bucket.id == key_->bucket; });
  if (found == buckets_.end()) return;
  const auto at = static_cast<std::size_t>(found - buckets_.begin());
  const double x = gutter + static_cast<double>(at) * width;
  svg_.rect({x - 0.5, plot.box.y - 1, std::max(width - 1, 3.0) + 1, plot.box.height + 2}, "o");
  const std::string label = fitted(cleaned(key_->label), 150, textSize, Weight::bold) +
                            (key_->isPresent ? " is in bucket " : " is not there; bucket ") + counted(at + 1) +
                            ", slot " + counted(key_->slot + 1);
  const double half = textWidth(label, textSize, Weight::bold) / 2 + 2;
  svg_.text(std::clamp(x + width / 2, half, std::max(right_ - half, half)), y_ + 14, label, "tp m b");
  y_ += 20;
}

std::vector<HashDrawing::Shared> HashDrawing::sharing() const {
  const Sharing real = HashTally::sharingOf(info_);
  const Sharing even = sketch_.tally().evenSharing();
  std::vector<Shared> classes{{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 6}, {7, 9}, {10, 19}, {20, 49}, {50, SIZE_MAX}};
  const auto sum = [](const Sharing& sharing, const Shared& bounds) {
    double elements = 0;
    for (std::size_t k = bounds.from; k < sharing.size() && k <= bounds.to; ++k) elements += sharing[k];
    return elements;
  };
  for (Shared& shared : classes) {
    shared.elements = sum(real, shared);
    shared.even = sum(even, shared);
  }
  while (classes.size() > 4 && classes.back().elements < 0.5) classes.pop_back();
  return classes;
}

void HashDrawing::drawSharing() {
  const std::vector<Shared> classes = sharing();
  double top = 1;
  for (const Shared& shared : classes) top = std::max({top, shared.elements, shared.even});
  y_ += 26;
  chart_.caption(y_, "Elements by how many share their slot",
                 chart_.isWide() ? "bar: this table; mark: an even hash" : "", svg_.width());
  y_ += 24;
  const double width = std::min(plotWidth() / static_cast<double>(classes.size()), 84.0);
  const Plot plot{{gutter, y_, width * static_cast<double>(classes.size()), sharingHeight}, top};
  chart_.axis(plot, {{top, shortCount(top, gutter - 8)}, {0, "0"}});
  chart_.beginBars(plot);
  for (std::size_t i = 0; i < classes.size(); ++i)
    drawShared(plot, classes[i], gutter + static_cast<double>(i) * width, width);
  svg_.endGroup();
  if (!chart_.isWide()) svg_.text(0, plot.box.bottom() + 29, "even", "s");
  y_ += sharingHeight + 34;
}

void HashDrawing::drawShared(const Plot& plot, const Shared& shared, double x, double width) {
  const double middle = x + width / 2 - 2;
  const double height = plot.heightOf(shared.elements);
  svg_.rect({x + 3, plot.yOf(shared.elements), width - 10, height}, shared.isUneven() ? "f-low" : "f-full",
            rounded(shared.elements) + " elements; an even hash: " + rounded(shared.even),
            data("fill", rounded(shared.elements) == "0" ? "0" : decimal(shared.elements, 0)));
  svg_.line({x, plot.yOf(shared.even)}, {x + width - 4, plot.yOf(shared.even)}, "k");
  const auto put = [&](double y, const std::string& text, const char* classes) {
    if (textWidth(text, smallText) <= width - 3) svg_.text(middle, y, text, classes);
  };
  // The number stands in its bar, else above it, and never on the mark.
  const double mark = plot.heightOf(shared.even);
  const double top = plot.yOf(shared.elements);
  if (height > 20 && (mark > height + 2 || mark < height - 22))
    put(top + 15, shortCount(shared.elements, width - 3), "s m v");
  else if (mark < height || mark > height + 18)
    put(top - 5, shortCount(shared.elements, width - 3), "s m");
  else
    put(plot.yOf(shared.even) - 6, shortCount(shared.elements, width - 3), "s m");
  const std::string even = chart_.isWide()
                               ? "even: " + shortCount(shared.even, width - 3 - textWidth("even: ", smallText))
                               : shortCount(shared.even, width - 3);
  const std::string name = shared.to == SIZE_MAX      ? std::to_string(shared.from) + "+"
                           : shared.from == shared.to ? std::to_string(shared.from)
                                                      : std::to_string(shared.from) + "–" + std::to_string(shared.to);
  put(plot.box.bottom() + 14, name, "s m");
  put(plot.box.bottom() + 29, even, "s m");
}

void HashDrawing::drawLegend() {
  std::vector<LegendItem> items{{"f-full", "as an even hash would"},
                                {"f-half", "bucket over 90\u00A0%"},
                                {"f-low", "uneven"},
                                {"line:k", "even hash"}};
  if (buckets_.size() > 1) {
    items.push_back({"f-inner", "bits"});
    items.push_back({"line:d", "even hash; for buckets: where they split"});
  } else {
    items.push_back({"line:d", "where a bucket splits"});
  }
  if (bucketsInColumn_ > 1) items.push_back({"f-full t", "fullest bucket of a column"});
  if (key_) items.push_back({"out:o", "bucket of " + fitted(cleaned(key_->label), 130, smallText)});
  if (info_.unreadable > 0) items.push_back({"out:k", "bucket that cannot be read"});
  y_ = chart_.legend(y_ + 26, items);
}

std::string HashDrawing::titleOf(const Bucket& bucket) const {
  const std::string name = bucket.id.isNull() ? "A bucket" : idText(bucket.id);
  if (bucket.slots == 0) return name + " cannot be read";
  return name + ": " + counted(static_cast<std::uint64_t>(bucket.depth), "bit") + ", " +
         counted(bucket.elements, "element") + " for " + counted(bucket.slots, "slot") + ", " +
         counted(bucket.chains, "chain") + (bucket.isReadable ? "" : "; a part cannot be read");
}

}  // namespace pscol::picture
