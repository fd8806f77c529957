// The arithmetic, logic and copy operations as tables for laws and references.
#ifndef ZYLQX_TESTS_ARITH_OPERATIONS_H
#define ZYLQX_TESTS_ARITH_OPERATIONS_H

#include <vector>

#include "tests/support/laws.h"

// One operation with one set of arguments, and what it makes of samples.
struct ArithCase {
    support::Operation operation;
    std::function<std::int64_t(std::uint32_t depth, std::int64_t a, std::int64_t b)> expected;
};

inline void PrintTo(const ArithCase &c, std::ostream *out) {
    *out << c.operation.name;
}

std::vector<ArithCase> arithCases();

#endif
