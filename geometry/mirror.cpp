// Flipping about either axis or both.

#include <algorithm>
#include <cstring>

#include "core/call.h"
#include "core/walk_destination.h"
#include "geometry/rows.h"

using namespace zylqx;

namespace {

constexpr TileReport MIRROR_REPORT = {ZYL_StsBadArg,
                                      "(srcImage->tileInfo->tileData == ((void*)(0)))",
                                      "(dstImage->tileInfo->tileData == ((void*)(0)))"};

struct Flip {
    bool rows, columns; // which order is reversed
};

// The part of the source's region that comes to a part of the destination's.
Area mirrored(const PartOfBlock &part, const Area &region, Flip flip) {
    const std::int32_t x = flip.columns ? region.width - part.dx - part.width : part.dx;
    const std::int32_t y = flip.rows ? region.height - part.dy - part.height : part.dy;
    return {region.x + x, region.y + y, part.width, part.height, region.coi};
}

// False when memory is exhausted.
bool mirrorPiece(const SourceRect &source, const DstPiece &piece, const ChannelPairs &pairs,
                 const Area &from, Flip flip) {
    RowFlip rows(source, from.x, piece, pairs, flip.columns);
    if (!rows) return false;
    for (int plane = 0; plane < pairs.planes; ++plane) {
        rows.startPlane(plane);
        rows.runAll(from.y, flip.rows);
    }
    return true;
}

// Rows change places in pairs; one of them waits in a buffer meanwhile.
void mirrorInPlace(const ZylImage &image, const Area &area, Flip flip) {
    const SourceRect source(image);
    const DstPiece piece = {image, area, 0, 0};
    const ChannelPairs pairs = pairChannels(image, image);
    RowFlip rows(source, area.x, piece, pairs, flip.columns);
    if (!rows) return;
    const auto bytes = static_cast<std::size_t>(rows.rowBytes());
    Scratch<unsigned char> waiting(bytes);
    if (!waiting) return;
    for (int plane = 0; plane < pairs.planes; ++plane) {
        rows.startPlane(plane);
        for (std::int32_t j = 0; j < area.height; ++j) {
            const std::int32_t partner = flip.rows ? area.height - 1 - j : j;
            if (partner < j) break;
            std::memcpy(waiting.data(), rows.row(area.y + j), bytes);
            if (partner != j) rows.run(rows.row(area.y + partner), 0, j, 1);
            rows.run(waiting.data(), 0, partner, 1);
        }
    }
}

} // namespace

void zylMirror(ZylImage *srcImage, ZylImage *dstImage, std::int32_t flipAxis) {
    const Call call("zylMirror", "zylmirr");
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return;
    if (call.fails(srcImage->depth != dstImage->depth, "(srcImage->depth!=dstImage->depth)") ||
        call.fails(srcImage->nChannels != dstImage->nChannels,
                   "(srcImage->nChannels!=dstImage->nChannels)") ||
        call.fails(flipAxis > 1 || flipAxis < -1, "((flipAxis>1)||(flipAxis<-1))") ||
        call.fails(channelOfInterest(*srcImage) != channelOfInterest(*dstImage),
                   "(coiSrc!=coiDst)")) {
        return;
    }

    const Flip flip = {flipAxis != 1, flipAxis != 0};
    Area from = clippedArea(*srcImage);
    Area block = clippedArea(*dstImage);
    cutToCommonSize(from, block);
    if (block.empty()) return;
    if (srcImage == dstImage && !isTiled(*srcImage)) return mirrorInPlace(*srcImage, from, flip);

    const ChannelPairs pairs = pairChannels(*srcImage, *dstImage);
    auto needed = [&](const PartOfBlock &part) { return mirrored(part, from, flip); };
    auto process = [&](const SourceRect &source, const DstPiece &piece) {
        const Area rect =
            mirrored({piece.dx, piece.dy, piece.area.width, piece.area.height}, from, flip);
        return mirrorPiece(source, piece, pairs, rect, flip);
    };
    walkDestination(call, MIRROR_REPORT, *srcImage, *dstImage, block, nullptr, needed, process);
}
