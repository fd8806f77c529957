#include "core/walk_colour.h"

#include <algorithm>
#include <optional>

#include "core/image.h"
#include "core/scratch_image.h"
#include "core/tiles.h"

namespace zylqx {

namespace {

// The part of an image in memory from (x, y) on. For 1-bit images x is a multiple
// of 8.
ZylImage imageFrom(const ZylImage &image, std::int32_t x, std::int32_t y) {
    ZylImage part = image;
    part.imageData = sampleAt(image, x, y, 1);
    return part;
}

// Rectangles of the source, one at a time.
class SourceTiles {
  public:
    SourceTiles(const Call &call, ZylImage &image, const ZylImage &destination)
        : call_(call), image_(image), sharesTiles_(sharePixels(image, destination)) {}

    // The rectangle as an image in memory; null when it could not be had, which
    // has been reported.
    const ZylImage *rectangle(std::int32_t x, std::int32_t y, std::int32_t width,
                              std::int32_t height) {
        if (!isTiled(image_) && width <= image_.width - x && height <= image_.height - y) {
            part_ = imageFrom(image_, x, y);
            return &part_;
        }
        if (isTile(x, y, width, height)) {
            lease_.emplace(image_, x / width, y / height, ZYL_GET_TILE_TO_READ);
            if (call_.fails(!*lease_, NO_TILE)) return nullptr;
            part_ = tileHeader(image_, lease_->pixels());
            return &part_;
        }
        if (!pixels_) pixels_ = ScratchImage(image_, width, height);
        if (!pixels_) {
            call_.report(ZYL_StsNoMem, "Allocation failure");
            return nullptr;
        }
        if (call_.fails(!pixels_.readRows(image_, x, y, 0, height), NO_TILE)) return nullptr;
        return &pixels_.image();
    }

    // The rectangle is used up.
    void release() { lease_.reset(); }

  private:
    static constexpr const char *NO_TILE = "(srcImage->tileInfo->tileData == ((void*)(0)))";

    // Whether the rectangle is a whole tile, which can be taken as it is unless it is
    // written too.
    bool isTile(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) const {
        if (!isTiled(image_) || sharesTiles_) return false;
        const ZylTileInfo &tiles = *image_.tileInfo;
        return tiles.width == width && tiles.height == height && width <= image_.width - x &&
               height <= image_.height - y;
    }

    const Call &call_;
    ZylImage &image_;
    const bool sharesTiles_;
    std::optional<TileLease> lease_;
    ZylImage part_{};
    ScratchImage pixels_; // all rectangles of a walk have one size
};

} // namespace

void walkColour(const Call &call, ZylImage &src, ZylImage &dst, const std::int32_t *dstTile,
                ColourKernel kernel, InMemory inMemory) {
    if (!isTiled(src) && !isTiled(dst) && inMemory == InMemory::CommonPart) {
        kernel(src, dst, std::min(src.width, dst.width), std::min(src.height, dst.height));
        return;
    }
    SourceTiles source(call, src, dst);
    if (!isTiled(dst)) {
        const ZylImage *pixels = source.rectangle(0, 0, dst.width, dst.height);
        if (pixels != nullptr) kernel(*pixels, dst, dst.width, dst.height);
        return;
    }
    TileRange range(dst, {0, 0, dst.width, dst.height, 0});
    if (dstTile != nullptr && !range.narrow(dstTile[0], dstTile[1])) return;
    for (std::int32_t row = range.firstRow; row <= range.lastRow; ++row) {
        for (std::int32_t column = range.firstColumn; column <= range.lastColumn; ++column) {
            const TileLease lease(dst, column, row, ZYL_GET_TILE_TO_WRITE);
            if (!lease) {
                if (column == range.firstColumn) return;
                break;
            }
            const ZylImage tile = tileHeader(dst, lease.pixels());
            // An image that is changed in place is not asked for a tile twice.
            const ZylImage *pixels = &src == &dst
                                         ? &tile
                                         : source.rectangle(column * tile.width, row * tile.height,
                                                            tile.width, tile.height);
            if (pixels == nullptr) return;
            kernel(*pixels, tile, tile.width, tile.height);
            source.release();
        }
    }
}

} // namespace zylqx
