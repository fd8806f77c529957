#include "image.h"

#include "text.h"

#include <cstring>
#include <limits>

namespace tool {

namespace {

int bitsOf(std::uint32_t depth) {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

std::string fourCharacters(const char (&field)[4]) {
    return {field, strnlen(field, 4)};
}

// The bytes of one channel group's row, as the library rounds them up.
std::int64_t rowBytes(const Shape &shape, std::int64_t width) {
    std::int64_t samples = shape.order == ZYL_DATA_ORDER_PIXEL ? width * shape.channels : width;
    return (samples * bitsOf(shape.depth) + 31) / 32 * 4;
}

std::int64_t bytesOf(const Shape &shape, std::int64_t width, std::int64_t height) {
    int planes = shape.order == ZYL_DATA_ORDER_PIXEL ? 1 : shape.channels;
    return rowBytes(shape, width) * height * planes;
}

} // namespace

Shape makeShape(int width, int height, int channels, std::uint32_t depth) {
    Shape shape;
    shape.width = width;
    shape.height = height;
    shape.channels = channels;
    shape.depth = depth;
    if (channels >= 3) shape.model = shape.sequence = channels == 3 ? "RGB" : "RGBA";
    if (channels == 2) shape.sequence = "GA";
    if (channels % 2 == 0) shape.alpha = channels;
    return shape;
}

std::string nameOf(std::uint32_t depth) {
    return std::to_string(bitsOf(depth)) + (depth & ZYL_DEPTH_SIGN ? "s" : "u");
}

std::string describe(const Shape &shape) {
    std::string text = std::to_string(shape.width) + " x " + std::to_string(shape.height) + ", " +
                       (shape.depth & ZYL_DEPTH_SIGN ? "signed " : "") +
                       std::to_string(bitsOf(shape.depth)) + "-bit ";
    text += shape.color() ? shape.model.substr(0, 3) : "gray";
    return shape.alpha ? text + " with alpha" : text;
}

void Image::Free::operator()(ZylImage *image) const {
    zylDeallocate(image, ZYL_DEALLOC_ALL);
}

Image::Image(const Shape &shape, Tiling tiling) : Image(shape, tiling, 0) {}

Image::Image(const Shape &shape, Tiling tiling, int fillValue) {
    std::int64_t columns = tiling ? (shape.width + tiling.width - 1) / tiling.width : 0;
    std::int64_t rows = tiling ? (shape.height + tiling.height - 1) / tiling.height : 0;
    std::int64_t tileBytes = bytesOf(shape, tiling.width, tiling.height);
    bool large =
        shape.width > std::numeric_limits<std::int32_t>::max() / 128 / shape.channels ||
        bytesOf(shape, shape.width, shape.height) > std::numeric_limits<std::int32_t>::max() - 16 ||
        tileBytes > std::numeric_limits<std::int32_t>::max() / (columns * rows + 1);
    if (large) throw Failure("a picture of " + describe(shape) + " is too large (2 GiB at most)");

    char model[5] = {}, sequence[5] = {};
    shape.model.copy(model, 4);
    shape.sequence.copy(sequence, 4);
    header_.reset(zylCreateImageHeader(shape.channels, shape.alpha, shape.depth, model, sequence,
                                       shape.order, shape.origin, ZYL_ALIGN_4, shape.height,
                                       shape.width, nullptr, nullptr, nullptr));
    if (!header_) throw std::bad_alloc();
    if (!tiling) {
        zylAllocateImage(header_.get(), fillValue);
        if (!header_->imageData) throw std::bad_alloc();
        return;
    }
    tiles_ = std::make_unique<Tiles>();
    tiles_->columns = static_cast<int>(columns);
    tiles_->blocks.assign(columns * rows, std::vector<unsigned char>(tileBytes));
    header_->tileInfo = zylCreateTileInfo(serveTile, tiles_.get(), tiling.width, tiling.height);
    if (!header_->tileInfo) throw std::bad_alloc();
}

void ZYL_CALL Image::serveTile(ZylImage *image, std::int32_t x, std::int32_t y, std::int32_t mode) {
    auto *tiles = static_cast<Tiles *>(image->tileInfo->id);
    bool release = mode == ZYL_RELEASE_TILE;
    image->tileInfo->tileData = release ? nullptr : tiles->blocks[y * tiles->columns + x].data();
}

Image Image::copy(Tiling tiling) const {
    Image result(shape(), tiling);
    zylCopy(header(), result.header(), nullptr);
    return result;
}

Shape Image::shape() const {
    const ZylImage &h = *header_;
    Shape shape;
    shape.width = h.width;
    shape.height = h.height;
    shape.channels = h.nChannels;
    shape.depth = h.depth;
    shape.model = fourCharacters(h.colorModel);
    shape.sequence = fourCharacters(h.channelSeq);
    shape.alpha = h.alphaChannel;
    shape.order = h.dataOrder;
    shape.origin = h.origin;
    return shape;
}

unsigned char *Image::row(int y) const {
    return header_->imageData + static_cast<std::ptrdiff_t>(y) * header_->widthStep;
}

void Image::setRegion(int channel, int x, int y, int width, int height) {
    if (!header_->roi) header_->roi = zylCreateROI(channel, x, y, height, width);
    if (!header_->roi) throw std::bad_alloc();
    zylSetROI(header_->roi, channel, x, y, height, width);
}

void Image::clearRegion() {
    zylDeallocate(header_.get(), ZYL_DEALLOC_ROI);
}

} // namespace tool
