#include "picture.h"

#include <cstdio>
#include <cstdlib>
#include <random>

namespace bench {

namespace {

ZylImage *header(std::uint32_t depth, int channels, int width, int height, int dataOrder,
                 ZylTileInfo *tiles) {
    return zylCreateImageHeader(channels, 0, depth, "    ", "    ", dataOrder, ZYL_ORIGIN_TL,
                                ZYL_ALIGN_4, height, width, nullptr, nullptr, tiles);
}

} // namespace

Picture::Picture(std::uint32_t depth, int channels, int width, int height, int dataOrder,
                 Layout layout) {
    if (layout == Layout::Tiles) {
        const int count = width / TILE * (height / TILE);
        // Bytes of a tile are the same in any data order.
        tiles_ = std::make_unique<const Picture>(depth, channels, TILE, TILE * count);
        tileBytes_ = std::ptrdiff_t{TILE} * tiles_->stride();
        image_ = header(depth, channels, width, height, dataOrder,
                        zylCreateTileInfo(deliver, this, TILE, TILE));
        return;
    }
    image_ = header(depth, channels, width, height, dataOrder, nullptr);
    if (image_ != nullptr) zylAllocateImage(image_, -1);
    if (image_ == nullptr || image_->imageData == nullptr) {
        std::fprintf(stderr, "no memory for a picture of %d x %d\n", width, height);
        std::exit(1);
    }
    std::minstd_rand random(1);
    for (std::int32_t i = 0; i < image_->imageSize; ++i) {
        image_->imageData[i] = static_cast<unsigned char>(random() >> 8);
    }
}

void Picture::deliver(ZylImage *image, std::int32_t column, std::int32_t row, std::int32_t mode) {
    const auto &picture = *static_cast<const Picture *>(image->tileInfo->id);
    const std::ptrdiff_t tile = std::ptrdiff_t{row} * (image->width / TILE) + column;
    image->tileInfo->tileData =
        mode == ZYL_RELEASE_TILE ? nullptr : picture.tiles_->data() + tile * picture.tileBytes_;
}

const char *depthName(std::uint32_t depth) {
    switch (depth) {
    case ZYL_DEPTH_1U:
        return "1u";
    case ZYL_DEPTH_8U:
        return "8u";
    case ZYL_DEPTH_8S:
        return "8s";
    case ZYL_DEPTH_16U:
        return "16u";
    case ZYL_DEPTH_16S:
        return "16s";
    default:
        return "32s";
    }
}

std::ptrdiff_t pictureBytes(std::uint32_t depth, int channels, int side) {
    const std::ptrdiff_t bits = depth & ~ZYL_DEPTH_SIGN;
    return std::ptrdiff_t{side} * side * channels * bits / 8;
}

} // namespace bench
