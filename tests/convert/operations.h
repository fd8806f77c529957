// The conversions between images as a table for laws and references.
#ifndef ZYLQX_TESTS_CONVERT_OPERATIONS_H
#define ZYLQX_TESTS_CONVERT_OPERATIONS_H

#include <vector>

#include "tests/support/laws.h"

// The channels of a pixel in memory order.
using Pixel = std::vector<std::int64_t>;

// One operation with one set of arguments and depths, and what it makes of a
// pixel. A channel that is left alone is given as UNCHANGED.
struct ConvertCase {
    support::Operation operation;
    std::function<Pixel(const Pixel &)> expected;
    bool lawful = true; // the laws run over this case too
};

constexpr std::int64_t UNCHANGED = INT64_MIN;

inline void PrintTo(const ConvertCase &c, std::ostream *out) {
    *out << c.operation.name;
}

std::vector<ConvertCase> convertCases();

#endif
