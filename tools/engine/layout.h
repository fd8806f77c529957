// Sizes of tiles: those that cost least for what reads them.
#pragma once

#include "formats/format.h"
#include "image.h"

namespace tool {

// Side of the tiles of pictures that are not read in strips. Bits take little room:
// small tiles of them cost more to look after than to make.
int tileSide(const Shape &shape);

// Strips of whole rows, of about so many bytes.
Tiling stripTiling(const Shape &shape, std::int64_t bytes);

// Tiles of an operation's result, smaller where it makes the picture smaller: what
// one of them is made from shall not be large.
Tiling tileTiling(const Shape &from, const Shape &to);

// Tiles for a picture that is stored from bands of whole rows, each of at most so many
// bytes.
Tiling spoolTiling(const Shape &shape, Tiling tile, std::int64_t bandBytes);

// The tiles in which a file of any order is read: its own, several of them where
// they are small; in strips if that is how its readers look at it.
Tiling fileTiling(const Shape &shape, Tiling piece, bool strips);

// Whole pieces of a sink, together about as large as a tile.
Tiling unitTiling(const Shape &shape, Tiling piece, Tiling tile);

} // namespace tool
