// Medians, in three ways: nothing but comparisons and counting, so that results are
// samples as they came.
//
// Few values are compared, lane by lane, in a network that keeps only as many as may
// still be the median: of n / 2 + 2 values neither the largest nor the smallest can be
// it, so both make room for one that waits. 8-bit samples of larger boxes are counted
// in histograms of columns, of blocks of 16 values and of single ones, which follow
// the box; a bin holds fewer than 2^16. Others are sorted once, and the box is a set
// of places in that order, one bit each; its median is found by counting bits from
// where the one before was.
#include "filter/kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class V>
inline __attribute__((always_inline)) void order(V &low, V &high) {
    const V a = low;
    const V b = high;
    low = a < b ? a : b;
    high = a < b ? b : a;
}

// Brings the smallest of S values to the front and the largest to the end.
template <int S, class V>
inline __attribute__((always_inline)) void endsOf(V *w) {
#pragma GCC unroll 16
    for (int i = 0; i < S / 2; ++i) order(w[i], w[S - 1 - i]);
#pragma GCC unroll 16
    for (int i = 1; i < (S + 1) / 2; ++i) order(w[0], w[i]);
#pragma GCC unroll 16
    for (int i = S / 2; i < S - 1; ++i) order(w[i], w[S - 1]);
}

// The median of S values in w and of those from `next` on: neither the smallest
// nor the largest of the S can be it. S shrinks to 3 as the last one comes in.
template <int S, class V, class Load>
inline __attribute__((always_inline)) void forget(V *w, int next, Load load, V &result) {
    endsOf<S>(w);
    if constexpr (S == 3) {
        result = w[1];
    } else {
        load(next, w[0]);
        forget<S - 1>(w, next + 1, load, result);
    }
}

// Keeps no more of the values than may still be the one looked for.
template <class V, class Load>
void medianOf(Load load, std::ptrdiff_t count, V *w, V &result) {
    const std::ptrdiff_t rank = count / 2;
    std::ptrdiff_t below = rank;
    std::ptrdiff_t above = count - 1 - rank;
    std::ptrdiff_t next = smaller(rank + 2, count);
    std::ptrdiff_t size = next;
    for (std::ptrdiff_t i = 0; i < size; ++i) load(i, w[i]);
    while (below > 0 && above > 0) {
        for (std::ptrdiff_t i = 0; i < size / 2; ++i) order(w[i], w[size - 1 - i]);
        V low = w[0];
        for (std::ptrdiff_t i = 1; i < (size + 1) / 2; ++i) order(low, w[i]);
        V high = w[size - 1];
        for (std::ptrdiff_t i = size / 2; i < size - 1; ++i) order(w[i], high);
        // The first and the last place are free now.
        --below;
        --above;
        --size;
        if (next < count) {
            load(next++, w[0]);
        } else {
            w[0] = w[--size];
        }
    }
    result = w[0];
    if (size == 2 && below > 0) result = w[0] < w[1] ? w[1] : w[0];
}

// Small odd boxes: everything stays in registers.
template <int N, class V, class Load>
inline __attribute__((always_inline)) void medianOfFixed(Load load, V &result) {
    constexpr int S = N / 2 + 2;
    V w[S];
#pragma GCC unroll 16
    for (int i = 0; i < S; ++i) load(i, w[i]);
    forget<S>(w, S, load, result);
}

template <class T>
void median(const void *const *samples, std::ptrdiff_t count, void *d, void *work,
            std::ptrdiff_t n) {
    using V = Vector<T>;
    const T *const *s = reinterpret_cast<const T *const *>(samples);
    T *out = static_cast<T *>(d);
    // What is too short for a vector is copied into one and out of it.
    const auto part = static_cast<std::size_t>(smaller(n, LANES<T>)) * sizeof(T);
    if (n < LANES<T>) {
        const auto load = [s, part](std::ptrdiff_t k, V &v) {
            v = V{};
            __builtin_memcpy(&v, s[k], part);
        };
        V result;
        medianOf(load, count, static_cast<V *>(work), result);
        __builtin_memcpy(out, &result, part);
        return;
    }
    V *w = static_cast<V *>(work);
    for (std::ptrdiff_t x = 0; x < n; x += LANES<T>) {
        x = smaller(x, n - LANES<T>);
        const auto load = [s, x](std::ptrdiff_t k, V &v) {
            __builtin_memcpy(&v, s[k] + x, sizeof v);
        };
        V result;
        if (count == 9) {
            medianOfFixed<9, V>(load, result);
        } else if (count == 25) {
            medianOfFixed<25, V>(load, result);
        } else {
            medianOf(load, count, w, result);
        }
        __builtin_memcpy(out + x, &result, sizeof result);
    }
}

