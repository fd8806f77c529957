#include "convert/blocks.h"

#include <algorithm>
#include <optional>

#include "core/image.h"

namespace zylqx {

namespace {

// One image of the walk, and the part of it that is in memory: all of it, or the
// tile held at the moment.
class Side {
  public:
    Side(ZylImage &image, std::int32_t mode) : image_(image), mode_(mode), header_(image) {
        if (!isTiled(image)) endX_ = image.width, endY_ = image.height;
    }

    // Makes sure that the pixel is in memory; false when its tile was not delivered.
    bool hold(std::int32_t x, std::int32_t y) {
        if (begX_ <= x && x < endX_ && begY_ <= y && y < endY_) return true;
        const ZylTileInfo &info = *image_.tileInfo;
        const std::int32_t column = x / info.width;
        const std::int32_t row = y / info.height;
        lease_.emplace(image_, column, row, mode_); // gives the tile before back first
        if (!*lease_) return false;
        header_ = tileHeader(image_, lease_->pixels());
        begX_ = std::int64_t{column} * info.width;
        begY_ = std::int64_t{row} * info.height;
        endX_ = begX_ + info.width;
        endY_ = begY_ + info.height;
        return true;
    }

    const ZylImage &header() const { return header_; }
    // Columns to the right, and rows below or above, up to the end of that part.
    std::int64_t columnsFrom(std::int32_t x) const { return endX_ - x; }
    std::int64_t rowsFrom(std::int32_t y) const { return endY_ - y; }
    std::int64_t rowsBack(std::int32_t y) const { return y - begY_ + 1; }
    std::int32_t localX(std::int32_t x) const { return static_cast<std::int32_t>(x - begX_); }
    std::int32_t localY(std::int32_t y) const { return static_cast<std::int32_t>(y - begY_); }

  private:
    ZylImage &image_;
    std::int32_t mode_;
    std::optional<TileLease> lease_;
    ZylImage header_;
    std::int64_t begX_ = 0, endX_ = 0, begY_ = 0, endY_ = 0;
};

} // namespace

void cutRegion(BlockRegion &region, std::int64_t begX, std::int64_t endX, std::int64_t begY,
               std::int64_t endY) {
    const std::int64_t x = std::max<std::int64_t>(region.dstX, begX);
    const std::int64_t y = std::max<std::int64_t>(region.dstY, begY);
    const std::int64_t width = std::min(std::int64_t{region.dstX} + region.width, endX) - x;
    const std::int64_t height = std::min(std::int64_t{region.dstY} + region.height, endY) - y;
    if (width <= 0 || height <= 0) {
        region.width = region.height = 0;
        return;
    }
    const auto right = static_cast<std::int32_t>(x - region.dstX);
    const auto down = static_cast<std::int32_t>(y - region.dstY);
    region.srcX += right;
    region.srcY += region.flipped ? -down : down;
    region.dstX += right;
    region.dstY += down;
    region.width = static_cast<std::int32_t>(width);
    region.height = static_cast<std::int32_t>(height);
}

void cutToTile(BlockRegion &region, const ZylImage &dst, const ZylTileMapping *point) {
    if (point == nullptr || !isTiled(dst)) return;
    const std::int64_t width = dst.tileInfo->width;
    const std::int64_t height = dst.tileInfo->height;
    if (point->xDst < 0 || point->yDst < 0) {
        region.width = region.height = 0; // no tile holds it
        return;
    }
    const std::int64_t begX = point->xDst / width * width;
    const std::int64_t begY = point->yDst / height * height;
    cutRegion(region, begX, begX + width, begY, begY + height);
}

void walkBlocks(const Call &call, ZylImage &src, ZylImage &dst, const BlockRegion &region,
                BlockKernel kernel) {
    // The destination's last tile is given back before the source's.
    Side otherSource(src, ZYL_GET_TILE_TO_READ);
    Side destination(dst, ZYL_GET_TILE_TO_WRITE);
    // An image that is changed in place is not asked for a tile twice.
    Side &source = &src == &dst ? destination : otherSource;
    std::int64_t width = 0;
    std::int64_t height = 0;
    for (std::int64_t y = 0; y < region.height; y += height) {
        const auto dstY = static_cast<std::int32_t>(region.dstY + y);
        const auto srcY = static_cast<std::int32_t>(region.srcY + (region.flipped ? -y : y));
        for (std::int64_t x = 0; x < region.width; x += width) {
            const auto dstX = static_cast<std::int32_t>(region.dstX + x);
            const auto srcX = static_cast<std::int32_t>(region.srcX + x);
            if (call.fails(!destination.hold(dstX, dstY),
                           "(dstImage->tileInfo->tileData == NULL)") ||
                call.fails(!source.hold(srcX, srcY), "(srcImage->tileInfo->tileData == NULL)")) {
                return;
            }
            width = std::min(
                {region.width - x, destination.columnsFrom(dstX), source.columnsFrom(srcX)});
            height = std::min({region.height - y, destination.rowsFrom(dstY),
                               region.flipped ? source.rowsBack(srcY) : source.rowsFrom(srcY)});
            kernel({&source.header(),
                    &destination.header(),
                    {source.localX(srcX), source.localY(srcY), destination.localX(dstX),
                     destination.localY(dstY), static_cast<std::int32_t>(width),
                     static_cast<std::int32_t>(height), region.flipped}});
        }
    }
}

} // namespace zylqx
