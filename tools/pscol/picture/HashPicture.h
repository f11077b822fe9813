#pragma once

#include <optional>
#include <string>

#include "inspect/psHashInfo.h"
#include "pscol/picture/HashSketch.h"
#include "pscol/picture/Subject.h"
#include "pscol/picture/Svg.h"

namespace pscol::picture {

// Shows how even the hashes of a hash set or hash map are: how many elements have hashes that begin alike, by how many
// bits buckets differ, how full they are, and how many elements share their slot. What an even hash would make of the
// same table is drawn too, so that what is uneven is seen as a distance.
class HashPicture {
 public:
  // The parts must outlive the picture.
  HashPicture(const psHashInfo& info, const HashSketch& sketch, const Subject& subject,
              std::optional<KeyInTable> key = std::nullopt)
      : info_(info), sketch_(sketch), subject_(subject), key_(std::move(key)) {}

  // With a head, the picture says of what it is, and what to do about it.
  Svg draw(double width, bool hasHead) const;

  // As in "10 elements · 1 bucket of 101 slots · directory of 1 · 10 % full · 968 bytes".
  static std::string facts(const psHashInfo& info);
  static double fill(const psHashInfo& info);

 private:
  const psHashInfo& info_;
  const HashSketch& sketch_;
  const Subject& subject_;
  std::optional<KeyInTable> key_;
};

}  // namespace pscol::picture