// Sorts by one byte after the other, the highest last. T is unsigned; numbers
// with a sign come in order once their highest bit is turned.
template <class T>
void orderSamples(const void *samples, std::ptrdiff_t n, u32 flip, u32 *places, u32 *work,
                  void *ordered) {
    constexpr int DIGITS = sizeof(T);
    const T *s = static_cast<const T *>(samples);
    T *out = static_cast<T *>(ordered);
    const auto digit = [s, flip](u32 i, int d) { return (s[i] ^ flip) >> (8 * d) & 0xFF; };
    u32 next[DIGITS][256] = {};
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        for (int d = 0; d < DIGITS; ++d) ++next[d][digit(static_cast<u32>(i), d)];
    }
    for (int d = 0; d < DIGITS; ++d) {
        u32 sum = 0;
        for (int v = 0; v < 256; ++v) {
            const u32 count = next[d][v];
            next[d][v] = sum;
            sum += count;
        }
    }
    // The order so far is in one of two arrays; at first it is that of the samples.
    u32 *from = places;
    u32 *to = work;
    for (std::ptrdiff_t i = 0; i < n; ++i) from[i] = static_cast<u32>(i);
    for (int d = 0; d < DIGITS - 1; ++d) {
        for (std::ptrdiff_t i = 0; i < n; ++i) to[next[d][digit(from[i], d)]++] = from[i];
        u32 *const swapped = from;
        from = to;
        to = swapped;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 at = from[i];
        const u32 place = next[DIGITS - 1][digit(at, DIGITS - 1)]++;
        // With one digit `from` is `places`, and sample i is at i.
        places[at] = place;
        out[place] = s[at];
    }
}

// Where the bit of a word is that has n others below it.
inline int nthBit(u64 bits, std::ptrdiff_t n) {
#if defined(__BMI2__) && defined(__x86_64__)
    return __builtin_ctzll(__builtin_ia32_pdep_di(u64{1} << n, bits));
#else
    for (; n > 0; --n) bits &= bits - 1;
    return __builtin_ctzll(bits);
#endif
}

// The box is a set of places. It is known how many of them lie in the words below
// the one that the median was in last, which is never far away.
template <class T>
void medianOfPlaces(const u32 *places, std::ptrdiff_t height, std::ptrdiff_t rows,
                    std::ptrdiff_t step, std::ptrdiff_t count, const void *ordered, u64 *set,
                    std::ptrdiff_t words, void *d, std::ptrdiff_t n) {
    const T *values = static_cast<const T *>(ordered);
    T *out = static_cast<T *>(d);
    const std::ptrdiff_t rank = rows * count / 2;
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        for (std::ptrdiff_t w = 0; w < words; ++w) set[w] = 0;
        for (std::ptrdiff_t k = 0; k < count; ++k) {
            const u32 *column = places + (c + k * step) * height;
            for (std::ptrdiff_t r = 0; r < rows; ++r)
                set[column[r] / 64] |= u64{1} << column[r] % 64;
        }
        std::ptrdiff_t word = 0;
        std::ptrdiff_t below = 0;
        for (std::ptrdiff_t x = c;;) {
            while (below > rank) below -= __builtin_popcountll(set[--word]);
            for (int here; below + (here = __builtin_popcountll(set[word])) <= rank; ++word) {
                below += here;
            }
            out[x] = values[word * 64 + nthBit(set[word], rank - below)];
            if (x + step >= n) break;
            const u32 *leaving = places + x * height;
            const u32 *entering = leaving + count * step * height;
            const s32 first = static_cast<s32>(word * 64);
            s32 change = 0;
            ZYLQX_VECTOR_LOOP
            for (std::ptrdiff_t r = 0; r < rows; ++r) {
                change += static_cast<s32>(entering[r]) < first ? 1 : 0;
                change -= static_cast<s32>(leaving[r]) < first ? 1 : 0;
            }
            below += change;
            for (std::ptrdiff_t r = 0; r < rows; ++r) {
                set[leaving[r] / 64] ^= u64{1} << leaving[r] % 64;
                set[entering[r] / 64] ^= u64{1} << entering[r] % 64;
            }
            x += step;
        }
    }
}

