// Loops over one row of samples, for the filters.
#ifndef ZYLQX_FILTER_KERNELS_H
#define ZYLQX_FILTER_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"
#include "filter/samples.h"

namespace zylqx {

// Sums are taken modulo 2^16 or 2^32. The caller knows how to read them: as
// signed or, when none is negative, as unsigned numbers.
enum class Sum { S16, U16, S32 };
constexpr int SUM_COUNT = 3;

// One coefficient and the samples that it multiplies.
struct Tap {
    const void *samples;
    std::int32_t coefficient;
};

// What is done with the results of several kernels.
enum class Combine { Add, AddSquare, Max, Min };
constexpr int COMBINE_COUNT = 4;

struct ConvolutionKernels {
    // sums[i] = the sum over the taps of coefficient * samples[x + i]. By the
    // samples' type and the sum's width, 16 or 32 bits.
    using Accumulate = void (*)(const Tap *taps, std::ptrdiff_t count, std::ptrdiff_t x, void *sums,
                                std::ptrdiff_t n);
    Accumulate accumulate[SAMPLE_COUNT][2];

    // d = sums shifted right, saturated; a bit is 1 for a result above 0. No sum of
    // 16 bits is for samples of 32.
    using Finish = void (*)(const void *sums, int shift, void *d, std::ptrdiff_t n);
    Finish finish[SUM_COUNT][SAMPLE_COUNT];

    // Results of several kernels: s shifted right goes into t.
    void (*combineFirst)(const std::int32_t *s, int shift, bool square, std::int32_t *t,
                         std::ptrdiff_t n);
    void (*combine[COMBINE_COUNT])(const std::int32_t *s, int shift, std::int32_t *t,
                                   std::ptrdiff_t n);
    void (*root)(std::int32_t *t, std::ptrdiff_t n); // truncated; 0 for a negative number

    // The same in double precision, for results of 32 bits.
    using AccumulateWide = void (*)(const Tap *taps, std::ptrdiff_t count, std::ptrdiff_t x,
                                    double *sums, std::ptrdiff_t n);
    AccumulateWide accumulateWide[SAMPLE_COUNT];
    void (*shiftWide)(double *s, int shift, std::ptrdiff_t n);
    void (*squareWide)(double *s, std::ptrdiff_t n);
    void (*combineWide[COMBINE_COUNT])(const double *s, double *t, std::ptrdiff_t n);
    void (*rootWide)(double *t, std::ptrdiff_t n);
    void (*finishWide)(const double *s, std::int32_t *d, std::ptrdiff_t n);
};

struct BoxKernels {
    // Columns: add a row that enters (and take away one that leaves).
    using AddRow = void (*)(const void *entering, void *sums, std::ptrdiff_t n);
    using SlideRow = void (*)(const void *entering, const void *leaving, void *sums,
                              std::ptrdiff_t n);
    AddRow addRow[SAMPLE_COUNT]; // 32-bit sums
    SlideRow slideRow[SAMPLE_COUNT];
    AddRow addRowWide[SAMPLE_COUNT]; // 64-bit sums
    SlideRow slideRowWide[SAMPLE_COUNT];
    // boxes[i] = the sum of `count` columns, `step` apart, from column i on.
    void (*boxSums)(const std::uint32_t *columns, std::ptrdiff_t step, std::ptrdiff_t count,
                    std::uint32_t *boxes, std::ptrdiff_t n);
    void (*boxSumsWide)(const std::int64_t *columns, bool single, std::ptrdiff_t step,
                        std::ptrdiff_t count, std::int64_t *boxes, std::ptrdiff_t n);
    // d = boxes * factor, truncated.
    using Mean = void (*)(const void *boxes, double factor, void *d, std::ptrdiff_t n);
    Mean mean[SAMPLE_COUNT];
    Mean meanWide[SAMPLE_COUNT];
    // Columns of 8-bit samples in 16 bits, and d = (boxes - less + 1/2) * factor, in single
    // precision and truncated. There is a column of 0 before the first one, and a
    // vector may be read from behind the last one.
    AddRow addRowNarrow;
    SlideRow slideRowNarrow;
    void (*meanNarrow)(const std::uint16_t *columns, std::ptrdiff_t count, float factor,
                       std::uint32_t less, std::uint8_t *d, std::ptrdiff_t n);
};

struct MaxMinKernels {
    // Extremes: index 0 the larger, 1 the smaller. d may be a or b, as some results
    // may be made twice, but not a part of them that is moved; in bits, or and and
    // of words.
    using Extreme2 = void (*)(const void *a, const void *b, void *d, std::ptrdiff_t n);
    using Extreme3 = void (*)(const void *a, const void *b, const void *c, void *d,
                              std::ptrdiff_t n);
    Extreme2 extreme2[2][SAMPLE_COUNT];
    Extreme3 extreme3[2][SAMPLE_COUNT];
    // upper = the extreme of row and before; d = that of upper and lower.
    using Slide = void (*)(const void *row, const void *before, void *upper, const void *lower,
                           void *d, std::ptrdiff_t n);
    Slide slide[2][SAMPLE_COUNT];
    // Words of bits: d = the extreme of s and of s moved so many bits to the left; and
    // that of these and the same moved once more, where both make less than 64 bits. A
    // word behind those that are needed is read.
    using ExtremeBits2 = void (*)(const std::uint64_t *s, std::ptrdiff_t bits, std::uint64_t *d,
                                  std::ptrdiff_t words);
    using ExtremeBits4 = void (*)(const std::uint64_t *s, int first, int second, std::uint64_t *d,
                                  std::ptrdiff_t words);
    ExtremeBits2 extremeBits2[2];
    ExtremeBits4 extremeBits4[2];
};

ZYLQX_DECLARE_KERNELS(ConvolutionKernels, convolutionKernels)
ZYLQX_DECLARE_KERNELS(BoxKernels, boxKernels)
ZYLQX_DECLARE_KERNELS(MaxMinKernels, maxMinKernels)

constexpr Sample sampleOf(int depthIndex) {
    return static_cast<Sample>(depthIndex);
}

} // namespace zylqx

#endif
