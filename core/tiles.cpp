#include "core/tiles.h"

#include <algorithm>

#include "core/image.h"

namespace zylqx {

bool requestTile(ZylImage &image, std::int32_t column, std::int32_t row, std::int32_t mode) {
    image.tileInfo->callBack(&image, column, row, mode);
    return image.tileInfo->tileData != nullptr;
}

bool releaseTile(ZylImage &image, std::int32_t column, std::int32_t row) {
    image.tileInfo->callBack(&image, column, row, ZYL_RELEASE_TILE);
    return image.tileInfo->tileData == nullptr;
}

ZylImage tileHeader(const ZylImage &image, unsigned char *pixels) {
    ZylImage tile = memoryHeader(image, image.tileInfo->width, image.tileInfo->height);
    tile.imageData = pixels;
    return tile;
}

TileIndex tileAt(const ZylTileInfo &info, const ZylTileMapping &point) {
    if (point.xDst < 0 || point.yDst < 0) return {-1, -1};
    return {point.xDst / info.width, point.yDst / info.height};
}

TileBounds tileBounds(const ZylTileInfo &info, TileIndex tile) {
    const std::int64_t x = std::int64_t{tile.column} * info.width;
    const std::int64_t y = std::int64_t{tile.row} * info.height;
    return {x, x + info.width, y, y + info.height};
}

void cutToTile(PairedArea &pair, const TileBounds &tile) {
    const std::int64_t right = std::max<std::int64_t>(tile.begX - pair.dstX, 0);
    const std::int64_t down = std::max<std::int64_t>(tile.begY - pair.dstY, 0);
    pair.width = std::min(pair.dstX + pair.width, tile.endX) - pair.dstX - right;
    pair.height = std::min(pair.dstY + pair.height, tile.endY) - pair.dstY - down;
    pair.srcX += right;
    pair.dstX += right;
    pair.srcY += pair.flipped ? -down : down;
    pair.dstY += down;
}

void cutToTile(PairedArea &pair, const ZylImage &dst, const ZylTileMapping *point) {
    if (point == nullptr || !isTiled(dst)) return;
    cutToTile(pair, tileBounds(*dst.tileInfo, tileAt(*dst.tileInfo, *point)));
}

TilePart tilePart(const ZylImage &image, const Area &area, std::int32_t column, std::int32_t row) {
    const TileBounds tile = tileBounds(*image.tileInfo, {column, row});
    const std::int64_t x = std::max<std::int64_t>(area.x, tile.begX);
    const std::int64_t y = std::max<std::int64_t>(area.y, tile.begY);
    const std::int64_t width = std::min(std::int64_t{area.x} + area.width, tile.endX) - x;
    const std::int64_t height = std::min(std::int64_t{area.y} + area.height, tile.endY) - y;
    const Area inTile = {static_cast<std::int32_t>(x - tile.begX),
                         static_cast<std::int32_t>(y - tile.begY), static_cast<std::int32_t>(width),
                         static_cast<std::int32_t>(height), area.coi};
    return {column, row, inTile, static_cast<std::int32_t>(x - area.x),
            static_cast<std::int32_t>(y - area.y)};
}

} // namespace zylqx