// The bins of one block of values, or the sums of all blocks. Compilers take loops
// over them apart.
typedef u16 Half __attribute__((vector_size(HISTOGRAM_BLOCK)));
struct Bins {
    Half low, high;
};
inline Bins loadBins(const u16 *bins) {
    return {load<Half>(bins), load<Half>(bins + HISTOGRAM_BLOCK / 2)};
}
inline void storeBins(u16 *bins, const Bins &from) {
    store(bins, from.low);
    store(bins + HISTOGRAM_BLOCK / 2, from.high);
}

// They follow a box from one column to another.
inline void moveBins(Bins &bins, const u16 *entering, const u16 *leaving) {
    const Bins in = loadBins(entering);
    const Bins out = loadBins(leaving);
    bins.low += in.low - out.low;
    bins.high += in.high - out.high;
}

// Those of `count` columns, `step` columns apart.
inline void sumBins(Bins &bins, const u16 *histograms, std::ptrdiff_t step, std::ptrdiff_t count) {
    bins = Bins();
    for (std::ptrdiff_t k = 0; k < count; ++k, histograms += step * HISTOGRAM) {
        const Bins in = loadBins(histograms);
        bins.low += in.low;
        bins.high += in.high;
    }
}

inline Half runningSum(Half v) {
    const Half none = {};
    v += __builtin_shufflevector(v, none, 8, 0, 1, 2, 3, 4, 5, 6);
    v += __builtin_shufflevector(v, none, 8, 8, 0, 1, 2, 3, 4, 5);
    v += __builtin_shufflevector(v, none, 8, 8, 8, 8, 0, 1, 2, 3);
    return v;
}

// How many bins there are before the one in which the value of this rank lies. The
// rank becomes that among the values of the bin. No branch that would be guessed.
inline int findBin(const Bins &bins, u32 &rank) {
    const Half low = runningSum(bins.low);
    const Half high = runningSum(bins.high) + low[7];
    const Half limit = Half{} + static_cast<u16>(rank);
    Half passed = (Half)(low <= limit) + (Half)(high <= limit);
    passed += __builtin_shufflevector(passed, passed, 4, 5, 6, 7, 0, 1, 2, 3);
    passed += __builtin_shufflevector(passed, passed, 2, 3, 0, 1, 6, 7, 4, 5);
    passed += __builtin_shufflevector(passed, passed, 1, 0, 3, 2, 5, 4, 7, 6);
    const int bin = -static_cast<s16>(passed[0]);
    u16 below[HISTOGRAM_BLOCK + 1];
    below[0] = 0;
    storeBins(below + 1, {low, high});
    rank -= below[bin];
    return bin;
}

// The sums of blocks follow the box; the bins of a block are brought to its place
// when the median is among them. A box has fewer than 2^16 values.
void medianHistogram(const u16 *histograms, std::ptrdiff_t step, std::ptrdiff_t count, u32 values,
                     u8 flip, u8 *d, std::ptrdiff_t n) {
    constexpr int BLOCKS = HISTOGRAM_BLOCK;
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        const u16 *column = histograms + c * HISTOGRAM;
        Bins blocks;
        Bins bins[BLOCKS];
        std::ptrdiff_t at[BLOCKS]; // the pixels whose boxes the bins are of
        for (int b = 0; b < BLOCKS; ++b) at[b] = -count;
        sumBins(blocks, column, step, count);
        std::ptrdiff_t pixel = 0;
        for (std::ptrdiff_t x = c;; x += step, ++pixel, column += step * HISTOGRAM) {
            u32 rank = values / 2;
            const int block = findBin(blocks, rank);
            Bins own = bins[block];
            const u16 *to = column + (block + 1) * HISTOGRAM_BLOCK;
            const std::ptrdiff_t late = pixel - at[block];
            if (2 * late > count) {
                sumBins(own, to, step, count);
            } else {
                const u16 *leaving = to - late * step * HISTOGRAM;
                for (; leaving != to; leaving += step * HISTOGRAM) {
                    moveBins(own, leaving + count * step * HISTOGRAM, leaving);
                }
            }
            bins[block] = own;
            at[block] = pixel;
            d[x] = static_cast<u8>((block * HISTOGRAM_BLOCK + findBin(own, rank)) ^ flip);
            if (x + step >= n) break;
            moveBins(blocks, column + count * step * HISTOGRAM, column);
        }
    }
}

} // namespace

const MedianKernels medianKernels = {
    .ofSamples = ZYLQX_SAMPLES(median),
    .orderSamples = {orderSamples<u8>, orderSamples<u16>, orderSamples<u32>},
    .ofPlaces = {medianOfPlaces<u8>, medianOfPlaces<u16>, medianOfPlaces<u32>},
    .ofHistograms = medianHistogram,
};

} // namespace zylqx::ZYLQX_LEVEL
