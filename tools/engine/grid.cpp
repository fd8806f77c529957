#include "engine/grid.h"

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

std::int64_t bitsPerPixel(const Shape &shape) {
    return std::int64_t{shape.depth & ~ZYL_DEPTH_SIGN} * shape.channels;
}

} // namespace

std::ptrdiff_t columnOffset(const Shape &shape, int x) {
    return static_cast<std::ptrdiff_t>(x * bitsPerPixel(shape) / 8);
}

Grid::Grid(const Shape &shape, Tiling tile_)
    : tile(tile_), width(shape.width), height(shape.height),
      columns((shape.width - 1) / tile.width + 1), rows((shape.height - 1) / tile.height + 1),
      stride(rowStride(shape, tile.width)),
      bytes(static_cast<std::size_t>(stride) * static_cast<std::size_t>(tile.height)) {}

Rect Grid::place(int column, int row) const {
    const int x = column * tile.width, y = row * tile.height;
    return {x, y, std::min(tile.width, width - x), std::min(tile.height, height - y)};
}

bool Grid::cut(int column, int row) const {
    const Rect rect = place(column, row);
    return rect.width < tile.width || rect.height < tile.height;
}

void copyPixels(const Shape &shape, int width, int height, ConstPixels from, Pixels to) {
    const auto bytes = static_cast<std::size_t>((width * bitsPerPixel(shape) + 7) / 8);
    for (int y = 0; y < height; ++y)
        std::memcpy(to.data + y * to.stride, from.data + y * from.stride, bytes);
}

} // namespace tool
