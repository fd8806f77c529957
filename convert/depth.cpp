// Between depths, to bits and from bits. Whole images; the picture stays upright
// when one image starts at its top row and the other at its bottom row.

#include <cstring>

#include "convert/kernels.h"
#include "core/image.h"
#include "core/region.h"
#include "core/walk_blocks.h"

using namespace zylqx;

namespace {

bool isBitonal(const ZylImage &image) {
    return image.depth == ZYL_DEPTH_1U;
}

// Into the kernels' tables, which have no 1-bit depth.
int kernelIndex(std::uint32_t depth) {
    return depthIndex(depth) - 1;
}

PairedArea wholeImage(const ZylImage &src, const ZylImage &dst, const ZylTileMapping *tilePoint) {
    const bool flipped = src.origin != dst.origin;
    PairedArea region{0, flipped ? src.height - 1 : 0, 0, 0, dst.width, dst.height, flipped};
    cutToTile(region, dst, tilePoint);
    return region;
}

// Calls row(s, d, pixels) with the first byte of channel `srcChannel` (from 1) of
// every row of the block, and of channel `dstChannel` of the row that it goes to.
// Rows without gaps are one row.
template <class F>
void forEachRow(const Block &block, int srcChannel, int dstChannel, F row) {
    const PairedArea &at = block.at;
    const unsigned char *s = sampleAt(*block.src, at.srcX, at.srcY, srcChannel);
    unsigned char *d = sampleAt(*block.dst, at.dstX, at.dstY, dstChannel);
    const auto width = static_cast<std::int32_t>(at.width);
    const auto height = static_cast<std::int32_t>(at.height);
    const Area size = {0, 0, width, height, 0};
    if (!at.flipped && isContiguous(*block.src, size) && isContiguous(*block.dst, size)) {
        return row(s, d, std::ptrdiff_t{width} * height);
    }
    for (std::int32_t y = 0; y < height; ++y) {
        row(s, d, width);
        s += block.srcStride();
        d += block.dst->widthStep;
    }
}

void convertBlock(const Block &block, DepthKernels::Row convert) {
    const int channels = block.src->nChannels;
    const bool interleaved = !isPlanar(*block.src) && !isPlanar(*block.dst);
    if (interleaved || channels == 1) {
        forEachRow(block, 1, 1,
                   [&](const unsigned char *s, unsigned char *d, std::ptrdiff_t width) {
                       convert(s, 1, d, 1, width * channels);
                   });
        return;
    }
    const std::ptrdiff_t srcStep = pixelStep(*block.src);
    const std::ptrdiff_t dstStep = pixelStep(*block.dst);
    for (int c = 1; c <= channels; ++c) {
        forEachRow(block, c, c,
                   [&](const unsigned char *s, unsigned char *d, std::ptrdiff_t width) {
                       convert(s, srcStep, d, dstStep, width);
                   });
    }
}

void toBitonal(const Call &call, ZylImage &src, ZylImage &dst, const ZylTileMapping *tilePoint) {
    const int channel = src.nChannels > 1 ? src.roi->coi : 1;
    const auto toBits = ZYLQX_KERNELS(depthKernels).toBits[kernelIndex(src.depth)];
    auto kernel = [&](const Block &block) {
        const std::ptrdiff_t step = pixelStep(*block.src);
        forEachRow(block, channel, 1,
                   [&](const unsigned char *s, unsigned char *d, std::ptrdiff_t width) {
                       toBits(s, step, d, width);
                   });
    };
    walkBlocks(call, src, dst, wholeImage(src, dst, tilePoint), kernel);
}

// Whole bytes, with the bits past the last pixel.
void copyBitRows(const Call &call, ZylImage &src, ZylImage &dst, const ZylTileMapping *tilePoint) {
    auto kernel = [](const Block &block) {
        forEachRow(block, 1, 1,
                   [&](const unsigned char *s, unsigned char *d, std::ptrdiff_t width) {
                       std::memmove(d, s, (static_cast<std::size_t>(width) + 7) / 8);
                   });
    };
    walkBlocks(call, src, dst, wholeImage(src, dst, tilePoint), kernel);
}

void convertDepth(const Call &call, ZylImage &src, ZylImage &dst, bool scale,
                  const ZylTileMapping *tilePoint) {
    const auto convert =
        ZYLQX_KERNELS(depthKernels).convert[kernelIndex(src.depth)][kernelIndex(dst.depth)][scale];
    auto kernel = [&](const Block &block) { convertBlock(block, convert); };
    walkBlocks(call, src, dst, wholeImage(src, dst, tilePoint), kernel);
}

// Reports a value that the destination's samples cannot hold.
bool badScales(const Call &call, std::uint32_t depth, std::int32_t zero, std::int32_t one) {
    struct Range {
        std::uint32_t depth;
        std::int32_t low, high;
        const char *zeroAbove, *zeroBelow, *oneAbove, *oneBelow;
    };
#define ZYLQX_SCALE_TEXTS(code, low, high)                                                         \
    "((dstImage->depth == " code ") && (ZeroScale > " high "))",                                   \
        "((dstImage->depth == " code ") && (ZeroScale < " low "))",                                \
        "((dstImage->depth == " code ") && (OneScale > " high "))",                                \
        "((dstImage->depth == " code ") && (OneScale < " low "))"
    static constexpr Range RANGES[] = {
        {ZYL_DEPTH_8S, -128, 127, ZYLQX_SCALE_TEXTS("(0x80000000| 8)", "-128", "127")},
        {ZYL_DEPTH_8U, 0, 255, ZYLQX_SCALE_TEXTS("8", "0", "255")},
        {ZYL_DEPTH_16S, -32768, 32767, ZYLQX_SCALE_TEXTS("(0x80000000|16)", "-32768", "32767")},
        {ZYL_DEPTH_16U, 0, 65535, ZYLQX_SCALE_TEXTS("16", "0", "65535")},
    };
#undef ZYLQX_SCALE_TEXTS
    for (const Range &range : RANGES) {
        if (range.depth != depth) continue;
        return call.fails(zero > range.high, range.zeroAbove) ||
               call.fails(zero < range.low, range.zeroBelow) ||
               call.fails(one > range.high, range.oneAbove) ||
               call.fails(one < range.low, range.oneBelow);
    }
    return false;
}

} // namespace

