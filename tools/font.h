// Letters for the test chart and the contact sheet.
#pragma once

#include "image.h"

#include <array>
#include <string_view>

namespace tool {

using Color = std::array<unsigned char, 3>;

inline constexpr int glyphWidth = 6; // five columns and a gap
inline constexpr int glyphHeight = 7;

// Writes on an 8-bit RGB picture, the upper left corner at (x, y), every dot
// `scale` pixels wide. What lies outside the picture is cut off; other letters than
// those of ASCII are left blank.
void drawText(Image &image, int x, int y, int scale, Color color, std::string_view text);

// Fills a rectangle that lies in the picture.
void fillRectangle(Image &image, int x, int y, int width, int height, Color color);

} // namespace tool
