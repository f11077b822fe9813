#include "pscol/picture/HashPicture.h"

#include "pscol/picture/HashDrawing.h"
#include "pscol/picture/Numbers.h"

namespace pscol::picture {

Svg HashPicture::draw(double width, bool hasHead) const {
  Svg svg(width, "Structure of " + subject_.name + ": " + subject_.className + ", " +
                     counted(info_.elements, "element") + " in " + counted(info_.parts, "bucket"));
  HashDrawing(info_, sketch_, subject_, key_, svg).draw(hasHead);
  return svg;
}

std::string HashPicture::facts(const psHashInfo& info) {
  return counted(info.elements, psIsMap(info.kind) ? "pair" : "element") + "\u00A0· " + counted(info.parts, "bucket") +
         " of " + counted(info.slots, "slot") + "\u00A0· directory of " + counted(std::uint64_t{1} << info.depth) +
         "\u00A0· " + percentText(fill(info)) + " full\u00A0· " + bytesText(static_cast<double>(info.bytes));
}

double HashPicture::fill(const psHashInfo& info) {
  const std::uint64_t readable = info.parts - info.unreadable;
  return share(static_cast<double>(info.elements), static_cast<double>(readable) * info.slots);
}

}  // namespace pscol::picture
