// The walk of arithmetic, logic and threshold: pieces of the rectangle that the
// regions of several images have in common.
//
// A piece is a rectangle that lies in one tile (or in memory) of every image.
// It is handed on as ordinary headers: pixels in memory, and a region for the
// rectangle. So whatever processes images in memory processes pieces.
#ifndef ZYLQX_CORE_WALK_PIECES_H
#define ZYLQX_CORE_WALK_PIECES_H

#include "core/call.h"
#include "core/function_ref.h"
#include "core/region.h"

namespace zylqx {

// An image of a walk, with the name that reports give it.
struct Operand {
    ZylImage *image;
    const char *name;
    std::int32_t mode; // ZYL_GET_TILE_TO_READ or ZYL_GET_TILE_TO_WRITE
};

// The texts of a tile that was not delivered or not taken back compare tileData
// with a null pointer that is written in two ways.
constexpr const char *NULL_POINTER_TEXT = "((void*)(0))";
constexpr const char *NULL_POINTER_TEXT_SHIFT = "((void *)0)";

// What a piece is handed to: one header for every operand. False ends the walk.
using PieceKernel = FunctionRef<bool(const ZylImage *const *images)>;

constexpr int MAX_OPERANDS = 3;

// Walks the rectangle that the regions of all operands have in common, band of
// rows by band of rows and from left to right, and calls the kernel for every
// piece. With `dstTile`, the rectangle is cut to this tile of the last operand.
// A piece's header has the channel of interest of its image.
//
// Reports, each of which ends the walk: a tile outside the last operand's
// region, a tile not delivered, a tile not taken back. Tiles requested before
// are then left to the application.
void walkPieces(const Call &call, const Operand *operands, int count, const std::int32_t *dstTile,
                PieceKernel kernel, const char *nullText = NULL_POINTER_TEXT);

// Hands the application's own headers to the kernel when no operand is tiled,
// walks the pieces otherwise.
void processImages(const Call &call, const Operand *operands, int count,
                   const std::int32_t *dstTile, PieceKernel kernel,
                   const char *nullText = NULL_POINTER_TEXT);

} // namespace zylqx

#endif
