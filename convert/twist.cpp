// Colour twists: records, and their application to a region.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "convert/colour.h"
#include "core/memory.h"
#include "core/region.h"
#include "core/walk_blocks.h"

using namespace zylqx;

namespace {

constexpr int MATRIX_SIZE = 16;

bool alphaIsNotLast(const ZylImage &image) {
    return image.alphaChannel != 0 && image.alphaChannel < image.nChannels;
}

bool badImages(const Call &call, const ZylImage &src, const ZylImage &dst) {
    return call.fails(src.nChannels < 3, "(srcImage->nChannels < 3)") ||
           call.fails(src.alphaChannel != 0 && src.nChannels < 4,
                      "((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))") ||
           call.fails(alphaIsNotLast(src), "((srcImage->alphaChannel != 0) && "
                                           "(srcImage->alphaChannel < srcImage->nChannels))") ||
           call.fails(dst.nChannels < 3, "(dstImage->nChannels < 3)") ||
           call.fails(dst.alphaChannel != 0 && dst.nChannels < 4,
                      "((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4))") ||
           call.fails(alphaIsNotLast(dst), "((dstImage->alphaChannel != 0) && "
                                           "(dstImage->alphaChannel < dstImage->nChannels))") ||
           call.fails(src.depth != dst.depth, "(srcImage->depth != dstImage->depth)") ||
           call.fails(src.depth != ZYL_DEPTH_8U && src.depth != ZYL_DEPTH_16U,
                      "((srcImage->depth != 8) && (srcImage->depth != 16))") ||
           call.fails(src.dataOrder != dst.dataOrder,
                      "(srcImage->dataOrder != dstImage->dataOrder)") ||
           call.fails(src.origin != dst.origin, "(srcImage->origin != dstImage->origin)");
}

PairedArea commonRegion(const ZylImage &src, const ZylImage &dst) {
    Rect rects[2] = {regionRect(src), regionRect(dst)};
    cutToCommonSize(rects, 2);
    return {rects[0].begX, rects[0].begY,  rects[1].begX,
            rects[1].begY, rects[0].width, rects[0].height};
}

// Cuts the region to the destination tile that holds the point; false, with a
// report, when that tile lies beside the region.
bool restrictToTile(const Call &call, const ZylImage &dst, const ZylTileMapping &point,
                    PairedArea &region) {
    // Coordinates just below 0 count as those of the first tile.
    const ZylTileInfo &info = *dst.tileInfo;
    const TileBounds tile = tileBounds(info, {point.xDst / info.width, point.yDst / info.height});
    const bool beside = tile.endX <= region.dstX || tile.begX >= region.dstX + region.width;
    const bool above = tile.endY <= region.dstY || tile.begY >= region.dstY + region.height;
    if (call.fails(beside, "(((Mapping->xDst - Mapping->xDst % width_tile_d + width_tile_d) <= "
                           "coord_X_dst) || ((Mapping->xDst - Mapping->xDst % width_tile_d) >= "
                           "max_X))") ||
        call.fails(above, "(((Mapping->yDst - Mapping->yDst % height_tile_d + height_tile_d) <= "
                          "coord_Y_dst) || ((Mapping->yDst - Mapping->yDst % height_tile_d) >= "
                          "max_Y))")) {
        return false;
    }
    cutToTile(region, tile);
    return true;
}

Twist kernelTwist(const ZylColorTwist &record, std::int32_t offset, std::int32_t highest) {
    Twist twist{};
    twist.scale = record.scalingValue & 31;
    const double unit = 1 / static_cast<double>(std::int64_t{1} << twist.scale);
    for (int i = 0; i < 12; ++i) {
        twist.data[i] = record.data[i];
        twist.matrix[i] = record.data[i] * unit;
    }
    twist.offset = std::clamp(offset, -highest, highest);
    return twist;
}

// Whether no sum over 8-bit samples, with the offset, leaves 31 bits.
bool sumsAreSmall(const Twist &twist) {
    for (int row = 0; row < 12; row += 4) {
        std::int64_t sum = std::abs(std::int64_t{twist.data[row + 3]});
        for (int k = 0; k < 3; ++k) sum += 255 * std::abs(std::int64_t{twist.data[row + k]});
        if (sum > INT32_MAX - 255) return false;
    }
    return true;
}

ColourKernels::TwistRow twistRow(const Twist &twist, bool narrow) {
    const ColourKernels &kernels = ZYLQX_KERNELS(colourKernels);
    if (!narrow) return kernels.twistDouble[1];
    if (sumsAreSmall(twist)) return kernels.twistWhole;
    return twist.scale >= TWIST_LOW_BITS ? kernels.twistFine : kernels.twistDouble[0];
}

} // namespace

ZylColorTwist *zylCreateColorTwist(const std::int32_t *data, std::int32_t scalingValue) {
    const Call call("zylCreateColorTwist", "zyltwist");
    if (call.fails(data == nullptr || scalingValue < 0 || scalingValue > 31, "bad_argument")) {
        return nullptr;
    }
    auto *record = static_cast<ZylColorTwist *>(allocateBlock(sizeof(ZylColorTwist)));
    if (record == nullptr) {
        call.report(ZYL_StsNoMem, "out_of_memory");
        return nullptr;
    }
    zylSetColorTwist(record, data, scalingValue);
    return record;
}

void zylSetColorTwist(ZylColorTwist *cTwist, const std::int32_t *data, std::int32_t scalingValue) {
    const Call call("zylSetColorTwist", "zyltwist");
    if (call.fails(cTwist == nullptr, "cTwist==0") || call.fails(data == nullptr, "(data == 0)") ||
        call.fails(scalingValue < 0, "(scalingValue < 0)") ||
        call.fails(scalingValue > 31, "(scalingValue > 31)")) {
        return;
    }
    std::memmove(cTwist->data, data, MATRIX_SIZE * sizeof *data);
    cTwist->scalingValue = scalingValue;
}

void zylDeleteColorTwist(ZylColorTwist *cTwist) {
    freeBlock(cTwist);
}

void zylApplyColorTwist(ZylImage *srcImage, ZylImage *dstImage, const ZylColorTwist *cTwist,
                        std::int32_t offset, const ZylTileMapping *Mapping) {
    const Call call("zylApplyColorTwist", "zyltwist");
    if (call.badHeader(srcImage) || call.badHeader(dstImage) ||
        call.fails(cTwist == nullptr, "cTwist==0") || badImages(call, *srcImage, *dstImage)) {
        return;
    }
    PairedArea region = commonRegion(*srcImage, *dstImage);
    if (region.empty()) return;
    if (Mapping != nullptr && isTiled(*dstImage) &&
        !restrictToTile(call, *dstImage, *Mapping, region)) {
        return;
    }
    const bool narrow = srcImage->depth == ZYL_DEPTH_8U;
    const Twist twist = kernelTwist(*cTwist, offset, narrow ? 255 : 65535);
    const auto row = twistRow(twist, narrow);
    auto kernel = [&](const Block &block) {
        const PairedArea &at = block.at;
        forEachRow(*block.src, *block.dst, at.width, at.height,
                   [&](std::ptrdiff_t y, std::ptrdiff_t n) {
                       row(sourceRow(*block.src, FIRST_CHANNELS, at.srcX, at.srcY + y), twist,
                           colourRow(*block.dst, FIRST_CHANNELS, at.dstX, at.dstY + y), n);
                   });
    };
    walkBlocks(call, *srcImage, *dstImage, region, kernel);
}
