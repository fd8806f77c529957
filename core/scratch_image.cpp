#include "core/scratch_image.h"

#include <limits>

#include "core/borders.h"
#include "core/image.h"

namespace zylqx {

ScratchImage::ScratchImage(const ZylImage &image, std::int64_t width, std::int64_t height) {
    constexpr std::int64_t MOST = std::numeric_limits<std::int32_t>::max();
    if (width <= 0 || height <= 0 || width > MOST || height > MOST) {
        header_ = {};
        return;
    }
    header_ =
        memoryHeader(image, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height));
    if (header_.imageSize == 0) return;
    pixels_ = Scratch<unsigned char>(static_cast<std::size_t>(header_.imageSize));
    header_.imageData = pixels_.data();
}

bool ScratchImage::readRows(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t row,
                            std::int64_t count) {
    const SampleRows rows = {header_.imageData + row * header_.widthStep, header_.widthStep,
                             planeStep(header_)};
    return readBorderedRect(image, x, y, header_.width, count, ALL_CHANNELS, rows);
}

} // namespace zylqx
