// The tiles of a picture: how many there are, where they lie, and their bytes.
#pragma once

#include "formats/format.h"
#include "image.h"

#include <cstdint>

namespace tool {

using zyl::rowStride;

// Bytes before column x, which is a multiple of 8 in 1-bit pictures.
std::ptrdiff_t columnOffset(const Shape &shape, int x);

constexpr int roundUp(int value, int unit) {
    return (value + unit - 1) / unit * unit;
}

struct Grid {
    Grid() = default;
    // Sides of the tiles are multiples of 8.
    Grid(const Shape &shape, Tiling tile);

    Tiling tile;
    int width = 0, height = 0; // of the picture
    int columns = 0, rows = 0; // tiles
    std::ptrdiff_t stride = 0; // of a tile
    std::size_t bytes = 0;     // of a tile

    // The tile cut at the picture's edges.
    Rect place(int column, int row) const;
    bool cut(int column, int row) const;
};

// Copies the samples of a rectangle.
void copyPixels(const Shape &shape, int width, int height, ConstPixels from, Pixels to);

} // namespace tool
