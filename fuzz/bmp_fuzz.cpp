// Bytes as a BMP file: through the reader of files and the library's bitmap
// operations into pictures of every kind.
#include "bitmap_file.h"
#include "text.h"

#include <zylqx.h>

#include <memory>

namespace {

constexpr std::int32_t MOST_PIXELS = 1 << 20;

struct Free {
    void operator()(ZylImage *image) const { zylDeallocate(image, ZYL_DEALLOC_ALL); }
};
using ImagePointer = std::unique_ptr<ZylImage, Free>;

void convert(std::vector<std::uint8_t> &block, const ZylImage &like, std::int32_t channels,
             std::uint32_t depth) {
    const ImagePointer image(
        zylCreateImageHeader(channels, channels == 4 ? 4 : 0, depth, channels == 1 ? "GRAY" : "RGB",
                             channels == 1 ? "GRAY" : "RGBA", ZYL_DATA_ORDER_PIXEL, ZYL_ORIGIN_TL,
                             ZYL_ALIGN_4, like.height, like.width, nullptr, nullptr, nullptr));
    if (!image) return;
    zylAllocateImage(image.get(), 0);
    zylConvertFromDIB(block.data(), image.get());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    zylRedirectError(zylNulDevReport);
    zylSetErrStatus(ZYL_StsOk);
    std::vector<std::uint8_t> block;
    try {
        block = tool::bitmapBlock({data, data + size});
    } catch (const tool::Failure &) {
        return 0;
    }
    std::int32_t shared = 0;
    // Frees the pixels only if they are not the block's.
    const ImagePointer image(zylTranslateDIB(block.data(), &shared));
    if (!image || std::int64_t{image->width} * image->height > MOST_PIXELS) return 0;
    convert(block, *image, 1, ZYL_DEPTH_1U);
    convert(block, *image, 1, ZYL_DEPTH_16U);
    convert(block, *image, 3, ZYL_DEPTH_8U);
    convert(block, *image, 4, ZYL_DEPTH_16U);
    return 0;
}
