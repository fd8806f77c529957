// Medians of boxes of any size, of samples of 8, 16 and 32 bits.
#ifndef ZYLQX_FILTER_LARGE_MEDIAN_H
#define ZYLQX_FILTER_LARGE_MEDIAN_H

#include "core/walk_neighbourhoods.h"

namespace zylqx {

// Whether a box has at most so many samples.
constexpr bool atMost(const Box &box, std::int64_t samples) {
    return box.rows <= samples && box.columns <= samples && box.rows * box.columns <= samples;
}

// Computes a piece; false when there is no memory, or the box has 2^32 samples or more.
bool medianOfLargeBoxes(const NeighbourPiece &piece, const Box &box, const Passes &passes);

} // namespace zylqx

#endif
