#include "core/walk_neighbourhoods.h"

#include <algorithm>
#include <cstring>

#include "core/image.h"
#include "core/scratch_image.h"
#include "core/tiles.h"

namespace zylqx {

namespace {

// Rows of a band where no tiles give one.
constexpr std::int64_t BAND = 128;

// Whether a pixel of one image is the same pixel of the other.
bool sameLayout(const ZylImage &a, const ZylImage &b) {
    return a.imageData == b.imageData && a.tileInfo == b.tileInfo && a.width == b.width &&
           a.height == b.height && a.widthStep == b.widthStep && a.depth == b.depth &&
           a.nChannels == b.nChannels && a.dataOrder == b.dataOrder;
}

// Copies `count` rows between two images of one format, also when they are one.
void moveRows(const ZylImage &to, std::int64_t toRow, const ZylImage &from, std::int64_t fromRow,
              std::int64_t count) {
    const int planes = isPlanar(to) ? to.nChannels : 1;
    for (int p = 0; p < planes; ++p) {
        std::memmove(to.imageData + p * planeStep(to) + toRow * to.widthStep,
                     from.imageData + p * planeStep(from) + fromRow * from.widthStep,
                     static_cast<std::size_t>(count * to.widthStep));
    }
}

// Rows [first, end) of a source, as far as they are held.
class Window {
  public:
    // Columns from x on, rows [y, end); at most `band` rows and the box's
    // are needed at a time.
    Window(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t columns, std::int64_t rows,
           std::int64_t held)
        : image_(image), x_(x), first_(y), next_(y), end_(y + rows),
          pixels_(image, columns, std::min(rows, capacity(image, held))) {}

    // Reads what lies below the image, while that which it is made of is unchanged.
    WalkResult readBottom() {
        const std::int64_t y = std::max<std::int64_t>(next_, image_.height);
        if (y >= end_) return WalkResult::Done;
        bottom_ = ScratchImage(image_, pixels_.image().width, end_ - y);
        if (!bottom_) return WalkResult::NoMemory;
        return bottom_.readRows(image_, x_, y, 0, end_ - y) ? WalkResult::Done
                                                            : WalkResult::NoTileToRead;
    }

    explicit operator bool() const { return static_cast<bool>(pixels_); }

    // Makes rows [y, y + count) available, and lets go of those above if others need
    // their place. Tiles are read whole, so that each is asked for once.
    bool slideTo(std::int64_t y, std::int64_t count) {
        if (next_ >= y + count) return true;
        ZylImage &held = pixels_.image();
        std::int64_t end = y + count;
        if (isTiled(image_) && end < image_.height) {
            const std::int64_t tile = image_.tileInfo->height;
            end = std::min((end + tile - 1) / tile * tile, end_);
        }
        if (end > first_ + held.height) {
            const std::int64_t kept = std::max<std::int64_t>(next_ - y, 0);
            if (kept > 0) moveRows(held, 0, held, y - first_, kept);
            first_ = y;
            next_ = y + kept;
            end = std::min(end, first_ + held.height);
        }
        const std::int64_t inside =
            bottom_ ? std::clamp<std::int64_t>(image_.height, next_, end) : end;
        if (!pixels_.readRows(image_, x_, next_, next_ - first_, inside - next_)) return false;
        if (end > inside) {
            const std::int64_t top = end_ - bottom_.image().height;
            moveRows(held, inside - first_, bottom_.image(), inside - top, end - inside);
        }
        next_ = end;
        return true;
    }

    ZylImage &image() { return pixels_.image(); }
    std::int64_t first() const { return first_; }

  private:
    // Of tiles, twice as many rows as are needed with those read ahead: then few rows
    // are moved.
    static std::int64_t capacity(const ZylImage &image, std::int64_t held) {
        return isTiled(image) ? 2 * (held + image.tileInfo->height) : held;
    }

    ZylImage &image_;
    const std::int64_t x_;
    std::int64_t first_, next_;
    const std::int64_t end_;
    ScratchImage pixels_;
    ScratchImage bottom_;
};

class NeighbourWalk {
  public:
    NeighbourWalk(ZylImage &srcImage, ZylImage &dstImage, const PairedArea &block, const Box &box,
                  NeighbourKernel visit)
        : src_(srcImage), dst_(dstImage), block_(block), box_(box), visit_(visit) {}

    WalkResult run();

  private:
    std::int64_t bandHeight(std::int64_t y, bool copied, bool shared) const;
    WalkResult band(ZylImage &source, std::int64_t boxX, std::int64_t boxY, std::int64_t y,
                    std::int64_t height);

