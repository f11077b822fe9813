#pragma once

#include <optional>
#include <string>

#include "inspect/psTreeInfo.h"
#include "pscol/picture/Subject.h"
#include "pscol/picture/Svg.h"
#include "pscol/picture/TreeSketch.h"

namespace pscol::picture {

// Shows how full the nodes of a list, sorted set or sorted map are. All levels have one x, the order of the elements,
// where each leaf has the same width, and a node spans the leaves below it. So the way to a key is a column of boxes.
// Where leaves are too narrow, several of them become a column, and some leaves are magnified below.
class TreePicture {
 public:
  // The parts must outlive the picture.
  TreePicture(const psTreeInfo& info, const TreeSketch& sketch, const Subject& subject,
              std::optional<KeyInTree> key = std::nullopt)
      : info_(info), sketch_(sketch), subject_(subject), key_(std::move(key)) {}

  // With a head, the picture says of what it is, and what to do about it.
  Svg draw(double width, bool hasHead) const;

  // As in "100 elements · 1 level · 1 node · 50 % full · 1.68 kB".
  static std::string facts(const psTreeInfo& info);

 private:
  const psTreeInfo& info_;
  const TreeSketch& sketch_;
  const Subject& subject_;
  std::optional<KeyInTree> key_;
};

}  // namespace pscol::picture
