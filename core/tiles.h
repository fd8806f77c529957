// Tiles: the one place that calls tile callbacks, the walk over the tiles of one
// image, and the walk that cuts the common rectangle of several images into
// pieces.
//
// A piece is a rectangle that lies in one tile (or in memory) of every image.
// It is handed on as ordinary headers: pixels in memory, and a region for the
// rectangle. So whatever processes images in memory processes pieces.
#ifndef ZYLQX_CORE_TILES_H
#define ZYLQX_CORE_TILES_H

#include "core/call.h"
#include "core/region.h"

namespace zylqx {

// Asks for a tile (mode ZYL_GET_TILE_TO_READ or ..._WRITE); true when its pixels
// are there.
bool requestTile(ZylImage &image, std::int32_t column, std::int32_t row, std::int32_t mode);

// Gives a tile back; true when the callback has taken it.
bool releaseTile(ZylImage &image, std::int32_t column, std::int32_t row);

// A tile held for the length of a scope.
class TileLease {
  public:
    TileLease(ZylImage &image, std::int32_t column, std::int32_t row, std::int32_t mode)
        : image_(image), column_(column), row_(row),
          pixels_(requestTile(image, column, row, mode) ? image.tileInfo->tileData : nullptr) {}
    TileLease(const TileLease &) = delete;
    TileLease &operator=(const TileLease &) = delete;
    ~TileLease() { release(); }

    explicit operator bool() const { return pixels_ != nullptr; }
    unsigned char *pixels() const { return pixels_; }

    // Gives the tile back before the scope ends; true when the callback took it.
    bool release() {
        if (pixels_ == nullptr) return true;
        pixels_ = nullptr;
        return releaseTile(image_, column_, row_);
    }

  private:
    ZylImage &image_;
    std::int32_t column_, row_;
    unsigned char *pixels_;
};

// The header of one tile of a tiled image as an image in memory, without region.
ZylImage tileHeader(const ZylImage &image, unsigned char *pixels);

struct TileIndex {
    std::int32_t column, row;
};

// The tile that holds a point: (-1, -1), which no image has, when a coordinate is
// negative.
TileIndex tileAt(const ZylTileInfo &info, const ZylTileMapping &point);

// Where a tile lies in its image; the ends are exclusive.
struct TileBounds {
    std::int64_t begX, endX, begY, endY;
};
TileBounds tileBounds(const ZylTileInfo &info, TileIndex tile);

// What of an area lies in one tile.
struct TilePart {
    std::int32_t column, row;
    Area inTile;         // in the tile's own coordinates
    std::int32_t dx, dy; // from the area's corner

    // The matching part of another image's area.
    Area of(const Area &area) const {
        return {area.x + dx, area.y + dy, inTile.width, inTile.height, area.coi};
    }
};

// The tiles that an area of a tiled image touches: all of them, or one alone.
struct TileRange {
    std::int32_t firstColumn, lastColumn;
    std::int32_t firstRow, lastRow;

    TileRange(const ZylImage &image, const Area &area)
        : firstColumn(area.x / image.tileInfo->width),
          lastColumn((area.x + area.width - 1) / image.tileInfo->width),
          firstRow(area.y / image.tileInfo->height),
          lastRow((area.y + area.height - 1) / image.tileInfo->height) {}

    // False when the tile is none of them.
    bool narrow(std::int32_t column, std::int32_t row) {
        if (column < firstColumn || column > lastColumn || row < firstRow || row > lastRow) {
            return false;
        }
        firstColumn = lastColumn = column;
        firstRow = lastRow = row;
        return true;
    }
};

// The part of an area that lies in a tile.
TilePart tilePart(const ZylImage &image, const Area &area, std::int32_t column, std::int32_t row);

// Calls visit(part) for the tiles of a tiled image's area, which is not empty,
// row by row, until it returns false; for one of these tiles alone if `only`
// (column and row) names it, for none if it names another. False when a visit
// ended the walk.
template <class F>
bool forEachTile(const ZylImage &image, const Area &area, const std::int32_t *only, F visit) {
    TileRange range(image, area);
    if (only != nullptr && !range.narrow(only[0], only[1])) return true;
    for (std::int32_t row = range.firstRow; row <= range.lastRow; ++row) {
        for (std::int32_t column = range.firstColumn; column <= range.lastColumn; ++column) {
            if (!visit(tilePart(image, area, column, row))) return false;
        }
    }
    return true;
}

// Calls process(header) with one tile as an image in memory; false, with a
// report, when the tile is not delivered.
template <class F>
bool withTile(const Call &call, ZylImage &image, const TilePart &part, std::int32_t mode,
              F process) {
    const TileLease tile(image, part.column, part.row, mode);
    if (!tile) {
        call.report(ZYL_StsError, mode == ZYL_GET_TILE_TO_READ ? "Error get tile to read"
                                                               : "Error get tile to write");
        return false;
    }
    process(tileHeader(image, tile.pixels()));
    return true;
}

} // namespace zylqx

#endif
