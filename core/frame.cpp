#include "core/frame.h"

#include <algorithm>

#include "core/image.h"

namespace zylqx {

namespace {

bool coversItself(const ZylImage &image) {
    if (image.roi == nullptr) return true;
    const ZylROI &roi = *image.roi;
    return roi.xOffset == 0 && roi.yOffset == 0 && roi.width >= image.width &&
           roi.height >= image.height && (roi.coi == 0 || (roi.coi == 1 && image.nChannels == 1));
}

bool coversExactly(const ZylImage &source, const ZylImage &destination) {
    return source.height == destination.height && source.width == destination.width &&
           source.imageSize == destination.imageSize && coversItself(source) &&
           coversItself(destination);
}

bool wholeBufferFrame(const ZylImage *const *images, int count, Frame &frame) {
    const ZylImage &destination = *images[count - 1];
    for (int i = 0; i < count - 1; ++i) {
        if (!coversExactly(*images[i], destination)) return false;
    }
    for (int i = 0; i < count; ++i) frame.image[i] = {images[i]->imageData, 0, 1, 0, 0};
    const std::ptrdiff_t bits = std::ptrdiff_t{destination.imageSize} * 8;
    frame.samples = bits / depthBits(destination.depth);
    frame.rows = frame.planes = 1;
    return true;
}

// The columns and rows of an image's region that lie inside the image.
struct RegionExtent {
    std::int64_t x, y, columns, rows;
};

RegionExtent regionExtent(const ZylImage &image) {
    if (image.roi == nullptr) return {0, 0, image.width, image.height};
    const ZylROI &roi = *image.roi;
    const std::int64_t x = std::max<std::int64_t>(roi.xOffset, 0);
    const std::int64_t y = std::max<std::int64_t>(roi.yOffset, 0);
    const std::int64_t endX =
        std::min<std::int64_t>(image.width, std::int64_t{roi.xOffset} + roi.width);
    const std::int64_t endY =
        std::min<std::int64_t>(image.height, std::int64_t{roi.yOffset} + roi.height);
    return {x, y, endX - x, endY - y};
}

// How the channels of several images go together.
enum class ChannelLayout { AllSamples, OneOfPixel, EachPlane, Mixed };

ChannelLayout layoutOf(const ZylImage *const *images, int count) {
    bool allPixel = true;
    bool allPlane = true;
    bool allWith = true;
    bool allWithout = true;
    for (int i = 0; i < count; ++i) {
        const ZylImage &image = *images[i];
        (isPlanar(image) ? allPixel : allPlane) = false;
        allWith = allWith && channelOfInterest(image) != 0;
        allWithout = allWithout && effectiveChannels(image) == image.nChannels;
    }
    if ((allPixel && allWithout) || (allPlane && allWith)) return ChannelLayout::AllSamples;
    if (allPixel && allWith) return ChannelLayout::OneOfPixel;
    if (allPlane && allWithout) return ChannelLayout::EachPlane;
    return ChannelLayout::Mixed;
}

// Rows that follow each other without a gap, in all images, become one; not those
// of 1-bit images, whose samples have no bytes.
void joinRows(Frame &frame, int count, std::ptrdiff_t bytes) {
    for (int i = 0; i < count; ++i) {
        const FrameImage &image = frame.image[i];
        if (bytes == 0 || image.step * frame.samples * bytes != image.rowStep) return;
    }
    frame.samples *= frame.rows;
    frame.rows = 1;
}

} // namespace

bool kernelFrame(const ZylImage *const *images, int count, Frame &frame) {
    if (wholeBufferFrame(images, count, frame)) return true;
    const ChannelLayout layout = layoutOf(images, count);
    if (layout == ChannelLayout::Mixed) return false;

    const ZylImage &destination = *images[count - 1];
    const bool bits = destination.depth == ZYL_DEPTH_1U;
    const std::ptrdiff_t bytes = sampleBytes(destination.depth);
    const bool interleaved = layout == ChannelLayout::AllSamples && !isPlanar(destination);
    for (int i = 0; i < count; ++i) {
        const ZylImage &image = *images[i];
        const RegionExtent extent = regionExtent(image);
        const int channel = std::max(channelOfInterest(image), 1);
        if (extent.columns <= 0 || extent.rows <= 0 || channel > image.nChannels) return false;
        const std::ptrdiff_t stride = bits ? image.widthStep : rowStride(image, image.width);
        const std::ptrdiff_t perPixel = isPlanar(image) ? 1 : image.nChannels;
        const std::ptrdiff_t samples = extent.columns * (interleaved ? perPixel : 1);
        const std::ptrdiff_t plane = isPlanar(image)
                                         ? std::ptrdiff_t{channel - 1} * image.height * stride
                                         : (channel - 1) * bytes;
        const std::ptrdiff_t column = bits ? extent.x / 8 : extent.x * perPixel * bytes;
        frame.image[i] = {image.imageData + plane + extent.y * stride + column,
                          bits ? static_cast<int>(extent.x % 8) : 0,
                          layout == ChannelLayout::OneOfPixel ? perPixel : 1, image.widthStep,
                          planeStep(image)};
        frame.samples = i == 0 ? samples : std::min(frame.samples, samples);
        frame.rows = i == 0 ? extent.rows : std::min<std::ptrdiff_t>(frame.rows, extent.rows);
    }
    frame.planes = layout == ChannelLayout::EachPlane ? destination.nChannels : 1;
    joinRows(frame, count, bytes);
    return true;
}

bool logicFrame(const ZylImage *const *images, bool wholeBuffer, Frame &frame) {
    if (wholeBuffer && wholeBufferFrame(images, 2, frame)) return true;
    const ZylImage &source = *images[0];
    const bool bits = source.depth == ZYL_DEPTH_1U;
    const bool allChannels = source.nChannels > 1 && channelOfInterest(source) == 0;
    const bool interleaved = allChannels && !isPlanar(source);
    for (int i = 0; i < 2; ++i) {
        const ZylImage &image = *images[i];
        const RegionExtent extent = regionExtent(image);
        const int channel = std::max(channelOfInterest(image), 1);
        if (extent.columns <= 0 || extent.rows <= 0 || channel > image.nChannels) return false;
        frame.image[i] = {sampleAt(image, extent.x, extent.y, channel),
                          bits ? static_cast<int>(extent.x % 8) : 0,
                          interleaved ? 1 : pixelStep(image), image.widthStep, planeStep(image)};
        frame.samples =
            i == 0 ? extent.columns : std::min<std::ptrdiff_t>(frame.samples, extent.columns);
        frame.rows = i == 0 ? extent.rows : std::min<std::ptrdiff_t>(frame.rows, extent.rows);
    }
    if (interleaved) frame.samples *= source.nChannels;
    frame.planes = allChannels && isPlanar(source) ? source.nChannels : 1;
    joinRows(frame, 2, sampleBytes(source.depth));
    return true;
}

} // namespace zylqx
