// Facts that follow from an image header.
#ifndef ZYLQX_CORE_IMAGE_H
#define ZYLQX_CORE_IMAGE_H

#include <cstddef>
#include <cstdint>

#include "zylqx.h"

namespace zylqx {

constexpr int DEPTH_COUNT = 6;

// 0 for 1U, 1 for 8U, 2 for 8S, 3 for 16U, 4 for 16S, 5 for 32S; -1 for any
// other code.
constexpr int depthIndex(std::uint32_t depth) {
    switch (depth) {
    case ZYL_DEPTH_1U:
        return 0;
    case ZYL_DEPTH_8U:
        return 1;
    case ZYL_DEPTH_8S:
        return 2;
    case ZYL_DEPTH_16U:
        return 3;
    case ZYL_DEPTH_16S:
        return 4;
    case ZYL_DEPTH_32S:
        return 5;
    default:
        return -1;
    }
}

// The same for the depth of an image that has passed the header check.
constexpr int checkedDepthIndex(std::uint32_t depth) {
    const int index = depthIndex(depth);
    if (index < 0) __builtin_unreachable();
    return index;
}

constexpr int depthBits(std::uint32_t depth) {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

// Bytes of a sample; 0 for 1-bit samples.
constexpr std::ptrdiff_t sampleBytes(std::uint32_t depth) {
    return depthBits(depth) / 8;
}

// Index of kernels that differ only by the bytes of a sample.
constexpr int sizeIndex(std::ptrdiff_t bytes) {
    return bytes == 1 ? 0 : bytes == 2 ? 1 : 2;
}

inline bool isTiled(const ZylImage &image) {
    return image.tileInfo != nullptr;
}

// The channel of interest, 0 for none.
inline int channelOfInterest(const ZylImage &image) {
    return image.roi != nullptr ? image.roi->coi : 0;
}

// How many channels an operation processes: 1 with a channel of interest.
inline int effectiveChannels(const ZylImage &image) {
    return channelOfInterest(image) != 0 ? 1 : image.nChannels;
}

inline bool isPlanar(const ZylImage &image) {
    return image.dataOrder == ZYL_DATA_ORDER_PLANE;
}

// Samples from one pixel to the next within a row.
inline std::ptrdiff_t pixelStep(const ZylImage &image) {
    return isPlanar(image) ? 1 : image.nChannels;
}

// Bytes from one plane to the next.
inline std::ptrdiff_t planeStep(const ZylImage &image) {
    return std::ptrdiff_t{image.height} * image.widthStep;
}

// Where the sample of a channel (from 1) at column x of row y is; for 1-bit
// images, the byte that holds it.
inline unsigned char *sampleAt(const ZylImage &image, std::ptrdiff_t x, std::ptrdiff_t y,
                               int channel) {
    unsigned char *row = image.imageData + y * image.widthStep;
    if (image.depth == ZYL_DEPTH_1U) return row + x / 8;
    if (isPlanar(image)) {
        return row + (channel - 1) * planeStep(image) + x * sampleBytes(image.depth);
    }
    return row + (x * image.nChannels + channel - 1) * sampleBytes(image.depth);
}

// Bytes of a row of `width` pixels in the format of an image: the row's bits raised to
// the next multiple of `align` bytes. 0 when they do not fit in 31 bits, so that the
// header check refuses the image.
std::int32_t rowStride(const ZylImage &format, std::int32_t width);

// Bytes of an image with rows of this stride; 0 when they do not fit in 31 bits.
std::int32_t imageBytes(const ZylImage &image, std::int32_t stride);

// A header for width x height pixels in memory in the format of an image, its borders
// included, without region and pixels. imageSize is 0 when it does not fit in 31 bits.
ZylImage memoryHeader(const ZylImage &format, std::int32_t width, std::int32_t height);

// Whether the two images may have pixels in common.
bool sharePixels(const ZylImage &a, const ZylImage &b);

// Non-zero when a field that layout depends on has no valid value. Looser than
// zylBadImageHeader(): pixels, tiles and region are not looked at, and an empty
// image passes.
std::int32_t fieldFaults(const ZylImage &image);

// One line for every fault in `mask`, in the order of the reports; null for 0.
// Released by freeHeaderMessage(): two texts for special cases are constants.
const char *headerMessage(std::int32_t mask);
void freeHeaderMessage(const char *message);

} // namespace zylqx

#endif
