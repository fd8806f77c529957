// Tiles: the one place that calls tile callbacks, and the walks over tiles.
//
// Several walks exist, and they differ on purpose: in which order tiles are asked for,
// how many are held at a time and what is reported are parts of what an operation
// promises. "dst" is the destination, "src" a source. All walks take tiles row by row,
// each row from left to right; with a tile or a point as argument, one tile alone.
//
//   walk                 operations                 asks for, and holds
//   walkPieces           arithmetic, logic,         bands of rows that no tile of any image
//                        threshold                  cuts; in each, a tile of every source,
//                                                   then of dst, until the next is needed
//   walkTiles            set, histograms,           the tiles of one image, one at a time
//                        norms of one image
//   walkTilePairs        look-ups, norms of two,    for each tile of one image (dst, or the
//                        copy and exchange with     first of a norm) those of the other,
//                        one tiled image            while it is held
//   forEachTile          copy and exchange          never two tiles: the tiles of src, into
//   in arith/copy.cpp    between tiled images       a buffer, then one of dst
//   walkBlocks           depths, bits to gray,      for each rectangle in one tile of either
//                        colour twist               a tile of dst, then of src, until
//                                                   another one of that image is needed
//   walkColour           colour models, bit         each tile of dst, and while it is held
//                        reduction                  those of src, borders included
//   walkNeighbourhoods   filters                    the tiles of src once each, ahead in
//                                                   bands; each tile of dst, alone
//   walkDestination      zoom, decimation,          the tiles of src that a tile of dst is
//                        rotation, mirror           made of, then this one alone
//   GridWalk             scaled products,           a tile of every image for each tile of
//                        compositing                the first tiled one; images with other
//                                                   tiles in a buffer
//
//   walk                 reports a tile that is not          and exhausted memory
//                        delivered as
//   walkPieces           ZYL_StsBadArg, "(NAME->tileInfo->   -
//                        tileData == ((void*)(0)))"
//   walkTiles, Pairs,    ZYL_StsError, "Error get tile to    not at all
//   copy and exchange    read" or "... write"
//   walkBlocks           ZYL_StsBadArg, "(NAME->tileInfo->   -
//                        tileData == NULL)"
//   walkColour           of src: as walkPieces; of dst:      ZYL_StsNoMem, "Allocation
//                        not at all, and it ends its row     failure"
//                        of tiles, or all if it is the
//                        first of its row
//   walkNeighbourhoods   as walkTiles                        as the operation says
//   walkDestination      as walkTiles; mirror as walkPieces  not at all
//   GridWalk             ZYL_StsError, "ERROR in Tiling      the same
//                        callBack"
//
// Either ends the walk, but for what is said of walkColour; what was written before
// stays. The tiles held are given back then, but those of walkPieces stay with the
// application. walkPieces and GridWalk also report a tile that is not taken back, the
// others do not look.
//
// A new operation takes walkPieces when every result comes from the samples at its own
// place, walkNeighbourhoods when it looks around itself, and walkDestination when its
// results come from anywhere.
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

// Cuts a pair to a tile of its destination, or, if there is a point and the destination
// is tiled, to the tile that holds it.
void cutToTile(PairedArea &pair, const TileBounds &tile);
void cutToTile(PairedArea &pair, const ZylImage &dst, const ZylTileMapping *point);

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

// How an operation reports a tile that is not delivered.
struct TileReport {
    ZylStatus status;
    const char *read, *write;

    void noTile(const Call &call, std::int32_t mode) const {
        call.report(status, mode == ZYL_GET_TILE_TO_READ ? read : write);
    }
};
constexpr TileReport TRANSFER_REPORT = {ZYL_StsError, "Error get tile to read",
                                        "Error get tile to write"};

// Calls process(header) with one tile as an image in memory; false, with a
// report, when the tile is not delivered.
template <class F>
bool withTile(const Call &call, ZylImage &image, const TilePart &part, std::int32_t mode,
              F process) {
    const TileLease tile(image, part.column, part.row, mode);
    if (!tile) {
        TRANSFER_REPORT.noTile(call, mode);
        return false;
    }
    process(tileHeader(image, tile.pixels()));
    return true;
}

} // namespace zylqx

#endif
