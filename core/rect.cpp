#include "core/rect.h"

#include <limits>

#include "core/borders.h"
#include "core/image.h"

namespace zylqx {

RectPixels::RectPixels(const ZylImage &image, std::int64_t width, std::int64_t height)
    : header_(image) {
    constexpr std::int64_t MOST = std::numeric_limits<std::int32_t>::max();
    header_.roi = nullptr;
    header_.tileInfo = nullptr;
    header_.imageData = header_.imageDataOrigin = nullptr;
    if (width <= 0 || height <= 0 || width > MOST || height > MOST) return;
    header_.width = static_cast<std::int32_t>(width);
    header_.height = static_cast<std::int32_t>(height);
    header_.widthStep =
        ownRowStride(image.dataOrder, image.depth, image.align, image.nChannels, header_.width);
    header_.imageSize = ownImageSize(header_, header_.widthStep);
    if (header_.imageSize == 0) return;
    pixels_ = Scratch<unsigned char>(static_cast<std::size_t>(header_.imageSize));
    header_.imageData = pixels_.data();
}

bool RectPixels::readRows(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t row,
                          std::int64_t count) {
    const SampleRows rows = {header_.imageData + row * header_.widthStep, header_.widthStep,
                             planeStep(header_)};
    return readBorderedRect(image, x, y, header_.width, count, ALL_CHANNELS, rows);
}

RectPixels ownReadRect(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t width,
                       std::int64_t height) {
    RectPixels rect(image, width, height);
    if (!rect || !rect.readRows(image, x, y, 0, height)) return RectPixels();
    return rect;
}

} // namespace zylqx
