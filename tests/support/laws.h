// Laws that hold for every operation, written once and run over tables of
// operations:
//
//   - the tiling of any image never changes a result, and every tile requested
//     is released;
//   - every instruction level gives the baseline's bits;
//   - nothing outside the destination's region or channel of interest changes;
//   - a region gives what images cut to it give (for pointwise operations);
//   - plane order gives what pixel order gives;
//   - a destination that is the source gives what a third image gives;
//   - one destination tile is that part of the whole result, and no other tile
//     is written;
//   - a bad header is reported with its own text and nothing is written;
//   - a tile that is not delivered leaves the rest alone, and so does an
//     allocation that fails.
#ifndef ZYLQX_TESTS_SUPPORT_LAWS_H
#define ZYLQX_TESTS_SUPPORT_LAWS_H

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/images.h"

namespace support {

struct Operation {
    std::string name;         // as a test name: letters, digits and _
    std::string reportedName; // "zylAdd"
    int sources;              // images before the destination

    // images: the sources, then the destination; tile: null or column and row.
    std::function<void(ZylImage *const *images, const std::int32_t *tile)> run;

    // Shapes of the sources that the laws use; every order is tried by itself.
    std::vector<Shape> shapes = {};

    // The destination's shape for a source's; by default the same.
    std::function<Shape(const Shape &)> result = [](const Shape &shape) { return shape; };

    bool pointwise = true;       // a sample depends on the sample below it only
    bool regions = true;         // regions and channels of interest count
    bool planesAlike = true;     // every data order is allowed, with equal results
    bool inPlace = true;         // the destination may be the first source
    bool tileArgument = true;    // `tile` is honoured
    bool headersReported = true; // header faults are reported by their joined texts
    bool abandonsTiles = false;  // a failed request leaves earlier tiles with the application
    bool tilesSupported = true;
};

// Six depths by one and three channels, sizes prime and larger than a tile.
std::vector<Shape> usualShapes(const std::vector<std::uint32_t> &depths);

void PrintTo(const Operation &operation, std::ostream *out);

class Laws : public testing::TestWithParam<Operation> {};

std::string operationName(const testing::TestParamInfo<Operation> &info);

// Runs all laws over a table (a std::vector<Operation>).
#define ZYLQX_RUN_LAWS(Family, table)                                                              \
    INSTANTIATE_TEST_SUITE_P(Family, Laws, testing::ValuesIn(table), support::operationName)

} // namespace support

#endif
