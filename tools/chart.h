// The project's own sample picture.
#pragma once

#include "image.h"

namespace tool {

inline constexpr int chartWidth = 640;
inline constexpr int chartHeight = 480;

// An 8-bit RGB test chart. Smooth ramps show lost levels, the zone plate and the
// line groups show aliasing, patches show clipped colours, slanted edges and
// letters show what filters and rotations do, the ball stands for a photograph.
Image drawChart();

} // namespace tool