    ZylImage &src_;
    ZylImage &dst_;
    const PairedArea &block_;
    const Box &box_;
    NeighbourKernel visit_;
};

// Rows from row y of the block on that are computed together.
std::int64_t NeighbourWalk::bandHeight(std::int64_t y, bool copied, bool shared) const {
    const std::int64_t rest = block_.height - y;
    const bool moved = block_.srcX != block_.dstX || block_.srcY != block_.dstY;
    if (isTiled(dst_)) {
        const std::int64_t tile = dst_.tileInfo->height;
        return std::min(rest, tile - (block_.dstY + y) % tile);
    }
    if (!copied) return rest;
    // Pixels that are written where others are still to be read.
    if (shared && (moved || !sameLayout(src_, dst_))) return rest;
    const std::int64_t step = isTiled(src_) ? src_.tileInfo->height : std::max(BAND, box_.rows);
    return std::min(rest, step);
}

WalkResult NeighbourWalk::run() {
    const bool shared = sharePixels(src_, dst_);
    const bool copied = shared || isTiled(src_);
    const std::int64_t boxX = block_.srcX - box_.anchorX;
    const std::int64_t boxY = block_.srcY - box_.anchorY;
    if (!copied) {
        for (std::int64_t y = 0; y < block_.height;) {
            const std::int64_t height = bandHeight(y, false, false);
            const WalkResult walked = band(src_, boxX, boxY + y, y, height);
            if (walked != WalkResult::Done) return walked;
            y += height;
        }
        return WalkResult::Done;
    }

    const bool moved = block_.srcX != block_.dstX || block_.srcY != block_.dstY;
    const bool all = shared && (moved || !sameLayout(src_, dst_));
    const std::int64_t most =
        all ? block_.height
            : std::min(block_.height, isTiled(dst_) ? std::int64_t{dst_.tileInfo->height}
                                                    : bandHeight(0, true, shared));
    Window window(src_, boxX, boxY, block_.width + box_.columns - 1, block_.height + box_.rows - 1,
                  most + box_.rows - 1);
    if (!window) return WalkResult::NoMemory;
    if (shared) {
        const WalkResult read = window.readBottom();
        if (read != WalkResult::Done) return read;
    }
    if (all && !window.slideTo(boxY, block_.height + box_.rows - 1))
        return WalkResult::NoTileToRead;
    for (std::int64_t y = 0; y < block_.height;) {
        const std::int64_t height = bandHeight(y, true, shared);
        if (!all && !window.slideTo(boxY + y, height + box_.rows - 1)) {
            return WalkResult::NoTileToRead;
        }
        const WalkResult walked = band(window.image(), 0, boxY + y - window.first(), y, height);
        if (walked != WalkResult::Done) return walked;
        y += height;
    }
    return WalkResult::Done;
}

WalkResult NeighbourWalk::band(ZylImage &source, std::int64_t boxX, std::int64_t boxY,
                               std::int64_t y, std::int64_t height) {
    const std::int64_t dstY = block_.dstY + y;
    if (!isTiled(dst_)) {
        const NeighbourPiece piece = {source,      boxX, boxY,         dst_,
                                      block_.dstX, dstY, block_.width, height};
        return visit_(piece) ? WalkResult::Done : WalkResult::NoMemory;
    }
    const std::int64_t tileWidth = dst_.tileInfo->width;
    const std::int64_t row = dstY / dst_.tileInfo->height;
    for (std::int64_t x = 0; x < block_.width;) {
        const std::int64_t dstX = block_.dstX + x;
        const std::int64_t inTile = dstX % tileWidth;
        const std::int64_t width = std::min(block_.width - x, tileWidth - inTile);
        const TileLease tile(dst_, static_cast<std::int32_t>(dstX / tileWidth),
                             static_cast<std::int32_t>(row), ZYL_GET_TILE_TO_WRITE);
        if (!tile) return WalkResult::NoTileToWrite;
        const ZylImage header = tileHeader(dst_, tile.pixels());
        const NeighbourPiece piece = {source, boxX + x, boxY,
                                      header, inTile,   dstY - row * dst_.tileInfo->height,
                                      width,  height};
        if (!visit_(piece)) return WalkResult::NoMemory;
        x += width;
    }
    return WalkResult::Done;
}

} // namespace

WalkResult walkNeighbourhoods(ZylImage &srcImage, ZylImage &dstImage, PairedArea block,
                              const Box &box, const ZylTileMapping *mapping,
                              NeighbourKernel visit) {
    cutToTile(block, dstImage, mapping);
    if (block.empty()) return WalkResult::Done;
    return NeighbourWalk(srcImage, dstImage, block, box, visit).run();
}

bool reportTiles(const Call &call, WalkResult result) {
    if (result == WalkResult::NoTileToRead) {
        TRANSFER_REPORT.noTile(call, ZYL_GET_TILE_TO_READ);
        return true;
    }
    if (result == WalkResult::NoTileToWrite) {
        TRANSFER_REPORT.noTile(call, ZYL_GET_TILE_TO_WRITE);
        return true;
    }
    return false;
}

} // namespace zylqx
