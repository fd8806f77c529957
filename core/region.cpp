#include "core/region.h"

#include <algorithm>

namespace zylqx {

ZylRect ownRoiRect(const ZylImage &image) {
    ZylRect rect{0, image.width, 0, image.height, image.height, image.width};
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

void ownCommonSize(ZylRect *rects, int count) {
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

} // namespace zylqx
