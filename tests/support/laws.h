// Laws that hold for every operation, written once and run over tables of
// operations:
//
//   - the tiling of any image never changes a result, and every tile requested
//     is released;
//   - every instruction level gives the baseline's bits;
//   - both hold for pictures in which more moves: tall and very wide ones, regions
//     shifted past the edge, other origins and alignments, other tiles for each image;
//   - rows further apart than they need to be change no sample, with a region as well;
//   - nothing outside the destination's region or channel of interest changes;
//   - a region gives what images cut to it give (for pointwise operations);
//   - plane order gives what pixel order gives;
//   - a channel of interest goes into an image of one channel, and back (for those
//     that take such a pair);
//   - a destination that is the source gives what a third image gives;
//   - one destination tile is that part of the whole result, and no other tile
//     is written, also at the end of the region, past it and outside the image;
//   - a bad header is reported with its own text and nothing is written;
//   - a call that ends early, because a tile is not delivered or memory is exhausted,
//     reports what it should, holds what it should, and has done nothing by halves;
//   - a tile that is not taken back is reported or not noticed, and the others are given
//     back;
//   - a status that an earlier failure has left ends the calls that say so, and no others.
#ifndef ZYLQX_TESTS_SUPPORT_LAWS_H
#define ZYLQX_TESTS_SUPPORT_LAWS_H

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
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
    bool mixesChannels = false;  // a channel may go into an image of one channel
    bool planesAlike = true;     // every data order is allowed, with equal results
    bool inPlace = true;         // the destination may be the first source
    bool tileArgument = true;    // `tile` is honoured
    bool headersReported = true; // header faults are reported by their joined texts
    bool tilesSupported = true;
    bool looseRows = true; // rows are ZylImage::widthStep apart
    bool anySize = true;   // pictures may have other sizes than those of `shapes`
    bool measures = false; // gives numbers, which `run` writes into the last image

    // The exported function, where reports name another.
    std::string function = {};
};

// Six depths by one and three channels, sizes prime and larger than a tile.
std::vector<Shape> usualShapes(const std::vector<std::uint32_t> &depths);

// Prints the exported function: so the list of a program's tests tells which
// functions the laws run over.
void PrintTo(const Operation &operation, std::ostream *out);

// The entries of a table that have these names. A name that no entry has ends the
// program.
template <class Table, class NameOf>
Table chosen(const Table &table, const std::vector<std::string> &names, NameOf nameOf) {
    Table result;
    for (const std::string &name : names) {
        const auto entry = std::find_if(table.begin(), table.end(),
                                        [&](const auto &e) { return nameOf(e) == name; });
        if (entry == table.end()) throw std::invalid_argument("no entry is named " + name);
        result.push_back(*entry);
    }
    return result;
}

// Laws for every operation, and for those that know tiles, regions and so on.
class Laws : public testing::TestWithParam<Operation> {};
class TileLaws : public Laws {};
class RegionLaws : public Laws {};
class CropLaws : public Laws {};
class ChannelLaws : public Laws {};
class PlaneLaws : public Laws {};
class InPlaceLaws : public Laws {};
class TileArgumentLaws : public Laws {};

std::string operationName(const testing::TestParamInfo<Operation> &info);

// The operations of a table for which something holds.
std::vector<Operation> operationsWith(const std::vector<Operation> &table,
                                      bool (*holds)(const Operation &));

#define ZYLQX_RUN_LAWS_IF(Family, suite, table, condition)                                         \
    INSTANTIATE_TEST_SUITE_P(Family, suite,                                                        \
                             testing::ValuesIn(support::operationsWith(                            \
                                 table, [](const Operation &o) { return (condition); })),          \
                             support::operationName)

// Runs all laws that apply over a table (a std::vector<Operation>).
#define ZYLQX_RUN_LAWS(Family, table)                                                              \
    ZYLQX_RUN_LAWS_IF(Family, Laws, table, !o.name.empty());                                       \
    ZYLQX_RUN_LAWS_IF(Family, TileLaws, table, o.tilesSupported);                                  \
    ZYLQX_RUN_LAWS_IF(Family, RegionLaws, table, (o.regions && !o.measures));                      \
    ZYLQX_RUN_LAWS_IF(Family, CropLaws, table, (o.regions && o.pointwise));                        \
    ZYLQX_RUN_LAWS_IF(Family, ChannelLaws, table, o.mixesChannels);                                \
    ZYLQX_RUN_LAWS_IF(Family, PlaneLaws, table, o.planesAlike);                                    \
    ZYLQX_RUN_LAWS_IF(Family, InPlaceLaws, table, o.inPlace);                                      \
    ZYLQX_RUN_LAWS_IF(Family, TileArgumentLaws, table, (o.tileArgument && o.tilesSupported))

} // namespace support

#endif
