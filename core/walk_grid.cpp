#include "core/walk_grid.h"

#include <algorithm>
#include <cstring>

#include "core/tiles.h"

namespace zylqx {

namespace {

// No more columns and rows than this are processed.
constexpr std::int32_t MOST_PIXELS = 99999;

// Copies the pixels of an area to those at (x, y) of another image in memory, of
// the same depth, channels and data order.
void copyArea(const ZylImage &from, const Area &area, const ZylImage &to, std::int32_t x,
              std::int32_t y) {
    const int planes = isPlanar(from) ? from.nChannels : 1;
    const auto bytes =
        static_cast<std::size_t>(area.width * pixelStep(from) * sampleBytes(from.depth));
    for (int plane = 1; plane <= planes; ++plane) {
        for (std::int32_t row = 0; row < area.height; ++row) {
            std::memcpy(sampleAt(to, x, y + row, plane),
                        sampleAt(from, area.x, area.y + row, plane), bytes);
        }
    }
}

// Copies an area of a tiled image into a buffer, or back. False when a tile was
// not delivered or not taken back.
bool copyTiles(ZylImage &image, const Area &area, const ZylImage &buffer, bool back) {
    return forEachTile(image, area, nullptr, [&](const TilePart &part) {
        TileLease lease(image, part.column, part.row,
                        back ? ZYL_GET_TILE_TO_WRITE : ZYL_GET_TILE_TO_READ);
        if (!lease) return false;
        const ZylImage tile = tileHeader(image, lease.pixels());
        const Area inBuffer = {part.dx, part.dy, part.inTile.width, part.inTile.height, 0};
        if (back) {
            copyArea(buffer, inBuffer, tile, part.inTile.x, part.inTile.y);
        } else {
            copyArea(tile, part.inTile, buffer, part.dx, part.dy);
        }
        return lease.release();
    });
}

} // namespace

GridWalk::GridWalk(const Call &call, const GridOperand *operands, int count,
                   const ZylTileMapping *mapping)
    : call_(call),
      count_(count), columns_{0, MOST_PIXELS}, rows_{0, MOST_PIXELS}, blockX_{0, 0}, blockY_{0, 0} {
    const bool tiled = isTiled(*operands[0].image); // the destination; others may be null
    for (int i = 0; i < count; ++i) {
        Member &member = members_[i];
        member.operand = operands[i];
        ZylImage *image = operands[i].image;
        if (image == nullptr) continue;
        for (int k = i - 1; k >= 0; --k) {
            if (operands[k].image == image) member.same = k;
        }
        const Area area = clippedArea(*image);
        member.x0 = area.x;
        member.y0 = area.y;
        columns_.end = std::min(columns_.end, area.width);
        rows_.end = std::min(rows_.end, area.height);
        if (master_ == nullptr && isTiled(*image)) master_ = &member;
    }
    if (mapping != nullptr && tiled) restrictTo(*mapping);
}

void GridWalk::restrictTo(const ZylTileMapping &mapping) {
    const Member &destination = members_[0];
    const ZylTileInfo &info = *destination.operand.image->tileInfo;
    const auto cut = [](Interval &interval, std::int64_t begin, std::int64_t end) {
        begin = std::clamp<std::int64_t>(begin, interval.begin, interval.end);
        end = std::clamp<std::int64_t>(end, begin, interval.end);
        interval = {static_cast<std::int32_t>(begin), static_cast<std::int32_t>(end)};
    };
    const TileBounds tile = tileBounds(info, tileAt(info, mapping));
    cut(columns_, tile.begX - destination.x0, tile.endX - destination.x0);
    cut(rows_, tile.begY - destination.y0, tile.endY - destination.y0);
}

const GridPixels &GridWalk::pixels(int operand) const {
    const Member &member = members_[operand];
    return member.same >= 0 ? members_[member.same].pixels : member.pixels;
}

bool GridWalk::fail() {
    call_.report(ZYL_StsError, "ERROR in Tiling callBack");
    return false;
}

bool GridWalk::next() {
    if (!finishAll()) return fail();
    if (!advance()) return false;
    for (int i = 0; i < count_; ++i) {
        Member &member = members_[i];
        if (!isProvided(member)) continue;
        const Area area = {member.x0 + blockX_.begin, member.y0 + blockY_.begin,
                           blockX_.end - blockX_.begin, blockY_.end - blockY_.begin, 0};
        if (provide(member, area)) continue;
        // What was provided is given back unchanged.
        for (Member &held : members_) {
            if (held.holding == Holding::Buffer) held.holding = Holding::Nothing;
        }
        finishAll();
        return fail();
    }
    joinRows();
    return true;
}

// Rows that follow each other without a gap, in all images, become one.
void GridWalk::joinRows() {
    for (int i = 0; i < count_; ++i) {
        if (!isProvided(members_[i])) continue;
        if (!isContiguous(members_[i].pixels.image_, members_[i].pixels.area_)) return;
    }
    for (int i = 0; i < count_; ++i) {
        if (isProvided(members_[i])) zylqx::joinRows(members_[i].pixels.area_);
    }
}

// Moves to the next block of the master's grid, row by row.
bool GridWalk::advance() {
    const auto from = [](std::int32_t begin, const Interval &whole, std::int32_t offset,
                         std::int32_t tile) {
        const std::int32_t left = tile - (offset + begin) % tile;
        return Interval{begin, whole.end - begin < left ? whole.end : begin + left};
    };
    if (!started_) {
        started_ = true;
        if (columns_.begin >= columns_.end || rows_.begin >= rows_.end) return false;
        if (master_ == nullptr) {
            blockX_ = columns_;
            blockY_ = rows_;
            return true;
        }
        const ZylTileInfo &info = *master_->operand.image->tileInfo;
        blockX_ = from(columns_.begin, columns_, master_->x0, info.width);
        blockY_ = from(rows_.begin, rows_, master_->y0, info.height);
        return true;
    }
    if (master_ == nullptr) return false;
    const ZylTileInfo &info = *master_->operand.image->tileInfo;
    if (blockX_.end < columns_.end) {
        blockX_ = from(blockX_.end, columns_, master_->x0, info.width);
        return true;
    }
    if (blockY_.end >= rows_.end) return false;
    blockX_ = from(columns_.begin, columns_, master_->x0, info.width);
    blockY_ = from(blockY_.end, rows_, master_->y0, info.height);
    return true;
}

bool GridWalk::provide(Member &member, const Area &area) {
    ZylImage &image = *member.operand.image;
    if (!isTiled(image)) {
        member.pixels.image_ = image;
        member.pixels.area_ = area;
        return true;
    }
    const TileRange range(image, area);
    if (range.firstColumn != range.lastColumn || range.firstRow != range.lastRow) {
        return provideBuffer(member, area);
    }
    member.tileColumn = range.firstColumn;
    member.tileRow = range.firstRow;
    if (!requestTile(image, member.tileColumn, member.tileRow,
                     member.operand.written ? ZYL_GET_TILE_TO_WRITE : ZYL_GET_TILE_TO_READ)) {
        return false;
    }
    member.holding = Holding::Tile;
    member.pixels.image_ = tileHeader(image, image.tileInfo->tileData);
    member.pixels.area_ = tilePart(image, area, member.tileColumn, member.tileRow).inTile;
    return true;
}

bool GridWalk::provideBuffer(Member &member, const Area &area) {
    ZylImage &image = *member.operand.image;
    ScratchImage &buffer = member.buffer.emplace(image, area.width, area.height);
    if (!buffer || !copyTiles(image, area, buffer.image(), false)) return false;
    member.holding = Holding::Buffer;
    member.pixels.image_ = buffer.image();
    member.pixels.area_ = {0, 0, area.width, area.height, 0};
    return true;
}

bool GridWalk::finish(Member &member) {
    const Holding holding = member.holding;
    member.holding = Holding::Nothing;
    if (holding == Holding::Tile) {
        return releaseTile(*member.operand.image, member.tileColumn, member.tileRow);
    }
    if (holding == Holding::Nothing || !member.operand.written) return true;
    const Area area = {member.x0 + blockX_.begin, member.y0 + blockY_.begin,
                       blockX_.end - blockX_.begin, blockY_.end - blockY_.begin, 0};
    return copyTiles(*member.operand.image, area, member.pixels.image_, true);
}

bool GridWalk::finishAll() {
    bool taken = true;
    for (int i = 0; i < count_; ++i) taken = finish(members_[i]) && taken;
    return taken;
}

} // namespace zylqx
