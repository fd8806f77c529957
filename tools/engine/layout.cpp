#include "engine/layout.h"

#include "engine/grid.h"

#include <algorithm>

namespace tool {

namespace {

constexpr int MOST_ROWS = 256; // of a strip

// Strips of files that are read together.
constexpr int MOST_STRIP = 64;
constexpr std::int64_t STRIP_BYTES = 8 << 20;

// Whole pieces that cover `least` pixels or the picture.
int several(int piece, int least, int size) {
    return piece * std::max(1, std::min(least, size) / piece);
}

// A tile of the result is made from about four times as many columns of its source at
// most.
int shrunk(int from, int to, int side) {
    const int factor = std::max(1, (from - 1) / to + 1);
    return std::clamp(roundUp(4 * side / factor, 8), 8, side);
}

} // namespace

int tileSide(const Shape &shape) {
    return shape.depth == ZYL_DEPTH_1U ? 1024 : 256;
}

Tiling stripTiling(const Shape &shape, std::int64_t bytes) {
    const std::int64_t rows = bytes / rowStride(shape, shape.width) / 8 * 8;
    const int height = static_cast<int>(std::clamp<std::int64_t>(rows, 8, MOST_ROWS));
    return {roundUp(shape.width, 8), std::min(height, roundUp(shape.height, 8))};
}

Tiling tileTiling(const Shape &from, const Shape &to) {
    const int side = tileSide(to);
    return {std::min(shrunk(from.width, to.width, side), roundUp(to.width, 8)),
            std::min(shrunk(from.height, to.height, side), roundUp(to.height, 8))};
}

Tiling spoolTiling(const Shape &shape, Tiling tile, std::int64_t bandBytes) {
    const Tiling band = stripTiling(shape, bandBytes);
    return {tile.width, std::min(tile.height, band.height)};
}

Tiling fileTiling(const Shape &shape, Tiling piece, bool strips) {
    const int height = roundUp(std::clamp(piece.height, 1, MOST_ROWS), 8);
    if (strips || piece.width >= shape.width || piece.width % 8 != 0) {
        const int least = std::min(stripTiling(shape, STRIP_BYTES).height, MOST_STRIP);
        return {roundUp(shape.width, 8), several(height, least, shape.height)};
    }
    const int side = tileSide(shape);
    return {several(piece.width, side, shape.width), several(height, side, shape.height)};
}

Tiling unitTiling(const Shape &shape, Tiling piece, Tiling tile) {
    const Tiling cut = {std::min(piece.width, shape.width), std::min(piece.height, shape.height)};
    return {several(cut.width, tile.width, shape.width),
            several(cut.height, tile.height, shape.height)};
}

} // namespace tool
