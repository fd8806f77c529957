// Loops over one row of samples, for histograms, look-ups, thresholds, norms, scaled
// products and compositing. A step counts samples from one to the next.
#ifndef ZYLQX_STATS_KERNELS_H
#define ZYLQX_STATS_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/bits.h"
#include "core/levels.h"

namespace zylqx {

// --- threshold ---

struct ThresholdLevels {
    std::int32_t limit; // in the depth's range
    std::int32_t below; // what samples below the limit become
    std::int32_t others;
};

struct ThresholdKernels {
    using Row = void (*)(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
                         std::ptrdiff_t n, const ThresholdLevels &levels);
    Row row[6]; // by core/image.h's depthIndex(); null for 1-bit samples
};

// --- norms ---

// What a norm adds up, exactly.
struct NormSums {
    std::uint64_t largest = 0;
    std::uint64_t sum = 0;
    std::uint64_t squaresLow = 0;  // of each square the low 32 bits,
    std::uint64_t squaresHigh = 0; // and what lies above them
};
enum class NormPart { Largest, Sum, Squares };

struct NormKernels {
    // The absolute samples of a, or, with b, the absolute differences.
    using Row = void (*)(const void *a, std::ptrdiff_t aStep, const void *b, std::ptrdiff_t bStep,
                         std::ptrdiff_t n, NormSums &sums);
    Row row[3][6]; // by NormPart and depthIndex(); null for 1-bit samples

    // Set bits of a, or, with b.data, bits that differ.
    std::uint64_t (*countBits)(ConstBits a, ConstBits b, std::ptrdiff_t n);
};

// --- histograms ---

// A histogram of bytes is counted in several tables in turn, so that equal
// neighbours do not wait for each other; their sum is the histogram. Of the larger
// 16-bit tables one is enough for the cache.
constexpr int TABLES_8 = 4;

struct HistogramKernels {
    // counts: TABLES_8 tables of 256, or one of 65536.
    void (*count8)(const std::uint8_t *s, std::ptrdiff_t step, std::ptrdiff_t n,
                   std::uint32_t *counts);
    // Interleaved pixels of any number of channels, with TABLES_8 tables for each.
    void (*countPixels8)(const std::uint8_t *s, int channels, std::ptrdiff_t n,
                         std::uint32_t *counts);
    void (*count16)(const std::uint16_t *s, std::ptrdiff_t step, std::ptrdiff_t n,
                    std::uint32_t *counts);
};

// --- look-ups ---

struct LookUpKernels {
    void (*row8)(const std::uint8_t *s, std::ptrdiff_t sStep, std::uint8_t *d, std::ptrdiff_t dStep,
                 std::ptrdiff_t n, const std::uint8_t *table);
    // Interleaved pixels of any number of channels, with a table for each.
    void (*pixels8)(const std::uint8_t *s, std::uint8_t *d, int channels, std::ptrdiff_t n,
                    const std::uint8_t *tables);
    void (*row16)(const std::uint16_t *s, std::ptrdiff_t sStep, std::uint16_t *d,
                  std::ptrdiff_t dStep, std::ptrdiff_t n, const std::uint16_t *table);
};

// --- scaled products and compositing ---
//
// Samples are fractions of the depth's maximum M. [x * y] is floor(x * y / M).

constexpr int RULE_COUNT = 6;

// Where a pixel's alpha comes from: its own last sample, or a constant.
struct PixelAlpha {
    bool own;
    std::uint16_t constant;
};

struct AlphaKernels {
    using MultiplyRow = void (*)(const void *a, const void *b, void *d, std::ptrdiff_t n);
    using MultiplyConstantRow = void (*)(const void *s, std::uint16_t scale, void *d,
                                         std::ptrdiff_t n);
    // Pixels of four samples, the last one alpha: colours times alpha, which
    // becomes the pixel's alpha.
    using PreMultiplyPixels = void (*)(void *pixels, PixelAlpha alpha, std::ptrdiff_t n);

    // Colours of A and B with an alpha for each sample.
    using CompositeRow = void (*)(const void *a, const void *b, const void *alphaA,
                                  const void *alphaB, void *d, std::ptrdiff_t n);
    // Alphas of the result, as a CompositeRow without colours.
    using ResultAlphaRow = void (*)(const void *alphaA, const void *alphaB, void *d,
                                    std::ptrdiff_t n);
    // Pixels of four samples, the last one alpha. With keepAlpha that of d stays.
    using CompositePixels = void (*)(const void *a, PixelAlpha alphaA, const void *b,
                                     PixelAlpha alphaB, void *d, bool keepAlpha, std::ptrdiff_t n);

    struct Depth {
        MultiplyRow multiply;
        MultiplyConstantRow multiplyConstant;
        PreMultiplyPixels preMultiplyPixels;
        // By whether colours are pre-multiplied, and by rule.
        CompositeRow composite[2][RULE_COUNT];
        CompositePixels compositePixels[2][RULE_COUNT];
        // The same divided by the resulting alpha, in floating point.
        CompositeRow compositeDivided[2][RULE_COUNT];
        ResultAlphaRow resultAlpha[RULE_COUNT];
        ResultAlphaRow resultAlphaDivided[RULE_COUNT];

        // d = M - s
        void (*complement)(const void *s, void *d, std::ptrdiff_t n);
        // Every sample `times` times.
        void (*spread)(const void *s, std::ptrdiff_t times, void *d, std::ptrdiff_t n);
    };
    Depth bits8, bits16;

    const Depth &ofSize(std::size_t bytes) const { return bytes == 1 ? bits8 : bits16; }
};

ZYLQX_DECLARE_KERNELS(ThresholdKernels, thresholdKernels)
ZYLQX_DECLARE_KERNELS(NormKernels, normKernels)
ZYLQX_DECLARE_KERNELS(HistogramKernels, histogramKernels)
ZYLQX_DECLARE_KERNELS(LookUpKernels, lookUpKernels)
ZYLQX_DECLARE_KERNELS(AlphaKernels, alphaKernels)

} // namespace zylqx

#endif
