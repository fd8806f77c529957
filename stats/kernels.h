// Loops over one row of samples, for histograms, look-ups, thresholds and norms.
// A step counts samples from one to the next.
#ifndef ZYLQX_STATS_KERNELS_H
#define ZYLQX_STATS_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/bits.h"
#include "core/levels.h"

namespace zylqx {

// A histogram of bytes is counted in several tables in turn, so that equal
// neighbours do not wait for each other; their sum is the histogram. Of the larger
// 16-bit tables one is enough for the cache.
constexpr int TABLES_8 = 4;

struct ThresholdLevels {
    std::int32_t limit; // in the depth's range
    std::int32_t below; // what samples below the limit become
    std::int32_t others;
};

// What a norm adds up, exactly.
struct NormSums {
    std::uint64_t largest = 0;
    std::uint64_t sum = 0;
    std::uint64_t squaresLow = 0;  // of each square the low 32 bits,
    std::uint64_t squaresHigh = 0; // and what lies above them
};
enum class NormPart { Largest, Sum, Squares };

struct StatsKernels {
    using ThresholdRow = void (*)(const void *s, std::ptrdiff_t sStep, void *d,
                                  std::ptrdiff_t dStep, std::ptrdiff_t n,
                                  const ThresholdLevels &levels);
    // The absolute samples of a, or, with b, the absolute differences.
    using NormRow = void (*)(const void *a, std::ptrdiff_t aStep, const void *b,
                             std::ptrdiff_t bStep, std::ptrdiff_t n, NormSums &sums);

    // By core/image.h's depthIndex(); null for 1-bit samples.
    ThresholdRow threshold[6];
    NormRow norm[3][6]; // by NormPart first

    // Set bits of a, or, with b.data, bits that differ.
    std::uint64_t (*countBits)(ConstBits a, ConstBits b, std::ptrdiff_t n);

    // counts: TABLES_8 tables of 256, or one of 65536.
    void (*count8)(const std::uint8_t *s, std::ptrdiff_t step, std::ptrdiff_t n,
                   std::uint32_t *counts);
    // Interleaved pixels of any number of channels, with TABLES_8 tables for each.
    void (*countPixels8)(const std::uint8_t *s, int channels, std::ptrdiff_t n,
                         std::uint32_t *counts);
    void (*count16)(const std::uint16_t *s, std::ptrdiff_t step, std::ptrdiff_t n,
                    std::uint32_t *counts);

    void (*lookUp8)(const std::uint8_t *s, std::ptrdiff_t sStep, std::uint8_t *d,
                    std::ptrdiff_t dStep, std::ptrdiff_t n, const std::uint8_t *table);
    // Interleaved pixels of any number of channels, with a table for each.
    void (*lookUpPixels8)(const std::uint8_t *s, std::uint8_t *d, int channels, std::ptrdiff_t n,
                          const std::uint8_t *tables);
    void (*lookUp16)(const std::uint16_t *s, std::ptrdiff_t sStep, std::uint16_t *d,
                     std::ptrdiff_t dStep, std::ptrdiff_t n, const std::uint16_t *table);
};

ZYLQX_DECLARE_KERNELS(StatsKernels, statsKernels)

inline const StatsKernels &currentStatsKernels() {
    return ZYLQX_KERNELS(statsKernels);
}

} // namespace zylqx

#endif
