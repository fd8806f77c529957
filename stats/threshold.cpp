// Threshold: every sample becomes the depth's minimum or maximum.

#include <algorithm>

#include "core/frame.h"
#include "core/image.h"
#include "core/walk_pieces.h"
#include "stats/kernels.h"

using namespace zylqx;

namespace {

// A threshold outside the depth's range sends all samples to the same side.
ThresholdLevels levelsOf(std::uint32_t depth, std::int32_t threshold) {
    const int bits = depthBits(depth);
    const bool isSigned = (depth & ZYL_DEPTH_SIGN) != 0;
    const std::int64_t count = std::int64_t{1} << bits;
    const std::int64_t lowest = isSigned ? -count / 2 : 0;
    const std::int64_t highest = lowest + count - 1;
    const auto low = static_cast<std::int32_t>(lowest);
    const auto high = static_cast<std::int32_t>(highest);
    if (threshold > highest) return {high, low, low};
    return {std::max(threshold, low), low, high};
}

// Whether the region's last column or row has no 31-bit number.
bool regionOverflows(const ZylImage &image) {
    if (image.roi == nullptr) return false;
    const ZylROI &roi = *image.roi;
    return std::int64_t{roi.xOffset} + roi.width - 1 > INT32_MAX ||
           std::int64_t{roi.yOffset} + roi.height - 1 > INT32_MAX;
}

void thresholdSamples(const Frame &frame, ThresholdKernels::Row row,
                      const ThresholdLevels &levels) {
    const FrameImage &src = frame.image[0];
    const FrameImage &dst = frame.image[1];
    for (std::ptrdiff_t plane = 0; plane < frame.planes; ++plane) {
        for (std::ptrdiff_t y = 0; y < frame.rows; ++y) {
            row(src.data + plane * src.planeStep + y * src.rowStep, src.step,
                dst.data + plane * dst.planeStep + y * dst.rowStep, dst.step, frame.samples,
                levels);
        }
    }
}

} // namespace

void zylThreshold(ZylImage *srcImage, ZylImage *dstImage, std::int32_t threshold,
                  const std::int32_t *dstTile) {
    const Call call("zylThreshold", "zylthres");
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return;
    if (call.fails(srcImage->depth != dstImage->depth, "(srcImage->depth!=dstImage->depth)") ||
        call.fails(srcImage->dataOrder != dstImage->dataOrder,
                   "(srcImage->dataOrder!=dstImage->dataOrder)") ||
        call.fails(srcImage->depth == ZYL_DEPTH_1U, "(srcImage->depth==1)")) {
        return;
    }
    const Operand operands[] = {{srcImage, "srcImage", ZYL_GET_TILE_TO_READ},
                                {dstImage, "dstImage", ZYL_GET_TILE_TO_WRITE}};
    const ThresholdLevels levels = levelsOf(srcImage->depth, threshold);
    const auto row = ZYLQX_KERNELS(thresholdKernels).row[depthIndex(srcImage->depth)];
    auto kernel = [&](const ZylImage *const *images) {
        if (call.fails(regionOverflows(*images[0]) || regionOverflows(*images[1]),
                       "The fields of ROI has error") ||
            call.fails(effectiveChannels(*images[0]) != effectiveChannels(*images[1]),
                       "The mismath of number channels")) {
            return false;
        }
        Frame frame;
        if (logicFrame(images, false, frame)) thresholdSamples(frame, row, levels);
        return true;
    };
    processImages(call, operands, 2, dstTile, kernel);
}
