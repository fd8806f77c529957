// The largest, smallest or middle sample of a box.

#include <algorithm>

#include "core/image.h"
#include "core/walk_neighbourhoods.h"
#include "filter/extreme.h"
#include "filter/median.h"

using namespace zylqx;

namespace {

struct Arguments {
    ZylImage *srcImage;
    ZylImage *dstImage;
    std::int32_t nRows, nCols;
    std::int32_t anchorX, anchorY;
    const ZylTileMapping *mapping;
};

bool badArguments(const Call &call, const Arguments &a) {
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

// compute(piece, box, passes) is one of the three filters.
template <class F>
void filter(const Call &call, const Arguments &a, F compute) {
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

} // namespace

void zylMaxFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                  std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    filter(Call("zylMaxFilter", "zylnlf"),
           {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping},
           [](const NeighbourPiece &piece, const Box &box, const Passes &passes) {
               return extremePiece(piece, box, passes, Extreme::Largest);
           });
}

void zylMinFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                  std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    filter(Call("zylMinFilter", "zylnlf"),
           {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping},
           [](const NeighbourPiece &piece, const Box &box, const Passes &passes) {
               return extremePiece(piece, box, passes, Extreme::Smallest);
           });
}

void zylMedianFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                     std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    filter(Call("zylMedianFilter", "zylnlf"),
           {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping}, medianPiece);
}
