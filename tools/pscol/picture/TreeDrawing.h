#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "inspect/psTreeInfo.h"
#include "pscol/picture/Chart.h"
#include "pscol/picture/Subject.h"
#include "pscol/picture/Svg.h"
#include "pscol/picture/TreeSketch.h"

namespace pscol::picture {

// One picture of a tree while it is drawn from top to bottom.
class TreeDrawing {
 public:
  TreeDrawing(const psTreeInfo& info, const TreeSketch& sketch, const Subject& subject,
              const std::optional<KeyInTree>& key, Svg& svg);

  void draw(bool hasHead);

 private:
  using Inner = TreeSketch::Inner;
  using Leaf = TreeSketch::Leaf;

  void drawInner(std::size_t level);
  void drawInnerBars(const Plot& plot, const std::vector<Inner>& nodes);
  void drawInnerColumns(const Plot& plot, const std::vector<Inner>& nodes);
  void drawLeaves();
  void outlineUnreadable(const Plot& plot);
  void outlineWay(const Plot& plot, std::size_t begin, std::size_t end);
  void drawFirstKeys();
  void drawMagnified();
  void drawMagnifiedLeaf(const Plot& plot, std::size_t i, double x, double width);
  void drawLeafOfKey();
  void drawBytes();
  void drawLegend();

  double xOf(std::size_t leaf) const { return gutter + static_cast<double>(leaf) * leafWidth_; }
  std::string leafTitle(std::size_t i) const;
  std::string firstOf(const Leaf& leaf) const;
  const char* gradeOfLeaf(double fill) const;
  bool hasKey() const { return keyLeaf_ < leaves_.size(); }
  std::size_t magnifiedLeaf() const;

  const psTreeInfo& info_;
  const TreeSketch& sketch_;
  const Subject& subject_;
  const std::optional<KeyInTree>& key_;
  const std::vector<Leaf>& leaves_;
  std::vector<std::vector<Inner>> inner_;
  Svg& svg_;
  Chart chart_;
  double right_;  // of the plots with a distribution beside them
  double leafWidth_;
  double leavesInColumn_ = 1;
  std::size_t keyLeaf_;  // leaves_.size() when there is none
  double y_ = 0;
};

}  // namespace pscol::picture
