// A contact sheet: pictures side by side, each above its name.
#pragma once

#include "image.h"

#include <string>
#include <vector>

namespace tool {

// Draws the picture files in rows of `columns`. Pictures larger than a cell are
// shown smaller.
Image drawSheet(const std::vector<std::string> &paths, int columns);

} // namespace tool
