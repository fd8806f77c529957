// Erosion and dilation with a square of 3 x 3 pixels.

#include <algorithm>

#include "core/image.h"
#include "core/walk_neighbourhoods.h"
#include "filter/max_min.h"

using namespace zylqx;

namespace {

constexpr Box SQUARE = {3, 3, 1, 1};

bool badMode(const ZylImage &image) {
    return (image.imageData == nullptr) == (image.tileInfo == nullptr);
}

bool badTiles(const ZylImage &image) {
    if (image.tileInfo == nullptr) return false;
    const ZylTileInfo &tiles = *image.tileInfo;
    return tiles.callBack == nullptr || tiles.width < 1 || tiles.height < 1;
}

bool badArguments(const Call &call, const ZylImage *src, const ZylImage *dst,
                  std::int32_t nIterations, const ZylTileMapping *mapping) {
    return call.fails(src == nullptr, "Null SRC image header") ||
           call.fails(dst == nullptr, "Null DST image header") ||
           call.fails(badMode(*src), "Specify exactly SRC image mode (non-tile/tile)") ||
           call.fails(badMode(*dst), "Specify exactly DST image mode (non-tile/tile)") ||
           call.fails(badTiles(*src), "Illegal SRC tile info contents") ||
           call.fails(badTiles(*dst), "Illegal DST tile info contents") ||
           call.fails(nIterations <= 0, "Illegal number of of iterations") ||
           call.fails(mapping != nullptr, "Mapping must be NULL") ||
           call.fails(zylBadImageHeader(src) != 0, "Illegal SRC image header contents") ||
           call.fails(zylBadImageHeader(dst) != 0, "Illegal DST image header contents") ||
           call.fails(src->depth != dst->depth, "SRC and DST depth are not compatible") ||
           call.fails(src->dataOrder != dst->dataOrder, "SRC and DST order are not compatible") ||
           call.fails(src->origin != dst->origin, "SRC and DST orign are not compatible") ||
           call.fails(effectiveChannels(*src) != effectiveChannels(*dst),
                      "SRC and DST number of channels are not compatible");
}

// One pass over a block, from an image into another or within one.
WalkResult pass(ZylImage &srcImage, ZylImage &dstImage, const PairedArea &block, Extreme extreme) {
    const auto first = [](const ZylImage &image) { return std::max(channelOfInterest(image), 1); };
    const Passes passes({first(srcImage), first(dstImage), effectiveChannels(srcImage)}, srcImage,
                        dstImage);
    auto visit = [&](const NeighbourPiece &piece) {
        return extremePiece(piece, SQUARE, passes, extreme);
    };
    return walkNeighbourhoods(srcImage, dstImage, block, SQUARE, nullptr, visit);
}

// Repeats `steps` so many times: the first pass reads the source, the others work
// within the destination.
WalkResult repeat(ZylImage &srcImage, ZylImage &dstImage, std::int32_t times, const Extreme *steps,
                  int stepCount) {
    const PairedArea block = clippedPair(srcImage, dstImage);
    PairedArea within = block;
    within.srcX = block.dstX;
    within.srcY = block.dstY;
    for (std::int64_t i = 0; i < std::int64_t{times} * stepCount; ++i) {
        ZylImage &from = i == 0 ? srcImage : dstImage;
        const WalkResult walked =
            pass(from, dstImage, i == 0 ? block : within, steps[i % stepCount]);
        if (walked != WalkResult::Done) return walked;
    }
    return WalkResult::Done;
}

bool isProcessed(std::uint32_t depth) {
    return (depth & ZYL_DEPTH_SIGN) == 0;
}

template <int N>
void morphology(const Call &call, ZylImage *srcImage, ZylImage *dstImage, std::int32_t nIterations,
                const ZylTileMapping *mapping, const Extreme (&steps)[N]) {
    if (badArguments(call, srcImage, dstImage, nIterations, mapping)) return;
    zylSetErrStatus(ZYL_StsOk);
    if (!isProcessed(srcImage->depth)) return;
    const WalkResult walked = repeat(*srcImage, *dstImage, nIterations, steps, N);
    if (walked == WalkResult::NoMemory) call.report(ZYL_StsNoMem, "Not enough memory");
    reportTiles(call, walked);
}

} // namespace

void zylErode(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nIterations,
              const ZylTileMapping *mapping) {
    morphology(Call("zylErode", "zylErode"), srcImage, dstImage, nIterations, mapping,
               {Extreme::Smallest});
}

void zylDilate(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nIterations,
               const ZylTileMapping *mapping) {
    morphology(Call("zylDilate", "zylDilate"), srcImage, dstImage, nIterations, mapping,
               {Extreme::Largest});
}

void zylOpen(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nIterations,
             const ZylTileMapping *mapping) {
    morphology(Call("zylOpen", "zylOpen"), srcImage, dstImage, nIterations, mapping,
               {Extreme::Smallest, Extreme::Largest});
}

void zylClose(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nIterations,
              const ZylTileMapping *mapping) {
    morphology(Call("zylClose", "zylClose"), srcImage, dstImage, nIterations, mapping,
               {Extreme::Largest, Extreme::Smallest});
}
