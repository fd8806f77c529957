// The middle sample of a box, in order of size.
#ifndef ZYLQX_FILTER_MEDIAN_H
#define ZYLQX_FILTER_MEDIAN_H

#include "core/walk_neighbourhoods.h"

namespace zylqx {

// Computes a piece; false when there is no memory. Of an even number of samples
// the larger middle one; of bits, 1 when at least half of them are.
bool medianPiece(const NeighbourPiece &piece, const Box &box, const Passes &passes);

} // namespace zylqx

#endif
