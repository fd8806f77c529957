// Filters as their rules read, one sample at a time.
#ifndef ZYLQX_TESTS_FILTER_REFERENCE_H
#define ZYLQX_TESTS_FILTER_REFERENCE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/images.h"

namespace filters {

struct Kernel {
    int rows, columns, anchorX, anchorY, shift;
    std::vector<std::int8_t> values;
};

struct Box {
    int rows, columns, anchorX, anchorY;
};

// A sample anywhere, borders included, cut to the depth.
std::int64_t sampleAnywhere(const support::TestImage &image, std::int64_t x, std::int64_t y,
                            int channel);

std::int64_t saturate(std::uint32_t depth, std::int64_t value);

// The samples of the box around source pixel (x, y), row by row.
std::vector<std::int64_t> boxAt(const support::TestImage &image, const Box &box, std::int64_t x,
                                std::int64_t y, int channel);

// One destination sample from the source around pixel (x, y).
std::int64_t convolved(const support::TestImage &source, std::uint32_t destinationDepth,
                       const std::vector<Kernel> &kernels, int method, std::int64_t x,
                       std::int64_t y, int channel);
std::int64_t separable(const support::TestImage &source, const Kernel &across, const Kernel &down,
                       std::int64_t x, std::int64_t y, int channel);
std::int64_t blurred(const support::TestImage &source, const Box &box, std::int64_t x,
                     std::int64_t y, int channel);
std::int64_t median(const support::TestImage &source, const Box &box, std::int64_t x,
                    std::int64_t y, int channel);

// A run of a filter and what each of its samples is.
struct Case {
    std::string name;
    std::string reportedName;
    std::function<void(ZylImage *source, ZylImage *destination, const ZylTileMapping *mapping)> run;
    std::function<std::int64_t(const support::TestImage &source, std::uint32_t destinationDepth,
                               std::int64_t x, std::int64_t y, int channel)>
        expected;
    std::vector<std::uint32_t> depths;
    bool mapping = true;
};

std::vector<Case> filterCases();

} // namespace filters

#endif
