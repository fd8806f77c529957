// Walks of copying, histograms, look-ups and norms: the tiles of one image that an area
// touches, and, inside each of them, those of another image.
#ifndef ZYLQX_CORE_WALK_TILES_H
#define ZYLQX_CORE_WALK_TILES_H

#include "core/image.h"
#include "core/region.h"
#include "core/tiles.h"
#include "core/view.h"

namespace zylqx {

// Pixels in memory, of an image or of one of its tiles.
struct TilePiece {
    const ZylImage *image; // without tiles
    Area area;
    std::int32_t dx, dy; // from the corner of the area that is walked
};

template <class T>
View<T> channelView(const TilePiece &piece, int channel) {
    const Area &area = piece.area;
    return channelView<T>(*piece.image, area.x, area.y, area.width, area.height, channel);
}

// Rows that follow each other without a gap, in all pieces, become one.
template <class... Pieces>
void joinRows(Pieces &...pieces) {
    if ((isContiguous(*pieces.image, pieces.area) && ...)) (joinRows(pieces.area), ...);
}

// Calls visit(piece) for an area of an image in memory, or for the part of it in
// each tile, until it returns false; with `only` (column, row), for this tile
// alone. False when visit() was false or a tile was not delivered, which is
// reported.
template <class Visit>
bool walkTiles(const Call &call, ZylImage &image, const Area &area, std::int32_t mode,
               const std::int32_t *only, Visit visit) {
    if (area.empty()) return true;
    if (!isTiled(image)) return visit(TilePiece{&image, area, 0, 0});
    return forEachTile(image, area, only, [&](const TilePart &part) {
        bool more = false;
        return withTile(call, image, part, mode,
                        [&](const ZylImage &tile) {
                            more = visit(TilePiece{&tile, part.inTile, part.dx, part.dy});
                        }) &&
               more;
    });
}

// One image of a walk over two.
struct WalkedImage {
    ZylImage *image;
    Area area; // both of the same size
    std::int32_t mode;
};

// Calls visit(outerPiece, innerPiece) for the pieces that the tiles of both
// images cut. `only` names a tile of the outer image. The same header twice is
// one image, whose tiles are asked for once, in the outer mode.
template <class Visit>
bool walkTilePairs(const Call &call, const WalkedImage &outer, const WalkedImage &inner,
                   const std::int32_t *only, Visit visit) {
    return walkTiles(call, *outer.image, outer.area, outer.mode, only, [&](const TilePiece &piece) {
        if (outer.image == inner.image) return visit(piece, piece);
        const Area matching = {inner.area.x + piece.dx, inner.area.y + piece.dy, piece.area.width,
                               piece.area.height, inner.area.coi};
        return walkTiles(
            call, *inner.image, matching, inner.mode, nullptr, [&](const TilePiece &innerPiece) {
                const Area &area = innerPiece.area;
                const TilePiece part = {piece.image,
                                        {piece.area.x + innerPiece.dx, piece.area.y + innerPiece.dy,
                                         area.width, area.height, piece.area.coi},
                                        piece.dx + innerPiece.dx,
                                        piece.dy + innerPiece.dy};
                return visit(part, innerPiece);
            });
    });
}

} // namespace zylqx

#endif
