// The walk of geometric operations: pieces of the destination, each with the part of
// the source that it comes from.
#ifndef ZYLQX_CORE_WALK_DESTINATION_H
#define ZYLQX_CORE_WALK_DESTINATION_H

#include <optional>

#include "core/call.h"
#include "core/image.h"
#include "core/region.h"
#include "core/scratch_image.h"
#include "core/tiles.h"

namespace zylqx {

// A rectangle of an image in memory: the image's own pixels, or a copy of what is
// held in tiles or will be overwritten.
class SourceRect {
  public:
    // The whole image, which is in memory.
    explicit SourceRect(const ZylImage &image) : pixels_(image) {}

    // A copy of a rectangle inside the image; not valid when memory is exhausted
    // or, with a report, when a tile is not delivered.
    SourceRect(const Call &call, const TileReport &report, ZylImage &image, const Area &rect);

    explicit operator bool() const { return pixels_.imageData != nullptr; }

    // Position of the rectangle in its image.
    std::int32_t left() const { return left_; }
    std::int32_t top() const { return top_; }

    // The samples of a channel in row y of the image start here, with column
    // left().
    const unsigned char *row(std::int32_t y, int channel) const {
        return sampleAt(pixels_, 0, std::ptrdiff_t{y} - top_, channel);
    }
    // Bytes from there to the end of the row. Not for 1-bit samples.
    std::ptrdiff_t rowBytes(int channel) const {
        const std::ptrdiff_t samples = pixels_.width * pixelStep(pixels_);
        return (isPlanar(pixels_) ? samples : samples - channel + 1) * sampleBytes(pixels_.depth);
    }
    // The pixels as an image.
    const ZylImage &image() const { return pixels_; }

  private:
    std::optional<ScratchImage> copy_;
    ZylImage pixels_;
    std::int32_t left_ = 0, top_ = 0;
};

// A part of the destination block, in memory.
struct DstPiece {
    ZylImage image;      // the destination, or one of its tiles
    Area area;           // in `image`
    std::int32_t dx, dy; // from the block's corner

    unsigned char *row(std::int32_t y, int channel) const {
        return sampleAt(image, area.x, area.y + std::ptrdiff_t{y}, channel);
    }
};

// What of a source a part of the block, at (dx, dy) and of this size, comes from.
// May be empty.
struct PartOfBlock {
    std::int32_t dx, dy, width, height;
};

// Calls process(source, piece) for the pieces of a block of the destination: one
// in memory, else one for each tile, row by row; or for the tile `only` alone.
// needed(part) is the rectangle of the source that a part of the block comes
// from; it is copied when the source is tiled, and when the source is the
// destination, then for the whole block at once. process returns false to end
// the call.
template <class Needed, class Process>
void walkDestination(const Call &call, const TileReport &report, ZylImage &src, ZylImage &dst,
                     const Area &block, const std::int32_t *only, Needed needed, Process process) {
    const bool inPlace = sharePixels(src, dst);
    const PartOfBlock all = {0, 0, block.width, block.height};
    auto read = [&](const PartOfBlock &part) {
        return isTiled(src) || inPlace ? SourceRect(call, report, src, needed(part))
                                       : SourceRect(src);
    };
    if (!isTiled(dst)) {
        if (const SourceRect source = read(all)) process(source, DstPiece{dst, block, 0, 0});
        return;
    }
    // No tile of the source is held together with one of the destination: both may
    // be the same tiles.
    auto visit = [&](const SourceRect &source, const TilePart &part) {
        if (!source) return false;
        TileLease tile(dst, part.column, part.row, ZYL_GET_TILE_TO_WRITE);
        if (!tile) {
            report.noTile(call, ZYL_GET_TILE_TO_WRITE);
            return false;
        }
        return process(source,
                       DstPiece{tileHeader(dst, tile.pixels()), part.inTile, part.dx, part.dy});
    };
    if (inPlace) {
        const SourceRect source = read(all);
        forEachTile(dst, block, only, [&](const TilePart &part) { return visit(source, part); });
        return;
    }
    forEachTile(dst, block, only, [&](const TilePart &part) {
        const SourceRect source = read({part.dx, part.dy, part.inTile.width, part.inTile.height});
        return visit(source, part);
    });
}

// The tile of an image that a mapping names, as walkDestination() takes it.
class MappedTile {
  public:
    MappedTile(const ZylImage &image, const ZylTileMapping *mapping);
    // Column and row; null for every tile.
    const std::int32_t *index() const { return given_ ? index_ : nullptr; }

  private:
    bool given_;
    std::int32_t index_[2] = {};
};

} // namespace zylqx

#endif
