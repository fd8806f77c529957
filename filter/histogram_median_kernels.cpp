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
template <class U, class C>
inline void loadBins(Bins<U> &bins, const C *from) {
    Bins<C> narrow;
    __builtin_memcpy(&narrow, from, sizeof narrow);
#if defined(__AVX2__) && !defined(__clang__) // which finds the instruction itself
    if constexpr (sizeof(U) == 2 && sizeof(C) == 1) {
        bins = (Bins<U>)__builtin_ia32_pmovzxbw256((SizedVector<char, BINS>)narrow);
        return;
    }
#endif
    bins = __builtin_convertvector(narrow, Bins<U>);
}
template <class U, class C>
inline void add(Bins<U> &sum, const C *from) {
    Bins<U> bins;
    loadBins<U>(bins, from);
    sum += bins;
}
template <class U, class C>
inline void subtract(Bins<U> &sum, const C *from) {
    Bins<U> bins;
    loadBins<U>(bins, from);
    sum -= bins;
}

// One for each place from v on.
template <class C>
struct Steps {
    C at[2 * BINS];
    Steps() {
        for (int i = 0; i < 2 * BINS; ++i) at[i] = i < BINS ? 0 : 1;
    }
    const C *from(int v) const { return at + BINS - v; }
};

template <bool ENTERING, class C>
inline void change(C *bins, const C *by) {
    Bins<C> sum;
    loadBins<C>(sum, bins);
    if (ENTERING) {
        add<C>(sum, by);
    } else {
        subtract<C>(sum, by);
    }
    __builtin_memcpy(bins, &sum, sizeof sum);
}

// Counts a row of values in the histograms of its columns, or takes it away.
template <class C, bool ENTERING>
void countRow(C *histograms, const u8 *values, std::ptrdiff_t n, u8 flip) {
    const Steps<C> steps;
    for (std::ptrdiff_t i = 0; i < n; ++i, histograms += HISTOGRAM) {
        const int value = values[i] ^ flip;
        const int block = value / BINS;
        change<ENTERING>(histograms, steps.from(block));
        change<ENTERING>(histograms + (1 + block) * BINS, steps.from(value % BINS));
    }
}

// How many of the lanes are -1; the others are 0.
template <class U, class V>
inline int countLanes(const V &flags) {
#if defined(__AVX2__)
    if constexpr (sizeof(U) == 2) {
        const int bits = __builtin_ia32_pmovmskb256((SizedVector<char, 2 * BINS>)flags);
        return __builtin_popcount(static_cast<u32>(bits)) / 2;
    }
#endif
    const auto bytes = __builtin_convertvector(flags, SizedVector<s8, BINS>);
    u64 words[2];
    __builtin_memcpy(words, &bytes, sizeof words);
    constexpr u64 ONES = 0x0101010101010101u;
    return static_cast<int>(((words[0] & ONES) + (words[1] & ONES)) * ONES >> 56);
}

// In how many places of a histogram there are no more values than `rank`; the rank
// becomes that among the values of the next place.
template <class U>
inline int passed(const Bins<U> &bins, U &rank) {
    const auto flags = bins <= Bins<U>{} + rank;
    const int count = countLanes<U>(flags);
    U below[BINS + 1];
    below[0] = 0;
    __builtin_memcpy(below + 1, &bins, sizeof bins);
    rank = static_cast<U>(rank - below[count]);
    return count;
}

// sums[i + step] = sums[i] and the bins of column i.
template <class U, class C>
void runningSums(const C *bins, std::ptrdiff_t step, U *sums, std::ptrdiff_t columns) {
    using V = Bins<U>;
    for (std::ptrdiff_t c = 0; c < step && c < columns; ++c) {
        V sum = {};
        std::ptrdiff_t i = c;
        for (; i < columns; i += step) {
            __builtin_memcpy(sums + i * BINS, &sum, sizeof sum);
            add<U>(sum, bins + i * HISTOGRAM);
        }
        __builtin_memcpy(sums + i * BINS, &sum, sizeof sum);
    }
}

template <class C, class U>
void medians(const C *histograms, std::ptrdiff_t step, std::ptrdiff_t count, U rank, u8 flip,
             U *sums, u8 *d, U *ranks, std::ptrdiff_t n) {
    using V = Bins<U>;
    const std::ptrdiff_t width = count * step;
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        V box = {};
        for (std::ptrdiff_t i = c; i < c + width; i += step)
            add<U>(box, histograms + i * HISTOGRAM);
        for (std::ptrdiff_t x = c;; x += step) {
            ranks[x] = rank;
            d[x] = static_cast<u8>(passed<U>(box, ranks[x]));
            if (x + step >= n) break;
            const C *leaving = histograms + x * HISTOGRAM;
            add<U>(box, leaving + width * HISTOGRAM);
            subtract<U>(box, leaving);
        }
    }
    // Pixels at which a block occurred, with no gap between them as wide as a box.
    std::ptrdiff_t first[BINS] = {};
    std::ptrdiff_t end[BINS] = {};
    const std::ptrdiff_t size = (n + width) * BINS;
    const auto sumUp = [=, &first, &end](int block) {
        const std::ptrdiff_t x = first[block];
        if (end[block] == x) return;
        runningSums(histograms + x * HISTOGRAM + (1 + block) * BINS, step,
                    sums + block * size + x * BINS, end[block] - x + width - step);
    };
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const int block = d[x];
        if (x - end[block] > width) {
            sumUp(block);
            first[block] = x;
        }
        end[block] = x + 1;
    }
    for (int block = 0; block < BINS; ++block) sumUp(block);
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const U *from = sums + d[x] * size + x * BINS;
        V box = {};
        add<U>(box, from + width * BINS);
        subtract<U>(box, from);
        d[x] = static_cast<u8>((d[x] * BINS + passed<U>(box, ranks[x])) ^ flip);
    }
}

} // namespace

const HistogramMedianKernels histogramMedianKernels = {
    .narrow = {countRow<u8, true>, countRow<u8, false>, medians<u8, u16>},
    .wide = {countRow<u32, true>, countRow<u32, false>, medians<u32, u32>},
};

} // namespace zylqx::ZYLQX_LEVEL
