// Numbers of bits, counted for many pixels at once.
#ifndef ZYLQX_FILTER_BIT_MEDIAN_KERNELS_H
#define ZYLQX_FILTER_BIT_MEDIAN_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

// A row of numbers, one for each pixel, in planes of bits: the lowest of all, then the
// next. Planes are words of 64 pixels, the leftmost at the top, `stride` words apart.
struct BitPlanes {
    const std::uint64_t *words;
    std::ptrdiff_t planes;
};

struct BitMedianKernels {
    // sum = a + b moved `bits` to the left, in as many planes as a or one more; b has at
    // most as many. Done in vectors of words, of up to 8; as many words as b is moved by
    // are read from behind them, and one.
    void (*add)(const BitPlanes &a, const BitPlanes &b, std::ptrdiff_t bits, std::uint64_t *sum,
                std::ptrdiff_t planes, std::ptrdiff_t stride, std::ptrdiff_t words);
    // totals += entering - leaving, which have equally many planes; d = totals >= least.
    void (*slide)(std::uint64_t *totals, std::ptrdiff_t planes, const BitPlanes &entering,
                  const BitPlanes &leaving, std::uint64_t least, std::uint64_t *d,
                  std::ptrdiff_t stride, std::ptrdiff_t words);
};

ZYLQX_DECLARE_KERNELS(BitMedianKernels, bitMedianKernels)

} // namespace zylqx

#endif