void zylConvert(ZylImage *srcImage, ZylImage *dstImage, std::int32_t ConvertMode,
                const ZylTileMapping *tilePoint) {
    const Call call("zylConvert", "zylcvrt");
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return;
    ZylImage &src = *srcImage;
    ZylImage &dst = *dstImage;
    if (call.fails(src.height != dst.height, "(srcImage->height != dstImage->height)")) return;
    if (call.fails(src.width != dst.width, "(srcImage->width != dstImage->width)")) return;
    if (isBitonal(dst) && !isBitonal(src)) {
        const bool several = src.nChannels > 1;
        if (call.fails(several && src.roi == nullptr,
                       "((srcImage->nChannels > 1) && (srcImage->roi == 0))") ||
            call.fails(several && src.roi->coi <= 0,
                       "((srcImage->nChannels > 1) && (srcImage->roi->coi <= 0))") ||
            call.fails(
                several && src.roi->coi > src.nChannels,
                "((srcImage->nChannels > 1) && (srcImage->roi->coi > srcImage->nChannels))")) {
            return;
        }
        return toBitonal(call, src, dst, tilePoint);
    }
    if (call.fails(src.nChannels != dst.nChannels, "srcImage->nChannels != dstImage->nChannels") ||
        call.fails(isBitonal(src) && src.depth != dst.depth,
                   "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))")) {
        return;
    }
    if (isBitonal(src)) {
        if (srcImage != dstImage) copyBitRows(call, src, dst, tilePoint);
        return;
    }
    if (call.fails(ConvertMode != 1 && ConvertMode != 0,
                   "((ConvertMode != 1) && (ConvertMode != 0))")) {
        return;
    }
    if (srcImage != dstImage) convertDepth(call, src, dst, ConvertMode == 1, tilePoint);
}

void zylBitonalToGray(ZylImage *srcImage, ZylImage *dstImage, std::int32_t ZeroScale,
                      std::int32_t OneScale, const ZylTileMapping *tilePoint) {
    const Call call("zylBitonalToGray", "zylbitnl");
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return;
    ZylImage &src = *srcImage;
    ZylImage &dst = *dstImage;
    if (call.fails(src.height != dst.height, "(srcImage->height != dstImage->height)") ||
        call.fails(src.width != dst.width, "(srcImage->width != dstImage->width)") ||
        call.fails(src.nChannels != 1, "(srcImage->nChannels != 1)") ||
        call.fails(!isBitonal(src), "(srcImage->depth != 1)") ||
        call.fails(isBitonal(dst), "(dstImage->depth == 1)") ||
        badScales(call, dst.depth, ZeroScale, OneScale)) {
        return;
    }
    const auto fromBits = ZYLQX_KERNELS(depthKernels).fromBits[kernelIndex(dst.depth)];
    auto kernel = [&](const Block &block) {
        const std::ptrdiff_t step = pixelStep(*block.dst);
        for (int c = 1; c <= block.dst->nChannels; ++c) {
            forEachRow(block, 1, c,
                       [&](const unsigned char *s, unsigned char *d, std::ptrdiff_t width) {
                           fromBits(s, ZeroScale, OneScale, d, step, width);
                       });
        }
    };
    walkBlocks(call, src, dst, wholeImage(src, dst, tilePoint), kernel);
}
