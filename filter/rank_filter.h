// What the median, the maximum and the minimum filter share: their checks and the
// walk over the pieces of their images.
#ifndef ZYLQX_FILTER_RANK_FILTER_H
#define ZYLQX_FILTER_RANK_FILTER_H

#include "core/call.h"
#include "core/walk_neighbourhoods.h"

namespace zylqx {

struct RankArguments {
    ZylImage *srcImage;
    ZylImage *dstImage;
    std::int32_t nRows, nCols;
    std::int32_t anchorX, anchorY;
    const ZylTileMapping *mapping;
};

// `compute` makes one piece of the destination; false when there is no memory.
using ComputePiece = bool (*)(const NeighbourPiece &piece, const Box &box, const Passes &passes);
void rankFilter(const Call &call, const RankArguments &arguments, ComputePiece compute);

} // namespace zylqx

#endif
