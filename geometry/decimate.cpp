// Reducing by rational factors.

#include "core/call.h"
#include "geometry/resample.h"

using namespace zylqx;

Combination DecimateAxis::combination(Interpolation interpolation, std::ptrdiff_t bytes) {
    const int taps = interpolation == LINEAR ? 2 : 4;
    return {taps, taps, decimatedBytes(bytes),
            ZYLQX_KERNELS(resampleKernels).decimate[interpolation][sizeIndex(bytes)]};
}

namespace {

// The interpolation that the source's size and the factors call for: positions
// of whole factors fall on pixels.
std::int32_t allowed(std::int32_t interpolate, const ZylImage &src, bool wholeFactors) {
    const bool small = std::min(src.width, src.height) < 4;
    return small || wholeFactors || src.depth == ZYL_DEPTH_1U ? std::int32_t{ZYL_INTER_NN}
                                                              : interpolate;
}

// Whether a mapping's point lies outside the block of a tiled destination.
bool misses(const ZylTileMapping *mapping, const ZylImage &dst, const Area &block) {
    if (mapping == nullptr || !isTiled(dst)) return false;
    return mapping->xDst < block.x || mapping->xDst - block.x >= block.width ||
           mapping->yDst < block.y || mapping->yDst - block.y >= block.height;
}

} // namespace

void zylDecimate(ZylImage *srcImage, ZylImage *dstImage, std::int32_t xU, std::int32_t xL,
                 std::int32_t yU, std::int32_t yL, std::int32_t interpolate,
                 const ZylTileMapping *mapping) {
    const Call call("zylDecimate", "zyldecim");
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return;
    call.fails(srcImage->depth != dstImage->depth, "srcImage->depth != dstImage->depth");
    call.fails(srcImage->origin != dstImage->origin, "srcImage->origin != dstImage->origin");
    call.fails(srcImage->dataOrder != dstImage->dataOrder,
               "srcImage->dataOrder != dstImage->dataOrder");
    call.fails(interpolate != ZYL_INTER_NN && interpolate != ZYL_INTER_LINEAR &&
                   interpolate != ZYL_INTER_CUBIC,
               "interpolate != ZYL_INTER_NN, ZYL_INTER_LINEAR or ZYL_INTER_CUBIC");
    call.fails(xU <= 0, "xU <= 0");
    call.fails(xL <= 0, "xL <= 0");
    call.fails(yU <= 0, "yU <= 0");
    call.fails(yL <= 0, "yL <= 0");
    call.fails(xU > xL, "xU > xL");
    call.fails(yU > yL, "yU > yL");
    if (zylGetErrStatus() < 0) return;
    const std::uint32_t depth = srcImage->depth;
    if (call.fails(depth != ZYL_DEPTH_1U && depth != ZYL_DEPTH_8U && depth != ZYL_DEPTH_16U,
                   "srcImage->depth is wrong")) {
        return;
    }

    const Resampling<DecimateAxis> decimation(call, *srcImage, *dstImage, {xU, xL, yU, yL},
                                              mapping);
    if (decimation.block().empty() || misses(mapping, *dstImage, decimation.block())) return;
    decimation.run(allowed(interpolate, *srcImage, xL % xU == 0 && yL % yU == 0));
}
