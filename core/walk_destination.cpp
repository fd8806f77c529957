#include "core/walk_destination.h"

#include <algorithm>

namespace zylqx {

SourceRect::SourceRect(const Call &call, const TileReport &report, ZylImage &image,
                       const Area &rect)
    : copy_(std::in_place, image, std::max(rect.width, 1), std::max(rect.height, 1)),
      pixels_(copy_->image()), left_(rect.x), top_(rect.y) {
    pixels_.imageData = nullptr;
    if (!*copy_) return;
    if (!rect.empty() && !copy_->readRows(image, rect.x, rect.y, 0, rect.height)) {
        report.noTile(call, ZYL_GET_TILE_TO_READ);
        return;
    }
    pixels_.imageData = copy_->image().imageData;
}

MappedTile::MappedTile(const ZylImage &image, const ZylTileMapping *mapping)
    : given_(mapping != nullptr && isTiled(image)) {
    if (!given_) return;
    const TileIndex tile = tileAt(*image.tileInfo, *mapping);
    index_[0] = tile.column;
    index_[1] = tile.row;
}

} // namespace zylqx
