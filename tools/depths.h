// From one depth to another.
#pragma once

#include "step.h"

namespace tool {

Shape withDepth(Shape shape, std::uint32_t depth);

// What stays of a sample: the bits that fit, the upper ones, or its share of the range.
enum Keep { LOW, HIGH, SCALE };

// The library's plain rule: LOW or HIGH.
void convertPlain(Step &step, std::uint32_t depth, int keep);

// Spreads the range of the depth over that of another one: the ends become the
// ends. What became wider is the same again when it is made narrower.
void convertScaled(Step &step, std::uint32_t depth);

void bitsToGray(Step &step, std::uint32_t depth, std::int32_t zero, std::int32_t one);

// Samples at or above the middle become bits that are set.
void cutToBits(Step &step);

// Saturates.
void multiply(Step &step, std::uint32_t value);

} // namespace tool
