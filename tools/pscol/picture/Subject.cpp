#include "pscol/picture/Subject.h"

#include "pscol/Text.h"
#include "pscol/picture/Text.h"

namespace pscol::picture {

std::string Subject::label(const psId& element) const {
  constexpr std::size_t longest = 48;
  std::string text = labelOf == nullptr || element.isNull() ? "" : labelOf(element);
  return text.empty() ? idText(element) : shortened(cleaned(text), longest);
}

}  // namespace pscol::picture
