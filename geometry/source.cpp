#include "geometry/source.h"

#include <algorithm>

namespace zylqx {

Source::Source(const Call &call, const TileReport &report, ZylImage &image, const Area &rect)
    : copy_(image, std::max(rect.width, 1), std::max(rect.height, 1)), pixels_(copy_.image()),
      left_(rect.x), top_(rect.y) {
    pixels_.imageData = nullptr;
    if (!copy_) return;
    if (!rect.empty() && !copy_.readRows(image, rect.x, rect.y, 0, rect.height)) {
        call.report(report.status, report.read);
        return;
    }
    pixels_.imageData = copy_.image().imageData;
}

MappedTile::MappedTile(const ZylImage &image, const ZylTileMapping *mapping)
    : given_(mapping != nullptr && isTiled(image)) {
    if (!given_) return;
    const TileIndex tile = tileAt(*image.tileInfo, *mapping);
    index_[0] = tile.column;
    index_[1] = tile.row;
}

ChannelPairs pairChannels(const ZylImage &src, const ZylImage &dst) {
    const int channels = std::min(effectiveChannels(src), effectiveChannels(dst));
    ChannelPairs pairs;
    const bool together = !isPlanar(src) && !isPlanar(dst);
    pairs.planes = together ? 1 : channels;
    pairs.count = together ? channels : 1;
    pairs.srcFirst = std::max(channelOfInterest(src), 1);
    pairs.dstFirst = std::max(channelOfInterest(dst), 1);
    pairs.srcStep = pixelStep(src);
    pairs.dstStep = pixelStep(dst);
    return pairs;
}

} // namespace zylqx
