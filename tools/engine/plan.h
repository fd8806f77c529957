// What an operation becomes once its words and the picture's shape are known: the
// shape of the result, and how one tile of it is made.
#pragma once

#include "image.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

// What an operation has to see before it can make its first tile.
enum class Need {
    tile,        // what lies around the tile
    rowsInOrder, // the tiles above: bands of whole rows are made from top to bottom
    whole        // the picture in memory
};

// One tile of a result that has to be made. The images are tiled headers of this
// call alone; their callbacks make what is read through the steps before.
struct Request {
    std::vector<ZylImage *> sources; // the picture, then the other pictures
    ZylImage *result;                // whole size; only the tile is kept
    std::int32_t column, row;        // of the tile
};

struct Plan {
    Shape result;
    Need need = Need::tile;
    // Tiles of the result begin at multiples of these, where the library starts
    // something anew in each tile (the period of a zoom factor).
    int columnPeriod = 1;
    int rowPeriod = 1;
    // Names of the other pictures that the operation reads.
    std::vector<std::string> others;
    // A first pass over all of the sources (a histogram), before any tile; may be
    // empty. Runs once.
    std::function<void(const std::vector<ZylImage *> &sources)> measure;
    // Makes one tile. Runs on several threads at once, after `measure`.
    std::function<void(const Request &)> make;
};

} // namespace tool
