// The walk of neighbourhood operations over images in memory or in tiles.
//
// An operation hands over the block to be computed and the box that it reads
// around every pixel, and gets pieces: a part of the destination that lies in
// memory, and an image in memory that has the samples around it. A source in
// memory is handed on as it is. A source in tiles, or one that shares its pixels
// with the destination, is copied ahead of the writing: a window of rows slides
// over it, as high as a band of tiles and the box, so that memory does not grow
// with the image and every tile is requested once.
#ifndef ZYLQX_CORE_WALK_NEIGHBOURHOODS_H
#define ZYLQX_CORE_WALK_NEIGHBOURHOODS_H

#include <cstdint>

#include "core/call.h"
#include "core/function_ref.h"
#include "core/region.h"
#include "core/rows.h"

namespace zylqx {

// The source pixels that a destination pixel is made of: `columns` x `rows` of
// them, the pixel itself being at (anchorX, anchorY), which may lie outside.
struct Box {
    std::int64_t columns, rows;
    std::int64_t anchorX, anchorY;
};

// Pixel (x, y) of a piece is destination pixel (dstX + x, dstY + y), and its box
// starts at (boxX + x, boxY + y) of the source.
struct NeighbourPiece {
    ZylImage &source;
    std::int64_t boxX, boxY;
    const ZylImage &destination;
    std::int64_t dstX, dstY;
    std::int64_t width, height;
};

enum class WalkResult { Done, NoMemory, NoTileToRead, NoTileToWrite };

// What a piece is handed to; false when there was no memory.
using NeighbourKernel = FunctionRef<bool(const NeighbourPiece &piece)>;

// Walks the destination band by band, from left to right; with `mapping`, only
// the tile of a tiled destination that holds its point. A failure ends the walk:
// no tile is held then, and pieces already written stay written.
WalkResult walkNeighbourhoods(ZylImage &srcImage, ZylImage &dstImage, PairedArea block,
                              const Box &box, const ZylTileMapping *mapping, NeighbourKernel visit);

// Reports a tile that was not delivered; false when there was none such.
bool reportTiles(const Call &call, WalkResult result);

// Which channels go into which: the first `count` from `source` on into those
// from `destination` on.
struct ChannelRange {
    int source, destination;
    int count;
};

// The passes over a piece that channels need: one for all of them, with `step`
// samples from a pixel to the next, or one for each, neighbours side by side.
class Passes {
  public:
    Passes(const ChannelRange &channels, const ZylImage &source, const ZylImage &destination)
        : channels_(channels),
          whole_(channels.count == source.nChannels && channels.count == destination.nChannels &&
                 (channels.count == 1 || (source.dataOrder == ZYL_DATA_ORDER_PIXEL &&
                                          destination.dataOrder == ZYL_DATA_ORDER_PIXEL))) {}

    int count() const { return whole_ ? 1 : channels_.count; }
    int source(int pass) const { return whole_ ? ALL_CHANNELS : channels_.source + pass; }
    int destination(int pass) const { return whole_ ? ALL_CHANNELS : channels_.destination + pass; }
    std::int64_t step() const { return whole_ ? channels_.count : 1; }
    // Whether one pass takes all channels of both images.
    bool whole() const { return whole_; }

  private:
    ChannelRange channels_;
    bool whole_;
};

// The rows of a piece, for all passes: memory is obtained once.
struct PieceRows {
    // `held` source rows and `written` destination rows are at hand at a time.
    PieceRows(const NeighbourPiece &piece, const Box &box, const Passes &passes, std::int64_t held,
              std::int64_t written, BitRows bits = BitRows::Bytes)
        : samples(piece.width * passes.step()),
          source(piece.source, piece.boxX, piece.width + box.columns - 1, piece.boxY,
                 piece.height + box.rows - 1, held, passes.source(0), bits),
          destination(piece.destination, piece.dstX, piece.width, written, passes.destination(0),
                      bits) {}

    explicit operator bool() const { return source && destination; }
    void select(const Passes &passes, int pass) {
        source.select(passes.source(pass));
        destination.select(passes.destination(pass));
    }

    const std::int64_t samples; // of a destination row
    SourceRows source;
    DestinationRows destination;
};

} // namespace zylqx

#endif
