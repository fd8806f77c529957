#include "filter/rank_filter.h"

#include <algorithm>

#include "core/image.h"

namespace zylqx {

namespace {

bool badArguments(const Call &call, const RankArguments &a) {
    if (call.badHeader(a.srcImage) || call.badHeader(a.dstImage)) return true;
    return call.fails(a.anchorX >= a.nCols || a.anchorX < 0, "(anchorX>=nCols)||(anchorX<0)") ||
           call.fails(a.anchorY >= a.nRows || a.anchorY < 0, "(anchorY>=nRows)||(anchorY<0)") ||
           call.fails(a.srcImage->depth != a.dstImage->depth, "srcImage->depth!=dstImage->depth") ||
           call.fails(a.srcImage->dataOrder != a.dstImage->dataOrder,
                      "srcImage->dataOrder!=dstImage->dataOrder") ||
           call.fails(effectiveChannels(*a.srcImage) != effectiveChannels(*a.dstImage),
                      "Number of interset channel input and output Image is not equal.") ||
           zylGetErrStatus() < 0;
}

} // namespace

void rankFilter(const Call &call, const RankArguments &a, ComputePiece compute) {
    if (badArguments(call, a)) return;
    const auto first = [](const ZylImage &image) { return std::max(channelOfInterest(image), 1); };
    const Passes passes({first(*a.srcImage), first(*a.dstImage), effectiveChannels(*a.srcImage)},
                        *a.srcImage, *a.dstImage);
    const Box box = {a.nCols, a.nRows, a.anchorX, a.anchorY};
    auto visit = [&](const NeighbourPiece &piece) { return compute(piece, box, passes); };
    reportTiles(call,
                walkNeighbourhoods(*a.srcImage, *a.dstImage, clippedPair(*a.srcImage, *a.dstImage),
                                   box, a.mapping, visit));
}

} // namespace zylqx
