// What is measured, said once for both programs.
#ifndef ZYLQX_BENCH_ROWS_H
#define ZYLQX_BENCH_ROWS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "picture.h"

namespace bench {

// A row's call, which owns the pictures that it works on, and these pictures, the
// sources and then the destination, where other libraries may do the same.
struct Contest {
    std::function<void()> ours;
    Pictures pictures = {};
};

struct Row {
    std::string name; // the operation and, where it matters, what it works on
    std::uint32_t depth;
    int side; // the picture has side x side pixels

    // Bytes that the operation must at least read and write: every sample of
    // every source once, every sample of the destination once.
    std::ptrdiff_t read;
    std::ptrdiff_t written;

    // Makes the pictures and the call, when the row's turn comes.
    std::function<Contest(Layout)> prepare;

    // Clock cycles for each pixel that the arithmetic takes at least, where that is
    // more than memory does: counted beside the row, for vectors of 32 bytes and three
    // vector operations, two loads and one store a cycle.
    double cycles = 0;

    bool takesTiles = true; // the operation works on tiled pictures
};

// 2048 for memory, 512 and 256 for the caches, 8 for the cost of a call.
inline const std::vector<int> SIDES = {2048, 512, 256, 8};

// The rows of a family at one size.
void addArithRows(std::vector<Row> &rows, int side);
void addFilterRows(std::vector<Row> &rows, int side);
void addConvertRows(std::vector<Row> &rows, int side);
void addGeometryRows(std::vector<Row> &rows, int side);
void addStatsRows(std::vector<Row> &rows, int side);
void addTransformRows(std::vector<Row> &rows, int side);

// Those of all families.
std::vector<Row> allRows(const std::vector<int> &sides = SIDES);

} // namespace bench

#endif
