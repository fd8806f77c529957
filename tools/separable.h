// Separable convolutions with coefficients that are worked out here.
#pragma once

#include "step.h"

namespace tool {

// 8-bit coefficients whose sum is 2^bits, the one at `anchor` laid over the pixel.
struct Coefficients {
    std::vector<std::int8_t> values = {1};
    int anchor = 0;
    int bits = 0;
};

// The most bits for which the sums of both directions fit 32 bits.
int mostBits(const Shape &shape);

// Integers in proportion to the values; fewer bits where one would not fit. What
// rounding down leaves goes to those that lost most.
Coefficients coefficients(const std::vector<double> &values, int anchor, int bits);

// Convolves the whole picture, its edge repeated outside. The result may be larger by
// columns and rows that lie outside.
void convolveSeparably(Step &step, const Coefficients &across, const Coefficients &down,
                       const Shape &result);

} // namespace tool
