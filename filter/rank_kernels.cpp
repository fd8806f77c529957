#include "filter/kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

struct OrOf {
    static u64 of(u64 a, u64 b) { return a | b; }
};
struct AndOf {
    static u64 of(u64 a, u64 b) { return a & b; }
};

template <class T, class F>
void extreme2(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = F::of(first[i], second[i]);
}

template <class T, class F>
void extreme3(const void *a, const void *b, const void *c, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    const T *third = static_cast<const T *>(c);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = F::of(F::of(first[i], second[i]), third[i]);
}

// The bits that enter the last word are unspecified, as are those after the row.
template <class F>
void shiftedBits(const u64 *s, std::ptrdiff_t bits, u64 *d, std::ptrdiff_t words) {
    const std::ptrdiff_t skip = bits / 64;
    const int shift = static_cast<int>(bits % 64);
    std::ptrdiff_t i = 0;
    if (shift == 0) {
        for (; i + skip < words; ++i) d[i] = F::of(s[i], s[i + skip]);
    } else {
        ZYLQX_VECTOR_LOOP
        for (i = 0; i < words - skip - 1; ++i) {
            d[i] = F::of(s[i], s[i + skip] << shift | s[i + skip + 1] >> (64 - shift));
        }
        i = words - skip - 1 > 0 ? words - skip - 1 : 0;
        if (i + skip < words) {
            d[i] = F::of(s[i], s[i + skip] << shift);
            ++i;
        }
    }
    for (; i < words; ++i) d[i] = s[i];
}

void extremeBits(bool isSmaller, const u64 *s, std::ptrdiff_t bits, u64 *d, std::ptrdiff_t words) {
    if (isSmaller) {
        shiftedBits<AndOf>(s, bits, d, words);
    } else {
        shiftedBits<OrOf>(s, bits, d, words);
    }
}

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
    if (n < LANES<T>) {
        T *w = static_cast<T *>(work);
        for (std::ptrdiff_t x = 0; x < n; ++x) {
            medianOf([s, x](std::ptrdiff_t k, T &v) { v = s[k][x]; }, count, w, out[x]);
        }
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

// Histograms are looked through in blocks of bins.
constexpr int BINS = 16;

u32 sumOfBins(const u16 *bins) {
    u16 sum = 0;
    for (int b = 0; b < BINS; ++b) sum = static_cast<u16>(sum + bins[b]);
    return sum;
}

// Keeps the histogram of the box while it moves, and how many values lie below
// the block that the median is in. A box has fewer than 2^16 values.
void medianHistogram(const u16 *histograms, std::ptrdiff_t step, std::ptrdiff_t count, u32 values,
                     u8 flip, u8 *d, std::ptrdiff_t n) {
    const u32 rank = values / 2;
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        u16 bins[HISTOGRAM_BINS] = {};
        for (std::ptrdiff_t k = 0; k < count; ++k) {
            const u16 *column = histograms + (c + k * step) * HISTOGRAM_BINS;
            for (int b = 0; b < HISTOGRAM_BINS; ++b)
                bins[b] = static_cast<u16>(bins[b] + column[b]);
        }
        int block = 0;
        u16 below = 0;
        for (std::ptrdiff_t x = c;;) {
            while (below > rank) {
                block -= BINS;
                below = static_cast<u16>(below - sumOfBins(bins + block));
            }
            for (u32 sum; below + (sum = sumOfBins(bins + block)) <= rank; block += BINS) {
                below = static_cast<u16>(below + sum);
            }
            int level = block;
            for (u32 upTo = below; (upTo += bins[level]) <= rank;) ++level;
            d[x] = static_cast<u8>(level ^ flip);
            x += step;
            if (x >= n) break;
            const u16 *leaving = histograms + (x - step) * HISTOGRAM_BINS;
            const u16 *entering = leaving + count * step * HISTOGRAM_BINS;
            for (int b = 0; b < block; ++b) {
                const u16 change = static_cast<u16>(entering[b] - leaving[b]);
                bins[b] = static_cast<u16>(bins[b] + change);
                below = static_cast<u16>(below + change);
            }
            for (int b = block; b < HISTOGRAM_BINS; ++b) {
                bins[b] = static_cast<u16>(bins[b] + entering[b] - leaving[b]);
            }
        }
    }
}

#define ZYLQX_EXTREMES(name, bits, F)                                                              \
    { name<u64, bits>, name<u8, F>, name<s8, F>, name<u16, F>, name<s16, F>, name<s32, F> }

} // namespace

extern const RankKernels rankKernels;
const RankKernels rankKernels = {
    .extreme2 = {ZYLQX_EXTREMES(extreme2, OrOf, MaxOf), ZYLQX_EXTREMES(extreme2, AndOf, MinOf)},
    .extreme3 = {ZYLQX_EXTREMES(extreme3, OrOf, MaxOf), ZYLQX_EXTREMES(extreme3, AndOf, MinOf)},
    .extremeBits = extremeBits,
    .median = ZYLQX_SAMPLES(median),
    .medianHistogram = medianHistogram,
};

} // namespace zylqx::ZYLQX_LEVEL
