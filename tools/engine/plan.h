// What an operation becomes once its words and the pictures' shapes are known: the
// shape of the result, and how one tile of it is made.
//
// A plan is a node of a Pipeline (pipeline.h) and is given its sources there:
//
//     Plan plan{.name = "add", .result = shape};
//     plan.make = [](Request &r) { zylAdd(r.sources[0], r.sources[1], r.result, r.tile); };
//     Node sum = pipeline.add(std::move(plan), {picture, other});
//
// An operation of several steps adds several nodes, one made from the other.
#pragma once

#include "formats/format.h"
#include "image.h"
#include "text.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

// What an operation has to see before it can make a tile.
enum class Need {
    // What lies around the tile's place, the pictures laid over each other from
    // edge to edge: tiles from top to bottom need sources from top to bottom.
    around,
    // Anything: another corner of the picture. Rotation, mirroring, borders that
    // wrap. Sources that come row by row are stored first.
    anywhere,
    // The same as `around`, and the tiles above: `make` is called for bands of
    // whole rows from top to bottom, each once, by one thread at a time.
    rowsInOrder,
    // The pictures in memory: sources and result of the one request are images in
    // memory, refused when they are larger than the budget.
    whole
};

// One tile of a result that has to be made. Headers are of this call alone:
// regions and borders that are set on them are gone after it.
struct Request {
    // Tiled headers of whole pictures. Their callbacks make what is read.
    std::vector<ZylImage *> sources;
    // The whole result, tiled. Only this tile may be written, and also be read:
    // operations in place see what was written before.
    ZylImage *result;
    // The same tile as an image in memory, for operations that cannot be told to
    // make one tile: its region is the part inside the result.
    ZylImage *window;
    // Where the window's region lies in the result.
    Rect place;
    // The tile in the two ways in which operations are told of it.
    std::int32_t tile[2]; // column and row
    ZylTileMapping point; // its first pixel
};

struct Plan {
    // As the command line has it; failures begin with it.
    std::string name;
    Shape result;
    Need need = Need::around;
    // A first pass over all of the sources (a histogram, a norm), before any tile is
    // made. May be empty. Called once, with tiled headers of its own.
    std::function<void(const std::vector<ZylImage *> &sources)> measure{};
    // Makes one tile. Several threads call it at once, after `measure`: it keeps
    // nothing between calls, unless `need` is rowsInOrder. Empty when the result is
    // the first source as it is. A report of the library while it runs is a failure.
    std::function<void(Request &)> make{};
};

// What the library reported while a plan's `measure` or `make` ran.
struct LibraryFailure : Failure {
    LibraryFailure(const std::string &operation, ZylStatus reported, std::string told);

    std::string operation; // Plan::name
    ZylStatus status;
    std::string context; // the library's own text
};

} // namespace tool
