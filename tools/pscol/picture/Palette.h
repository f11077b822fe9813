#pragma once

#include <string>

// The colours, as custom properties with a light and a dark value each, and the classes of pictures that use them.
// Colour never stands alone: height, an outline or a word says the same.
namespace pscol::picture {

// The style sheet of all custom properties.
std::string colourStyles();
// The style sheet of pictures; it needs the colours.
std::string pictureStyles();

extern const char* const fontFamily;

}  // namespace pscol::picture
