// Norms of an image, or of the difference of two.

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "core/walk_tiles.h"
#include "stats/kernels.h"

using namespace zylqx;

namespace {

constexpr const char *FILE_NAME = "zylnorm";

// The result when a tile cannot be read.
constexpr double UNREADABLE = -1.0;

// Numerators and results are at most the largest float; a denominator below the
// smallest normal float has that value added.
constexpr double MOST = FLT_MAX;
constexpr double LEAST_DENOMINATOR = FLT_MIN;

constexpr int RELATIVE = 8;

bool isNormType(std::int32_t normType) {
    return normType == ZYL_NORM_C || normType == ZYL_NORM_L1 || normType == ZYL_NORM_L2 ||
           normType == ZYL_NORM_RELATIVE_C || normType == ZYL_NORM_RELATIVE_L1 ||
           normType == ZYL_NORM_RELATIVE_L2;
}

NormPart partOf(std::int32_t plainType) {
    return plainType == ZYL_NORM_C    ? NormPart::Largest
           : plainType == ZYL_NORM_L1 ? NormPart::Sum
                                      : NormPart::Squares;
}

double valueOf(const NormSums &sums, NormPart part) {
    if (part == NormPart::Largest) return static_cast<double>(sums.largest);
    if (part == NormPart::Sum) return static_cast<double>(sums.sum);
    const std::uint64_t high = sums.squaresHigh + (sums.squaresLow >> 32);
    const std::uint64_t low = sums.squaresLow & 0xFFFFFFFFu;
    return std::sqrt(static_cast<double>(high) * 4294967296.0 + static_cast<double>(low));
}

// Adds up what a norm needs, of a piece and of another one if there is one.
void addBits(const TilePiece &a, const TilePiece *b, NormSums &sums) {
    for (std::int32_t y = 0; y < a.area.height; ++y) {
        const ConstBits rowA = {sampleAt(*a.image, a.area.x, a.area.y + y, 1), a.area.x % 8};
        ConstBits rowB = {};
        if (b != nullptr) {
            rowB = {sampleAt(*b->image, b->area.x, b->area.y + y, 1), b->area.x % 8};
        }
        const std::uint64_t bits = ZYLQX_KERNELS(normKernels).countBits(rowA, rowB, a.area.width);
        sums.largest = std::max<std::uint64_t>(sums.largest, bits != 0);
        sums.sum += bits;
        sums.squaresLow += bits;
    }
}

// `step` samples lie between those of a row.
void addRows(const TilePiece &a, const TilePiece *b, int channel, std::ptrdiff_t samples,
             std::ptrdiff_t step, NormPart part, NormSums &sums) {
    const auto row =
        ZYLQX_KERNELS(normKernels).row[static_cast<int>(part)][depthIndex(a.image->depth)];
    for (std::int32_t y = 0; y < a.area.height; ++y) {
        const void *rowB = nullptr;
        if (b != nullptr) rowB = sampleAt(*b->image, b->area.x, b->area.y + y, channel);
        row(sampleAt(*a.image, a.area.x, a.area.y + y, channel), step, rowB, step, samples, sums);
    }
}

void addPiece(const TilePiece &a, const TilePiece *b, NormPart part, NormSums &sums) {
    const ZylImage &image = *a.image;
    if (image.depth == ZYL_DEPTH_1U) return addBits(a, b, sums);
    const std::ptrdiff_t width = a.area.width;
    if (a.area.coi != 0) return addRows(a, b, a.area.coi, width, pixelStep(image), part, sums);
    if (!isPlanar(image)) return addRows(a, b, 1, width * image.nChannels, 1, part, sums);
    for (int channel = 1; channel <= image.nChannels; ++channel) {
        addRows(a, b, channel, width, 1, part, sums);
    }
}

} // namespace

double zylNorm(ZylImage *srcImageA, ZylImage *srcImageB, std::int32_t normType) {
    const Call call("zylNorm", FILE_NAME);
    if (call.fails(!isNormType(normType), "normType unknown") || zylGetErrStatus() < 0) return 0.0;
    if (call.badHeader(srcImageA)) return 0.0;
    Area areaA = clippedArea(*srcImageA);

    if (srcImageB == nullptr) {
        const NormPart part = partOf(normType);
        NormSums sums;
        const bool done =
            walkTiles(call, *srcImageA, areaA, ZYL_GET_TILE_TO_READ, nullptr, [&](TilePiece piece) {
                joinRows(piece);
                addPiece(piece, nullptr, part, sums);
                return true;
            });
        return done ? std::min(valueOf(sums, part), MOST) : UNREADABLE;
    }

    if (call.badHeader(srcImageB) ||
        call.fails(srcImageA->depth != srcImageB->depth, "(srcImageA->depth!=srcImageB->depth)") ||
        call.fails(channelOfInterest(*srcImageA) != channelOfInterest(*srcImageB),
                   "(coiA!=coiB)") ||
        call.fails(srcImageA->dataOrder != srcImageB->dataOrder,
                   "(srcImageA->dataOrder!=srcImageB->dataOrder)") ||
        call.fails(srcImageA->nChannels != srcImageB->nChannels,
                   "(srcImageA->nChannels!=srcImageB->nChannels)")) {
        return 0.0;
    }
    Area areaB = clippedArea(*srcImageB);
    cutToCommonSize(areaA, areaB);
    const bool relative = normType > RELATIVE;
    const NormPart part = partOf(relative ? normType - RELATIVE : normType);
    NormSums difference;
    NormSums second;
    const bool done = walkTilePairs(call, {srcImageA, areaA, ZYL_GET_TILE_TO_READ},
                                    {srcImageB, areaB, ZYL_GET_TILE_TO_READ}, nullptr,
                                    [&](TilePiece a, TilePiece b) {
                                        joinRows(a, b);
                                        addPiece(a, &b, part, difference);
                                        if (relative) addPiece(b, nullptr, part, second);
                                        return true;
                                    });
    if (!done) return UNREADABLE;
    const double numerator = std::min(valueOf(difference, part), MOST);
    if (!relative) return numerator;
    double denominator = valueOf(second, part);
    if (denominator < LEAST_DENOMINATOR) denominator += LEAST_DENOMINATOR;
    return std::min(numerator / denominator, MOST);
}
