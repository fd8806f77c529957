// Colour models: gray, RGB, HSV and HLS. Whole images, whatever their regions.

#include "convert/colour.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/call.h"
#include "core/walk_colour.h"

using namespace zylqx;

namespace zylqx {

ColourChannels colourChannels(const ZylImage &image, const char *model) {
    if (!isPlanar(image)) {
        const bool reversed = model[0] == 'R' && image.channelSeq[0] != 'R';
        return reversed ? ColourChannels{{3, 2, 1}} : FIRST_CHANNELS;
    }
    ColourChannels channels{};
    const int planes = std::min(image.nChannels, 4);
    for (int k = 0; k < 3; ++k) {
        const char *end = image.channelSeq + planes;
        const char *found = std::find(image.channelSeq, end, model[k]);
        if (found == end) return FIRST_CHANNELS;
        channels.of[k] = static_cast<int>(found - image.channelSeq) + 1;
    }
    return channels;
}

} // namespace zylqx

namespace {

// What kernels report when they have nothing for the images' depths.
constexpr const char *BAD_DEPTHS = "errInOutDepth";

// A colour image of this model; one with fewer than three channels is none.
bool isColour(const ZylImage &image, const char *model) {
    return std::memcmp(image.colorModel, model, 3) == 0 && image.nChannels >= 3;
}

bool isGray(const ZylImage &image) {
    return isPlanar(image) || image.nChannels == 1;
}

bool badHeaders(const Call &call, const ZylImage *srcImage, const ZylImage *dstImage) {
    return call.badHeader(srcImage) || call.badHeader(dstImage);
}

// ---- gray to colour ---------------------------------------------------------------

// fraction * unit, truncated, in 32 bits.
std::uint32_t weightOf(float fraction, double unit) {
    const double weight = static_cast<double>(fraction) * unit;
    if (std::isnan(weight)) return 0;
    return static_cast<std::uint32_t>(
        static_cast<std::int64_t>(std::clamp(weight, -2147483648.0, 2147483647.0)));
}

bool allZero(const GrayWeights &weights) {
    return weights.weight[0] == 0 && weights.weight[1] == 0 && weights.weight[2] == 0;
}

GrayWeights grayWeights(std::uint32_t depth, const float (&fractions)[3]) {
    const bool narrow = depth == ZYL_DEPTH_8U;
    GrayWeights weights{{}, narrow ? 8 : 15, {}};
    for (int k = 0; k < 3; ++k) {
        weights.weight[k] = weightOf(fractions[k], narrow ? 256.0 : 32768.0);
        const double fraction = static_cast<double>(fractions[k]);
        weights.fraction[k] = std::isnan(fraction) ? 0.0 : fraction;
    }
    if (!allZero(weights)) return weights;
    if (narrow) return {{54, 183, 18}, 8, {}};
    return {{109, 366, 37}, 9, {0.212671, 0.715160, 0.072169}};
}

// A row of bits counts as a row of 0 and 255.
void colourFromBits(const unsigned char *bits, const GrayWeights &weights, ColourRow row,
                    std::ptrdiff_t n) {
    constexpr std::ptrdiff_t RUN = 512;
    std::uint8_t gray[RUN];
    for (std::ptrdiff_t x = 0; x < n; x += RUN) {
        const std::ptrdiff_t count = std::min(RUN, n - x);
        ZYLQX_KERNELS(depthKernels).fromBits[0](bits + x / 8, 0, 255, gray, 1, count);
        ZYLQX_KERNELS(grayKernels).fromGray[0](gray, weights, row, count);
        for (void *&channel : row.channel) {
            channel = static_cast<unsigned char *>(channel) + RUN * row.step;
        }
    }
}

// ---- between models ---------------------------------------------------------------

struct ModelChange {
    ColourModel model;
    const char *from; // three letters
    const char *to;
    const char *kernelName;
};

void changeModel(const Call &call, ZylImage *srcImage, ZylImage *dstImage,
                 const std::int32_t *dstTile, const ModelChange &change) {
    if (badHeaders(call, srcImage, dstImage)) return;
    ZylImage &src = *srcImage;
    ZylImage &dst = *dstImage;
    const bool compatible = isColour(src, change.from) && dst.nChannels >= 3 &&
                            effectiveChannels(src) == effectiveChannels(dst) &&
                            src.depth == dst.depth && src.dataOrder == dst.dataOrder &&
                            src.origin == dst.origin;
    if (call.fails(!compatible, "incomatibleimages")) return;

    const ColourChannels channels = colourChannels(src, change.from);
    const int depth = colourDepthIndex(src.depth);
    if (depth >= 0) {
        std::memcpy(dst.colorModel, change.to, 3);
        std::memcpy(dst.channelSeq, change.to, 3);
    }
    auto kernel = [&](const ZylImage &s, const ZylImage &d, std::int32_t width,
                      std::int32_t height) {
        if (depth < 0) {
            Call(change.kernelName, KERNEL_FILE).report(ZYL_StsBadArg, BAD_DEPTHS);
            return;
        }
        const auto row = ZYLQX_KERNELS(colourKernels).model[static_cast<int>(change.model)][depth];
        forEachRow(s, d, width, height, [&](std::ptrdiff_t y, std::ptrdiff_t n) {
            row(sourceRow(s, channels, 0, y), colourRow(d, FIRST_CHANNELS, 0, y), n);
        });
    };
    walkColour(call, src, dst, dstTile, kernel);
}

} // namespace

