#include "Text.h"

PS_REGISTER_CLASS(Text)

Text::Text(const std::u16string& letters) : size_(static_cast<std::uint32_t>(letters.size())) {
  if (letters_.resize(size_) == 1) letters.copy(letters_.head(), size_);
}
