// Loops of the median filter, which has several ways.
#ifndef ZYLQX_FILTER_MEDIAN_KERNELS_H
#define ZYLQX_FILTER_MEDIAN_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"
#include "filter/samples.h"

namespace zylqx {

// Numbers that a median of n values keeps at a time; see ofSamples.
constexpr std::ptrdiff_t medianWorkBytes(std::ptrdiff_t n) {
    return (n / 2 + 2) * 64;
}

struct MedianKernels {
    // d[i] = the (count / 2 + 1)-th smallest of samples[0][i] ... samples[count - 1][i].
    // `work` has medianWorkBytes(count) bytes, aligned to 64.
    using Median = void (*)(const void *const *samples, std::ptrdiff_t count, void *d, void *work,
                            std::ptrdiff_t n);
    Median ofSamples[SAMPLE_COUNT];
};

// A cumulative histogram of a column: the number of values up to each block of values,
// then, for each block, those in there up to each value.
constexpr std::ptrdiff_t HISTOGRAM_BLOCK = 16;
constexpr std::ptrdiff_t HISTOGRAM = HISTOGRAM_BLOCK + 256;

// What columns and boxes are counted with.
struct NarrowCounters {
    using Column = std::uint8_t;
    using Box = std::uint16_t;
};
struct WideCounters {
    using Column = std::uint32_t;
    using Box = std::uint32_t;
};
template <class Counters>
struct BoxHistogramKernels {
    using Column = typename Counters::Column;
    using Box = typename Counters::Box;
    // Counts n values in the histograms of their columns, or takes them away. Values are
    // flipped by `flip` first.
    using CountRow = void (*)(Column *histograms, const std::uint8_t *values, std::ptrdiff_t n,
                              std::uint8_t flip);
    CountRow enter, leave;
    // One row of medians, flipped back: values of this rank in boxes of `count` columns,
    // `step` columns apart; and their ranks among equal values. `sums` has room for
    // HISTOGRAM_BLOCK * HISTOGRAM_BLOCK counters for every column and `step` more.
    void (*medians)(const Column *histograms, std::ptrdiff_t step, std::ptrdiff_t count, Box rank,
                    std::uint8_t flip, Box *sums, std::uint8_t *d, Box *ranks, std::ptrdiff_t n);
};
struct HistogramMedianKernels {
    BoxHistogramKernels<NarrowCounters> narrow;
    BoxHistogramKernels<WideCounters> wide;
};

// Samples in order, 64 * `words` of them to a bucket, and for every bucket that matters,
// for every column and every row of pixels, which of its places the boxes there hold.
struct OrderedBuckets {
    const void *samples;
    const std::uint32_t *order;
    std::ptrdiff_t words;
    const std::uint64_t *columnSets, *rowSets;
    std::ptrdiff_t columnSize, rowSize; // words from one bucket to the next
};
struct OrderedMedianKernels {
    // By the size of samples, 2 or 4 bytes. order[i] is the sample that comes at place i
    // when samples, flipped by `flip`, are sorted. `work` has n numbers.
    using Order = void (*)(const void *samples, std::ptrdiff_t n, std::uint32_t flip,
                           std::uint32_t *order, std::uint32_t *work);
    Order order[2];
    // Row y of n samples, from the bucket of each and its rank in there.
    using Pick = void (*)(const OrderedBuckets &ordered, const std::uint8_t *buckets,
                          const void *ranks, std::ptrdiff_t y, void *d, std::ptrdiff_t n);
    Pick pickNarrow[2]; // ranks of 16 bits
    Pick pickWide[2];   // ranks of 32 bits
};

ZYLQX_DECLARE_KERNELS(MedianKernels, medianKernels)
ZYLQX_DECLARE_KERNELS(HistogramMedianKernels, histogramMedianKernels)
ZYLQX_DECLARE_KERNELS(OrderedMedianKernels, orderedMedianKernels)

} // namespace zylqx

#endif
