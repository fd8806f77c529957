// Enlarging by rational factors.

#include <numeric>

#include "core/call.h"
#include "geometry/resample.h"

using namespace zylqx;

Combination ZoomAxis::combination(Interpolation interpolation, std::ptrdiff_t bytes) {
    const int taps = interpolation == LINEAR ? 2 : 4;
    return {taps, taps - 1, sizeof(double),
            ZYLQX_KERNELS(resampleKernels).zoom[interpolation][sizeIndex(bytes)]};
}

namespace {

// The interpolation that a source of this size and depth allows.
std::int32_t allowed(std::int32_t interpolate, const ZylImage &src) {
    const std::int32_t size = std::min(src.width, src.height);
    if (src.depth == ZYL_DEPTH_1U || size < 2) return ZYL_INTER_NN;
    if (size < 4) return std::min<std::int32_t>(interpolate, ZYL_INTER_LINEAR);
    return interpolate;
}

// Into how many parts, a power of two, the positions divide a pixel; 0 for any others.
std::int32_t binaryParts(std::int32_t upper, std::int32_t lower) {
    const std::int32_t parts = upper / std::gcd(upper, lower);
    return (parts & (parts - 1)) == 0 ? parts : 0;
}

// Factors such as 2 or 5/4 lead to multiples of a power of two, which 16 bits hold for
// bytes and few parts, and else single precision, twice as fast as double precision:
// sums of samples, three bits wider, have 24 in all there.
void zoomLinear(const Resampling<ZoomAxis> &zoom, const Factors &f, std::uint32_t depth) {
    const std::int64_t x = binaryParts(f.xU, f.xL), y = binaryParts(f.yU, f.yL);
    const bool exact = x * y != 0 && x * y <= std::int64_t{1} << (21 - depthBits(depth));
    const ResampleKernels &kernels = ZYLQX_KERNELS(resampleKernels);
    if (exact && depth == ZYL_DEPTH_8U && std::max(x, y) <= ZOOM_UNIT) {
        return zoom.between(
            {2, 2, sizeof(std::int16_t), kernels.zoomWhole},
            [](const ZoomAxis &axis, std::int32_t i) { return axis.linearWhole(i); });
    }
    if (exact) {
        const Combination single = {2, 1, sizeof(float),
                                    kernels.zoomExact[sizeIndex(sampleBytes(depth))]};
        return zoom.between(
            single, [](const ZoomAxis &axis, std::int32_t i) { return axis.linearSingle(i); });
    }
    zoom.run(ZYL_INTER_LINEAR);
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

    const Factors factors = {xU, xL, yU, yL};
    const Resampling<ZoomAxis> zoom(call, *srcImage, *dstImage, factors, mapping);
    if (zoom.block().empty()) return;
    interpolate = allowed(interpolate, *srcImage);
    if (interpolate == ZYL_INTER_LINEAR) return zoomLinear(zoom, factors, srcImage->depth);
    zoom.run(interpolate);
}
