// What `info` tells of a picture file.
#pragma once

#include "format.h"

namespace tool {

// Lines of text; the first begins with the name.
std::string infoText(const std::string &name, const Details &details);
// One object of JSON.
std::string infoJson(const std::string &name, const Details &details);

} // namespace tool
