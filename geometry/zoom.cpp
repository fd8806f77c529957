// Enlarging by rational factors.

#include <numeric>

#include "core/call.h"
#include "geometry/resample.h"

using namespace zylqx;

namespace {

// The interpolation that a source of this size and depth allows.
std::int32_t allowed(std::int32_t interpolate, const ZylImage &src) {
    const std::int32_t size = std::min(src.width, src.height);
    if (src.depth == ZYL_DEPTH_1U || size < 2) return ZYL_INTER_NN;
    if (size < 4) return std::min<std::int32_t>(interpolate, ZYL_INTER_LINEAR);
    return interpolate;
}

Kernels kernelsFor(Interpolation interpolation, const ZylImage &src) {
    const int depth = sizeIndex(sampleBytes(src.depth));
    const int taps = interpolation == LINEAR ? 2 : 4;
    return {taps, taps - 1, sizeof(double),
            ZYLQX_KERNELS(resampleKernels).zoom[interpolation][depth]};
}

// Factors such as 2 or 5/4 lead to multiples of a power of two, which single
// precision holds exactly: sums of samples, three bits wider, have 24 in all. That
// is twice as fast as double precision.
bool exactInSingle(std::int32_t xU, std::int32_t xL, std::int32_t yU, std::int32_t yL,
                   std::uint32_t depth) {
    const std::int64_t parts = std::int64_t{xU / std::gcd(xU, xL)} * (yU / std::gcd(yU, yL));
    return (parts & (parts - 1)) == 0 && parts <= std::int64_t{1} << (21 - depthBits(depth));
}
Kernels exactKernels(const ZylImage &src) {
    return {2, 1, sizeof(float),
            ZYLQX_KERNELS(resampleKernels).zoomExact[sizeIndex(sampleBytes(src.depth))]};
}

} // namespace

void zylZoom(ZylImage *srcImage, ZylImage *dstImage, std::int32_t xU, std::int32_t xL,
             std::int32_t yU, std::int32_t yL, std::int32_t interpolate,
             const ZylTileMapping *mapping) {
    const Call call("zylZoom", "zylZoom");
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return;
    call.fails(interpolate != ZYL_INTER_NN && interpolate != ZYL_INTER_LINEAR &&
                   interpolate != ZYL_INTER_CUBIC,
               "interpolate != ZYL_INTER_NN && interpolate != ZYL_INTER_LINEAR && interpolate != "
               "ZYL_INTER_CUBIC");
    call.fails(srcImage->depth != dstImage->depth, "srcImage->depth != dstImage->depth");
    call.fails(srcImage->dataOrder != dstImage->dataOrder,
               "srcImage->dataOrder != dstImage->dataOrder");
    call.fails(xU <= 0 || xL <= 0, "xU <= 0 || xL <= 0");
    call.fails(yU <= 0 || yL <= 0, "yU <= 0 || yL <= 0");
    call.fails(xU < xL || yU < yL, "xU < xL || yU < yL");
    if (zylGetErrStatus() < 0) return;
    if (srcImage->depth != ZYL_DEPTH_1U && srcImage->depth != ZYL_DEPTH_8U &&
        srcImage->depth != ZYL_DEPTH_16U) {
        return;
    }

    const Area from = clippedArea(*srcImage);
    Area block = clippedArea(*dstImage);
    if (from.empty() || block.empty()) return;
    const ZoomAxis columns({from.x, from.width, srcImage->width}, xU, xL);
    const ZoomAxis rows({from.y, from.height, srcImage->height}, yU, yL);
    block.width = columns.count(block.width);
    block.height = rows.count(block.height);
    const MappedTile tile(*dstImage, mapping);
    const Resampling<ZoomAxis> zoom = {call,         *srcImage, *dstImage, block,
                                       tile.index(), columns,   rows};
    switch (allowed(interpolate, *srcImage)) {
    case ZYL_INTER_NN:
        return zoom.nearest();
    case ZYL_INTER_LINEAR:
        if (exactInSingle(xU, xL, yU, yL, srcImage->depth)) {
            return zoom.between(exactKernels(*srcImage), &ZoomAxis::linear<float>);
        }
        return zoom.between(kernelsFor(LINEAR, *srcImage), &ZoomAxis::linear<double>);
    default:
        return zoom.between(kernelsFor(CUBIC, *srcImage), &ZoomAxis::cubic);
    }
}
