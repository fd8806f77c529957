#include "core/region.h"

#include <algorithm>
#include <initializer_list>

#include "core/image.h"

namespace zylqx {

Rect regionRect(const ZylImage &image) {
    Rect rect{0, image.width, 0, image.height, image.height, image.width};
    if (image.roi == nullptr) return rect;
    const ZylROI &roi = *image.roi;
    rect.begX = roi.xOffset;
    rect.begY = roi.yOffset;
    rect.width = std::min(roi.width, image.width - roi.xOffset);
    rect.height = std::min(roi.height, image.height - roi.yOffset);
    rect.endX = rect.begX + rect.width;
    rect.endY = rect.begY + rect.height;
    return rect;
}

void cutToCommonSize(Rect *rects, int count) {
    std::int32_t width = rects[0].width;
    std::int32_t height = rects[0].height;
    for (int i = 1; i < count; ++i) {
        width = std::min(width, rects[i].width);
        height = std::min(height, rects[i].height);
    }
    for (int i = 0; i < count; ++i) {
        rects[i].width = width;
        rects[i].height = height;
        rects[i].endX = rects[i].begX + width;
        rects[i].endY = rects[i].begY + height;
    }
}

namespace {

// What is left of a region's columns or rows inside an image.
void clip(std::int32_t &offset, std::int32_t &length, std::int32_t size) {
    const std::int64_t end = std::min<std::int64_t>(std::int64_t{offset} + length, size);
    offset = std::max(offset, 0);
    length = static_cast<std::int32_t>(std::max<std::int64_t>(end - offset, 0));
}

} // namespace

Area clippedArea(const ZylImage &image) {
    if (image.roi == nullptr) return {0, 0, image.width, image.height, 0};
    const ZylROI &roi = *image.roi;
    Area area = {roi.xOffset, roi.yOffset, roi.width, roi.height, roi.coi};
    clip(area.x, area.width, image.width);
    clip(area.y, area.height, image.height);
    return area;
}

bool isContiguous(const ZylImage &image, const Area &area) {
    const std::int64_t rowBits =
        area.width * std::int64_t{pixelStep(image)} * depthBits(image.depth);
    const bool countable = std::int64_t{area.width} * area.height <= INT32_MAX;
    return rowBits == std::int64_t{image.widthStep} * 8 && countable;
}

void cutToCommonSize(Area &a, Area &b) {
    a.width = b.width = std::min(a.width, b.width);
    a.height = b.height = std::min(a.height, b.height);
}

PairedArea clippedPair(const ZylImage &srcImage, const ZylImage &dstImage) {
    Area source = clippedArea(srcImage);
    Area destination = clippedArea(dstImage);
    cutToCommonSize(source, destination);
    return {source.x, source.y, destination.x, destination.y, source.width, source.height};
}

PairedArea uncutPair(const ZylImage &srcImage, const ZylImage &dstImage) {
    PairedArea block = {0,
                        0,
                        0,
                        0,
                        std::min(srcImage.width, dstImage.width),
                        std::min(srcImage.height, dstImage.height)};
    for (const ZylROI *roi : {srcImage.roi, dstImage.roi}) {
        if (roi == nullptr) continue;
        block.width = std::min<std::int64_t>(block.width, roi->width);
        block.height = std::min<std::int64_t>(block.height, roi->height);
    }
    if (srcImage.roi != nullptr) {
        block.srcX = srcImage.roi->xOffset;
        block.srcY = srcImage.roi->yOffset;
    }
    if (dstImage.roi != nullptr) {
        block.dstX = dstImage.roi->xOffset;
        block.dstY = dstImage.roi->yOffset;
    }
    block.width = std::min(block.width, dstImage.width - block.dstX);
    block.height = std::min(block.height, dstImage.height - block.dstY);
    return block;
}

} // namespace zylqx