void zylColorToGray(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    const Call call("zylColorToGray", "zylcolor");
    if (badHeaders(call, srcImage, dstImage)) return;
    ZylImage &src = *srcImage;
    ZylImage &dst = *dstImage;
    if (call.fails(!isColour(src, "RGB") || !isGray(dst) || src.origin != dst.origin,
                   "incomatibleimages")) {
        return;
    }
    const ColourChannels channels = colourChannels(src, "RGB");
    const int from = colourDepthIndex(src.depth);
    const int to = dst.depth == ZYL_DEPTH_1U    ? 0
                   : dst.depth == ZYL_DEPTH_8U  ? 1
                   : dst.depth == ZYL_DEPTH_16U ? 2
                                                : -1;
    auto kernel = [&](const ZylImage &s, const ZylImage &d, std::int32_t width,
                      std::int32_t height) {
        if (from < 0 || to < 0) {
            Call("ownColorToGray", KERNEL_FILE).report(ZYL_StsBadArg, BAD_DEPTHS);
            return;
        }
        const auto row = ZYLQX_KERNELS(grayKernels).toGray[from][to];
        forEachRow(s, d, width, height, [&](std::ptrdiff_t y, std::ptrdiff_t n) {
            row(sourceRow(s, channels, 0, y), sampleAt(d, 0, y, 1), n);
        });
    };
    walkColour(call, src, dst, dstTile, kernel);
}

void zylGrayToColor(ZylImage *srcImage, ZylImage *dstImage, float FractR, float FractG,
                    float FractB, const std::int32_t *dstTile) {
    const Call call("zylGrayToColor", "zylcolor");
    if (badHeaders(call, srcImage, dstImage)) return;
    ZylImage &src = *srcImage;
    ZylImage &dst = *dstImage;
    const bool fromBits = src.depth == ZYL_DEPTH_1U && dst.depth == ZYL_DEPTH_8U;
    if (call.fails(!isColour(dst, "RGB") || (src.depth != dst.depth && !fromBits) || !isGray(src) ||
                       src.origin != dst.origin,
                   "incomatibleimages")) {
        return;
    }
    const ColourChannels channels = colourChannels(dst, "RGB");
    const int depth = colourDepthIndex(dst.depth);
    const GrayWeights weights = grayWeights(dst.depth, {FractR, FractG, FractB});
    auto kernel = [&](const ZylImage &s, const ZylImage &d, std::int32_t width,
                      std::int32_t height) {
        if (depth < 0) {
            Call("ownGrayToColor", KERNEL_FILE).report(ZYL_StsBadArg, BAD_DEPTHS);
            return;
        }
        const auto row = ZYLQX_KERNELS(grayKernels).fromGray[depth];
        forEachRow(s, d, width, height, [&](std::ptrdiff_t y, std::ptrdiff_t n) {
            const unsigned char *gray = sampleAt(s, 0, y, 1);
            if (fromBits) {
                colourFromBits(gray, weights, colourRow(d, channels, 0, y), n);
            } else {
                row(gray, weights, colourRow(d, channels, 0, y), n);
            }
        });
    };
    walkColour(call, src, dst, dstTile, kernel);
}

void zylRGB2HSV(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    changeModel(Call("zylRGB2HSV", "zylcolor"), srcImage, dstImage, dstTile,
                {ColourModel::RgbToHsv, "RGB", "HSV", "ownRGB2HSV"});
}

// The kernels of two more operations report under this one's name.
void zylHSV2RGB(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    changeModel(Call("zylHSV2RGB", "zylcolor"), srcImage, dstImage, dstTile,
                {ColourModel::HsvToRgb, "HSV", "RGB", "ownRGB2HSV"});
}

void zylRGB2HLS(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    changeModel(Call("zylRGB2HLS", "zylcolor"), srcImage, dstImage, dstTile,
                {ColourModel::RgbToHls, "RGB", "HLS", "ownRGB2HSV"});
}

void zylHLS2RGB(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    changeModel(Call("zylHLS2RGB", "zylcolor"), srcImage, dstImage, dstTile,
                {ColourModel::HlsToRgb, "HLS", "RGB", "ownRGB2HLS"});
}
