// A LUT with its arrays, for tests.
#ifndef ZYLQX_TESTS_STATS_LUT_H
#define ZYLQX_TESTS_STATS_LUT_H

#include <cstdint>
#include <utility>
#include <vector>

#include "zylqx.h"

struct TestLut {
    std::vector<std::int32_t> key, value, factor;
    ZylLUT lut{};

    TestLut(std::vector<std::int32_t> keys, std::vector<std::int32_t> values,
            std::vector<std::int32_t> factors = {}, bool interpolate = false)
        : key(std::move(keys)), value(std::move(values)), factor(std::move(factors)) {
        value.resize(key.size());
        lut = {static_cast<std::int32_t>(key.size()), key.data(), value.data(),
               factor.empty() ? nullptr : factor.data(), interpolate ? 1 : 0};
    }
    TestLut(const TestLut &other)
        : TestLut(other.key, other.value, other.factor, other.lut.interpolate != 0) {}
    TestLut &operator=(const TestLut &) = delete;

    operator ZylLUT *() { return &lut; }
};

#endif
