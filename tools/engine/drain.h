// Writes a picture that is made of tiles to a sink, on several threads.
#pragma once

#include "engine/blocks.h"
#include "engine/grid.h"

#include <functional>

namespace tool {

struct DrainOptions {
    int jobs = 1;
    // Rectangles written together, in tiles of the sink's grid; see layout.h.
    Tiling unit;
    // Columns of units that are finished from top to bottom before the next ones
    // begin. What lies between two such blocks is made twice, but less has to be
    // kept. Only for sinks of any order.
    int blockColumns = 0; // 0: all
    // Called after every unit with its pixels, by one thread at a time.
    std::function<void(std::int64_t pixels)> wrote;
};

// `pull` gives the tiles of the grid, to any thread. The first failure of any
// thread ends all of them and is thrown here.
void drain(const Shape &shape, const Grid &grid,
           const std::function<Block(int column, int row)> &pull, Sink &sink,
           const DrainOptions &options);

} // namespace tool
