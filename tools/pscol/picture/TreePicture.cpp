#include "pscol/picture/TreePicture.h"

#include "pscol/picture/Numbers.h"
#include "pscol/picture/TreeDrawing.h"

namespace pscol::picture {

Svg TreePicture::draw(double width, bool hasHead) const {
  Svg svg(width, "Structure of " + subject_.name + ": " + subject_.className + ", " +
                     counted(info_.elements, "element") + " in " + counted(info_.parts, "node"));
  TreeDrawing(info_, sketch_, subject_, key_, svg).draw(hasHead);
  return svg;
}

std::string TreePicture::facts(const psTreeInfo& info) {
  return counted(info.elements, psIsMap(info.kind) ? "pair" : "element") + "\u00A0· " +
         counted(info.levels.size(), "level") + "\u00A0· " + counted(info.parts, "node") + "\u00A0· " +
         percentText(info.levels.empty() ? 0 : info.levels.back().fill()) + " full\u00A0· " +
         bytesText(static_cast<double>(info.bytes));
}

}  // namespace pscol::picture
