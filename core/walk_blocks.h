// The walk of operations that work straight from source to destination: the
// destination's rectangle in blocks, each within one tile (or in memory) of
// either image. A tile is held until another one of its image is needed.
#ifndef ZYLQX_CORE_WALK_BLOCKS_H
#define ZYLQX_CORE_WALK_BLOCKS_H

#include "core/call.h"
#include "core/function_ref.h"
#include "core/tiles.h"

namespace zylqx {

// A block lies in two images in memory: whole ones, or tiles.
struct Block {
    const ZylImage *src;
    const ZylImage *dst;
    PairedArea at; // positions within these two

    // Bytes from a source row to the one that belongs to the next destination row.
    std::ptrdiff_t srcStride() const { return at.flipped ? -src->widthStep : src->widthStep; }
};

using BlockKernel = FunctionRef<void(const Block &block)>;

// Calls the kernel for every block, rows of blocks from top to bottom and each
// from left to right. A tile that is not delivered is reported as
// "(dstImage->tileInfo->tileData == NULL)" or the same for srcImage, and ends the
// walk; tiles held are given back all the same. An image that is both source and
// destination has the same region as both.
void walkBlocks(const Call &call, ZylImage &src, ZylImage &dst, const PairedArea &region,
                BlockKernel kernel);

} // namespace zylqx

#endif
