// ICC profiles.
#pragma once

#include "image.h"

#include <span>
#include <string>
#include <vector>

namespace tool {

// Whether a profile is about pictures of this kind: gray or RGB. None fits all.
bool profileFits(std::span<const unsigned char> profile, const Shape &shape);

// Its description, as "sRGB IEC61966-2.1"; empty where it has none.
std::string profileName(std::span<const unsigned char> profile);

} // namespace tool
