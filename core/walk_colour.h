// The walk of operations that change pixels one by one and know no region: both
// images whole, the destination tile by tile.
#ifndef ZYLQX_CORE_WALK_COLOUR_H
#define ZYLQX_CORE_WALK_COLOUR_H

#include <cstdint>

#include "core/call.h"
#include "core/function_ref.h"

namespace zylqx {

// What is called with two images in memory, for their first `width` columns and
// `height` rows.
using ColourKernel = FunctionRef<void(const ZylImage &src, const ZylImage &dst, std::int32_t width,
                                      std::int32_t height)>;

// How the walk takes two images in memory: for the columns and rows that both
// have, or the destination as one tile, which may be larger than the source.
enum class InMemory { CommonPart, OneTile };

// Images in memory with InMemory::CommonPart: one call.
//
// Otherwise one call for every destination tile, row by row, or for `dstTile`
// alone; a destination in memory is one tile. The source is the rectangle at the
// same place and of the same size; what of it lies outside the image is made by
// the border modes. A destination tile that is not delivered ends its row of
// tiles quietly, and the walk when it is the first of its row. No memory and a
// source tile that is not delivered are reported and end the walk.
void walkColour(const Call &call, ZylImage &src, ZylImage &dst, const std::int32_t *dstTile,
                ColourKernel kernel, InMemory inMemory = InMemory::CommonPart);

} // namespace zylqx

#endif
