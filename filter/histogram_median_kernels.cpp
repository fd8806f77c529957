// Medians of large boxes of 8-bit values, from histograms of columns: the time for a
// pixel does not grow with the box.
//
// The histogram of a column follows the box down, value by value. That of a box is the
// sum of its columns'. Histograms are cumulative, in 16 blocks of 16 values: a median
// lies in the first block, and is the first value in there, that more values lie at or
// below than the median's rank says. The blocks of all boxes of a row are found first,
// from sums that slide along the row; then, in the blocks that occurred, the values,
// from running sums of the columns. No branch depends on samples, nor does a sum that
// the next pixel would wait for.
#include "filter/median_kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

constexpr int BINS = HISTOGRAM_BLOCK;
// Numbers of values in a block up to each of them, or up to each block.
template <class U>
using Bins = SizedVector<U, BINS *static_cast<int>(sizeof(U))>;

// By reference, as not all levels have registers of that size.
template <class V>
inline void add(V &sum, const void *bins) {
    V v;
    __builtin_memcpy(&v, bins, sizeof v);
    sum += v;
}
template <class V>
inline void subtract(V &sum, const void *bins) {
    V v;
    __builtin_memcpy(&v, bins, sizeof v);
    sum -= v;
}
template <class V>
inline void change(void *bins, const void *by, bool more) {
    V v = {};
    add(v, bins);
    if (more) {
        add(v, by);
    } else {
        subtract(v, by);
    }
    __builtin_memcpy(bins, &v, sizeof v);
}

// One for each place from v on.
template <class U>
struct Steps {
    U at[2 * BINS];
    Steps() {
        for (int i = 0; i < 2 * BINS; ++i) at[i] = i < BINS ? 0 : 1;
    }
    const U *from(int v) const { return at + BINS - v; }
};

// Counts a row of values in the histograms of its columns, or takes it away.
template <class U, bool ENTERING>
void countRow(U *histograms, const u8 *values, std::ptrdiff_t n, u8 flip) {
    const Steps<U> steps;
    for (std::ptrdiff_t i = 0; i < n; ++i, histograms += HISTOGRAM) {
        const int value = values[i] ^ flip;
        const int block = value / BINS;
        change<Bins<U>>(histograms, steps.from(block), ENTERING);
        change<Bins<U>>(histograms + (1 + block) * BINS, steps.from(value % BINS), ENTERING);
    }
}

// In how many places of a histogram there are no more values than `rank`; the rank
// becomes that among the values of the next place.
template <class U>
inline int passed(const Bins<U> &bins, U &rank) {
    const auto flags = __builtin_convertvector(bins <= Bins<U>{} + rank, SizedVector<s8, BINS>);
    u64 words[2];
    __builtin_memcpy(words, &flags, sizeof words);
    constexpr u64 ONES = 0x0101010101010101u;
    const auto count = static_cast<int>(((words[0] & ONES) + (words[1] & ONES)) * ONES >> 56);
    U below[BINS + 1];
    below[0] = 0;
    __builtin_memcpy(below + 1, &bins, sizeof bins);
    rank = static_cast<U>(rank - below[count]);
    return count;
}

// sums[i + step] = sums[i] and the bins of column i.
template <class U>
void runningSums(const U *bins, std::ptrdiff_t step, U *sums, std::ptrdiff_t columns) {
    using V = Bins<U>;
    for (std::ptrdiff_t c = 0; c < step && c < columns; ++c) {
        V sum = {};
        std::ptrdiff_t i = c;
        for (; i < columns; i += step) {
            __builtin_memcpy(sums + i * BINS, &sum, sizeof sum);
            add(sum, bins + i * HISTOGRAM);
        }
        __builtin_memcpy(sums + i * BINS, &sum, sizeof sum);
    }
}

template <class U>
void medians(const U *histograms, std::ptrdiff_t step, std::ptrdiff_t count, U rank, u8 flip,
             U *sums, u8 *d, U *ranks, std::ptrdiff_t n) {
    using V = Bins<U>;
    const std::ptrdiff_t width = count * step;
    const std::ptrdiff_t columns = n - step + width;
    u32 seen = 0;
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        V box = {};
        for (std::ptrdiff_t i = c; i < c + width; i += step) add(box, histograms + i * HISTOGRAM);
        for (std::ptrdiff_t x = c;; x += step) {
            ranks[x] = rank;
            d[x] = static_cast<u8>(passed<U>(box, ranks[x]));
            seen |= u32{1} << d[x];
            if (x + step >= n) break;
            const U *leaving = histograms + x * HISTOGRAM;
            add(box, leaving + width * HISTOGRAM);
            subtract(box, leaving);
        }
    }
    const std::ptrdiff_t size = (columns + step) * BINS;
    for (int block = 0; block < BINS; ++block) {
        if ((seen >> block & 1) == 0) continue;
        runningSums(histograms + (1 + block) * BINS, step, sums + block * size, columns);
    }
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const U *from = sums + d[x] * size + x * BINS;
        V box = {};
        add(box, from + width * BINS);
        subtract(box, from);
        d[x] = static_cast<u8>((d[x] * BINS + passed<U>(box, ranks[x])) ^ flip);
    }
}

} // namespace

const HistogramMedianKernels histogramMedianKernels = {
    .narrow = {countRow<u16, true>, countRow<u16, false>, medians<u16>},
    .wide = {countRow<u32, true>, countRow<u32, false>, medians<u32>},
};

} // namespace zylqx::ZYLQX_LEVEL
