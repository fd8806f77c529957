// Medians of 1-bit samples.
#ifndef ZYLQX_FILTER_BIT_MEDIAN_H
#define ZYLQX_FILTER_BIT_MEDIAN_H

#include "core/walk_neighbourhoods.h"

namespace zylqx {

// 1 where at least half of the box is, rounded up. Computes a piece; false when there is
// no memory.
bool medianOfBits(const NeighbourPiece &piece, const Box &box, const Passes &passes);

} // namespace zylqx

#endif
