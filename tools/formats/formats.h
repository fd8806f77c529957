// The formats that there are.
#pragma once

#include "format.h"

namespace tool {

extern const Format pngFormat, jpegFormat, tiffFormat, bmpFormat, pnmFormat, webpFormat;

// The end of a message: " cannot hold a picture of 8 x 8, signed 16-bit gray".
std::string cannotHold(const Shape &shape);

} // namespace tool
