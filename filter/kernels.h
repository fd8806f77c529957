// Loops over one row of samples, for the filters.
#ifndef ZYLQX_FILTER_KERNELS_H
#define ZYLQX_FILTER_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

// Types of samples and sums, as indices. Bit is a byte of 0 or 1.
enum class Sample { Bit, U8, S8, U16, S16, S32 };
constexpr int SAMPLE_COUNT = 6;

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

// Numbers that a median of n values keeps at a time; see ofSamples.
constexpr std::ptrdiff_t medianWorkBytes(std::ptrdiff_t n) {
    return (n / 2 + 2) * 64;
}
// Squares of 5, 7 and 9 pixels a side are sorted so many rows of them at a time.
constexpr int SQUARE_KINDS = 3;
constexpr int SQUARE_ROWS = 4;
// Rows of their lists: of 1, 2, 4 ... columns of the rows that all four squares above
// each other hold, of two rows for each half of them and of a row for each one.
constexpr int squareListRows(int side) {
    return (side - SQUARE_ROWS + 1 + 2 * 2 + 4 * 1) * (side < 8 ? 7 : 15);
}
// Bytes of squares that are done side by side.
constexpr std::ptrdiff_t SQUARE_BLOCK = 128;
// Bytes from one row of a list to the next.
constexpr std::ptrdiff_t squareStride(int side, std::ptrdiff_t pixelBytes) {
    return (SQUARE_BLOCK + (side - 1) * pixelBytes + 127) / 64 * 64;
}
// Lists, and copies of rows that are shorter than a vector.
constexpr std::ptrdiff_t squareWorkBytes(int side, std::ptrdiff_t pixelBytes) {
    return (squareListRows(side) + side + 2 * SQUARE_ROWS) * squareStride(side, pixelBytes);
}

// A histogram of a column: the number of values in each block of values, then
// that of each value.
constexpr std::ptrdiff_t HISTOGRAM_BLOCK = 16;
constexpr std::ptrdiff_t HISTOGRAM = HISTOGRAM_BLOCK + 256;

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
    // Columns of 8-bit samples in 16 bits, and d = (boxes + half) * factor, in single
    // precision and truncated. There is a column of 0 before the first one, and a
    // vector may be read from behind the last one.
    AddRow addRowNarrow;
    SlideRow slideRowNarrow;
    void (*meanNarrow)(const std::uint16_t *columns, std::ptrdiff_t count, float factor, float half,
                       std::uint8_t *d, std::ptrdiff_t n);
    void (*atLeast)(const std::uint32_t *boxes, std::uint32_t least, std::uint8_t *d,
                    std::ptrdiff_t n);
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
    // Words of bits: d = s and s moved `bits` to the left, and for three in a row.
    void (*extremeBits)(bool smaller, const std::uint64_t *s, std::ptrdiff_t bits, std::uint64_t *d,
                        std::ptrdiff_t words);
};

struct MedianKernels {
    // d[i] = the (count / 2 + 1)-th smallest of samples[0][i] ... samples[count - 1][i].
    // `work` has medianWorkBytes(count) bytes, aligned to 64.
    using Median = void (*)(const void *const *samples, std::ptrdiff_t count, void *d, void *work,
                            std::ptrdiff_t n);
    Median ofSamples[SAMPLE_COUNT];

    // Puts n samples of 1, 2 or 4 bytes in order: places[i] is that of sample i, and
    // `ordered` has the samples as they come. Samples are flipped by `flip` before
    // they are compared. `work` has n numbers.
    using OrderSamples = void (*)(const void *samples, std::ptrdiff_t n, std::uint32_t flip,
                                  std::uint32_t *places, std::uint32_t *work, void *ordered);
    OrderSamples orderSamples[3];
    // One row of medians from the places of samples in their order. The samples of
    // a column stand side by side, `height` from one column to the next; boxes have
    // `rows` of them in `count` columns, `step` columns apart. `set` is scratch of
    // `words` words, one bit for each place.
    using MedianOfPlaces = void (*)(const std::uint32_t *places, std::ptrdiff_t height,
                                    std::ptrdiff_t rows, std::ptrdiff_t step, std::ptrdiff_t count,
                                    const void *ordered, std::uint64_t *set, std::ptrdiff_t words,
                                    void *d, std::ptrdiff_t n);
    MedianOfPlaces ofPlaces[3];

    // One row of medians of 8-bit samples from histograms of columns: boxes of
    // `count` columns, of `values` values, `step` columns apart. Samples are
    // flipped by `flip` before they are counted.
    void (*ofHistograms)(const std::uint16_t *histograms, std::ptrdiff_t step, std::ptrdiff_t count,
                         std::uint32_t values, std::uint8_t flip, std::uint8_t *d,
                         std::ptrdiff_t n);
};

struct SortedMedianKernels {
    // SQUARE_ROWS rows of n medians, of 5 x 5, 7 x 7 and 9 x 9 pixels that are `step`
    // samples apart. `rows` are those of all squares; `work` has squareWorkBytes(), all
    // of them 0 at first, and is aligned to 64.
    using Median = void (*)(const void *const *rows, std::ptrdiff_t step, void *const *d,
                            void *work, std::ptrdiff_t stride, std::ptrdiff_t n);
    Median ofSquares[SQUARE_KINDS][SAMPLE_COUNT];
};

ZYLQX_DECLARE_KERNELS(ConvolutionKernels, convolutionKernels)
ZYLQX_DECLARE_KERNELS(BoxKernels, boxKernels)
ZYLQX_DECLARE_KERNELS(MaxMinKernels, maxMinKernels)
ZYLQX_DECLARE_KERNELS(MedianKernels, medianKernels)
ZYLQX_DECLARE_KERNELS(SortedMedianKernels, sortedMedianKernels)

constexpr Sample sampleOf(int depthIndex) {
    return static_cast<Sample>(depthIndex);
}

} // namespace zylqx

#endif
