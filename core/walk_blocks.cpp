#include "core/walk_blocks.h"

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
        if (!isTiled(image)) held_ = {0, image.width, 0, image.height};
    }

    // Makes sure that the pixel is in memory; false when its tile was not delivered.
    bool hold(std::int32_t x, std::int32_t y) {
        if (held_.begX <= x && x < held_.endX && held_.begY <= y && y < held_.endY) return true;
        const ZylTileInfo &info = *image_.tileInfo;
        const TileIndex tile = tileAt(info, {x, y});
        lease_.emplace(image_, tile.column, tile.row, mode_); // gives the tile before back first
        if (!*lease_) return false;
        header_ = tileHeader(image_, lease_->pixels());
        held_ = tileBounds(info, tile);
        return true;
    }

    const ZylImage &header() const { return header_; }
    // Columns to the right, and rows below or above, up to the end of that part.
    std::int64_t columnsFrom(std::int32_t x) const { return held_.endX - x; }
    std::int64_t rowsFrom(std::int32_t y) const { return held_.endY - y; }
    std::int64_t rowsBack(std::int32_t y) const { return y - held_.begY + 1; }
    std::int32_t localX(std::int32_t x) const { return static_cast<std::int32_t>(x - held_.begX); }
    std::int32_t localY(std::int32_t y) const { return static_cast<std::int32_t>(y - held_.begY); }

  private:
    ZylImage &image_;
    std::int32_t mode_;
    std::optional<TileLease> lease_;
    ZylImage header_;
    TileBounds held_{};
};

} // namespace

void walkBlocks(const Call &call, ZylImage &src, ZylImage &dst, const PairedArea &region,
                BlockKernel kernel) {
    if (region.empty()) return;
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
                     destination.localY(dstY), width, height, region.flipped}});
        }
    }
}

} // namespace zylqx
