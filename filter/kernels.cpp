#include "filter/kernels.h"

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using s8 = std::int8_t;
using u8 = std::uint8_t;
using s16 = std::int16_t;
using u16 = std::uint16_t;
using s32 = std::int32_t;
using u32 = std::uint32_t;
using s64 = std::int64_t;
using u64 = std::uint64_t;

template <class T>
T smaller(T a, T b) {
    return a < b ? a : b;
}
template <class T>
T larger(T a, T b) {
    return a > b ? a : b;
}
template <class T>
T clamp(T value, T low, T high) {
    return smaller(larger(value, low), high);
}

// --- convolution ---

// Adds G taps at a time, so that sums are loaded and stored once for them all.
template <class T, class U, int G>
void addTaps(const Tap *taps, U *sums, bool first, std::ptrdiff_t n) {
    const T *s[G];
    U c[G];
    for (int g = 0; g < G; ++g) {
        s[g] = static_cast<const T *>(taps[g].samples);
        c[g] = static_cast<U>(taps[g].coefficient);
    }
    const auto sum = [&](std::ptrdiff_t i) {
        U total = 0;
        for (int g = 0; g < G; ++g) {
            total = static_cast<U>(total + static_cast<U>(u32{c[g]} * static_cast<U>(s[g][i])));
        }
        return total;
    };
    if (first) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] = static_cast<U>(sum(i));
    } else {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] = static_cast<U>(sums[i] + sum(i));
    }
}

template <class T, class U>
void accumulate(const Tap *taps, std::ptrdiff_t count, void *d, std::ptrdiff_t n) {
    U *sums = static_cast<U *>(d);
    bool first = true;
    while (count >= 5) {
        addTaps<T, U, 5>(taps, sums, first, n);
        taps += 5;
        count -= 5;
        first = false;
    }
    switch (count) {
    case 4:
        addTaps<T, U, 4>(taps, sums, first, n);
        break;
    case 3:
        addTaps<T, U, 3>(taps, sums, first, n);
        break;
    case 2:
        addTaps<T, U, 2>(taps, sums, first, n);
        break;
    case 1:
        addTaps<T, U, 1>(taps, sums, first, n);
        break;
    default:
        for (std::ptrdiff_t i = 0; first && i < n; ++i) sums[i] = 0;
    }
}

struct Limits {
    s32 low, high;
};
template <class D>
constexpr Limits LIMITS = {0, 0};
template <>
constexpr Limits LIMITS<s8> = {-128, 127};
template <>
constexpr Limits LIMITS<u8> = {0, 255};
template <>
constexpr Limits LIMITS<s16> = {-32768, 32767};
template <>
constexpr Limits LIMITS<u16> = {0, 65535};

// A sum within the range of D; S is narrower than D's range needs at times.
template <class S, class D>
D saturate(S value) {
    if constexpr (sizeof(D) == 4) {
        return static_cast<D>(value);
    } else {
        s32 low = LIMITS<D>.low;
        s32 high = LIMITS<D>.high;
        if constexpr (sizeof(S) == 2) {
            low = larger(low, S(-1) < 0 ? -32768 : 0);
            high = smaller(high, S(-1) < 0 ? 32767 : 65535);
        }
        return static_cast<D>(clamp(value, static_cast<S>(low), static_cast<S>(high)));
    }
}

// In place. Sums of 16 bits are shifted as vectors: compilers widen them else.
template <class S>
void shiftSums(S *sums, int shift, std::ptrdiff_t n) {
    if (shift == 0) return;
    std::ptrdiff_t i = 0;
    if constexpr (sizeof(S) == 2) {
        typedef S V __attribute__((vector_size(32)));
        constexpr std::ptrdiff_t LANES = 16;
        const S by = static_cast<S>(smaller(shift, 15));
        const S rest = static_cast<S>(shift - by > 0 ? 1 : 0);
        for (; i + LANES <= n; i += LANES) {
            V v;
            __builtin_memcpy(&v, sums + i, sizeof v);
            v = (v >> by) >> rest;
            __builtin_memcpy(sums + i, &v, sizeof v);
        }
    }
    for (; i < n; ++i) sums[i] = static_cast<S>(sums[i] >> shift);
}

template <class S, class D>
void finish(void *s, int shift, void *d, std::ptrdiff_t n) {
    S *sums = static_cast<S *>(s);
    D *out = static_cast<D *>(d);
    shiftSums(sums, shift, n);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = saturate<S, D>(sums[i]);
}

template <class S>
void finishBit(void *s, int shift, void *d, std::ptrdiff_t n) {
    S *sums = static_cast<S *>(s);
    u8 *out = static_cast<u8 *>(d);
    shiftSums(sums, shift, n);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = static_cast<u8>(sums[i] > 0 ? 1 : 0);
}

s32 squareOf(s32 value) {
    return static_cast<s32>(static_cast<u32>(value) * static_cast<u32>(value));
}

void combineFirst(const s32 *s, int shift, bool square, s32 *t, std::ptrdiff_t n) {
    if (square) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) t[i] = squareOf(s[i] >> shift);
    } else {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) t[i] = s[i] >> shift;
    }
}

struct AddOf {
    static s32 of(s32 t, s32 s) {
        return static_cast<s32>(static_cast<u32>(t) + static_cast<u32>(s));
    }
    static double of(double t, double s) { return t + s; }
};
struct AddSquareOf {
    static s32 of(s32 t, s32 s) { return AddOf::of(t, squareOf(s)); }
    static double of(double t, double s) { return t + s * s; }
};
struct MaxOf {
    template <class T>
    static T of(T t, T s) {
        return larger(t, s);
    }
};
struct MinOf {
    template <class T>
    static T of(T t, T s) {
        return smaller(t, s);
    }
};

template <class F>
void combine(const s32 *s, int shift, s32 *t, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) t[i] = F::of(t[i], s[i] >> shift);
}

template <class F>
void combineWide(const double *s, double *t, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) t[i] = F::of(t[i], s[i]);
}

void root(s32 *t, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        t[i] = static_cast<s32>(__builtin_sqrt(static_cast<double>(larger(t[i], s32{0}))));
    }
}

template <class T>
void accumulateWide(const Tap *taps, std::ptrdiff_t count, double *sums, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] = 0;
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        const T *s = static_cast<const T *>(taps[k].samples);
        const double c = taps[k].coefficient;
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] += c * static_cast<double>(s[i]);
    }
}

// The nearest 32-bit integer, ties to even; the ends of the range beyond them.
s32 nearest(double value) {
    if (value >= 2147483647.0) return 2147483647;
    if (value < -2147483648.0) return -2147483647 - 1;
    s32 whole = static_cast<s32>(value);
    const double rest = value - whole;
    if (rest > 0.5 || (rest == 0.5 && (whole & 1) != 0)) whole += 1;
    if (rest < -0.5 || (rest == -0.5 && (whole & 1) != 0)) whole -= 1;
    return whole;
}

void shiftWide(double *s, int shift, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) s[i] = nearest(s[i]) >> shift;
}

void squareWide(double *s, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) s[i] *= s[i];
}

void rootWide(double *t, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) t[i] = __builtin_sqrt(t[i]);
}

void finishWide(const double *s, s32 *d, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i] = nearest(s[i]);
}

// --- box sums ---

template <class T, class U>
void addRow(const void *entering, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(entering);
    U *sums = static_cast<U *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] += static_cast<U>(in[i]);
}

template <class T, class U>
void slideRow(const void *entering, const void *leaving, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(entering);
    const T *out = static_cast<const T *>(leaving);
    U *sums = static_cast<U *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        sums[i] += static_cast<U>(in[i]) - static_cast<U>(out[i]);
    }
}

typedef u32 Words __attribute__((vector_size(32)));
constexpr std::ptrdiff_t WORDS = 8;

// boxes[i] = boxes[i - 1] + columns[i - 1 + count] - columns[i - 1], eight at a
// time: each difference is added to those after it, and all to the box before.
// Returns how many were done.
std::ptrdiff_t slideWords(const u32 *columns, std::ptrdiff_t count, u32 *boxes, std::ptrdiff_t n) {
    const Words zero = {};
    Words before = zero + boxes[0];
    std::ptrdiff_t i = 1;
    for (; i + WORDS <= n; i += WORDS) {
        Words sum;
        Words leaving;
        __builtin_memcpy(&sum, columns + i - 1 + count, sizeof sum);
        __builtin_memcpy(&leaving, columns + i - 1, sizeof leaving);
        sum -= leaving;
        sum += __builtin_shufflevector(sum, zero, 8, 0, 1, 2, 3, 4, 5, 6);
        sum += __builtin_shufflevector(sum, zero, 8, 8, 0, 1, 2, 3, 4, 5);
        sum += __builtin_shufflevector(sum, zero, 8, 8, 8, 8, 0, 1, 2, 3);
        sum += before;
        before = __builtin_shufflevector(sum, sum, 7, 7, 7, 7, 7, 7, 7, 7);
        __builtin_memcpy(boxes + i, &sum, sizeof sum);
    }
    return i;
}

// `column(i)` is the sum of column i; boxes before `first` are done.
template <class U, class F>
void slideBoxes(F column, std::ptrdiff_t step, std::ptrdiff_t count, U *boxes, std::ptrdiff_t first,
                std::ptrdiff_t n) {
    const std::ptrdiff_t width = count * step;
    for (std::ptrdiff_t i = first; i < n; ++i) {
        boxes[i] = boxes[i - step] + column(i - step + width) - column(i - step);
    }
}

template <class U, class F>
void firstBoxes(F column, std::ptrdiff_t step, std::ptrdiff_t count, U *boxes, std::ptrdiff_t n) {
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        boxes[c] = 0;
        for (std::ptrdiff_t k = 0; k < count; ++k) boxes[c] += column(c + k * step);
    }
}

void boxSums(const u32 *columns, std::ptrdiff_t step, std::ptrdiff_t count, u32 *boxes,
             std::ptrdiff_t n) {
    const auto column = [columns](std::ptrdiff_t i) { return columns[i]; };
    firstBoxes<u32>(column, step, count, boxes, n);
    const std::ptrdiff_t first = step == 1 ? slideWords(columns, count, boxes, n) : step;
    slideBoxes<u32>(column, step, count, boxes, first, n);
}

// `single`: column sums are rounded to single precision.
void boxSumsWide(const s64 *columns, bool single, std::ptrdiff_t step, std::ptrdiff_t count,
                 s64 *boxes, std::ptrdiff_t n) {
    const auto column = [columns, single](std::ptrdiff_t i) {
        if (!single) return columns[i];
        // By way of double: some processors convert 64-bit integers to float with
        // more bits than a float has.
        return static_cast<s64>(static_cast<float>(static_cast<double>(columns[i])));
    };
    firstBoxes<s64>(column, step, count, boxes, n);
    slideBoxes<s64>(column, step, count, boxes, step, n);
}

// Sums of 32 bits come from samples of at most 16, so results are in the range.
template <class T>
void mean(const void *s, double factor, void *d, std::ptrdiff_t n) {
    const s32 *boxes = static_cast<const s32 *>(s);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i] = static_cast<T>(static_cast<s32>(static_cast<double>(boxes[i]) * factor));
    }
}

template <class T>
void meanWide(const void *s, double factor, void *d, std::ptrdiff_t n) {
    const s64 *boxes = static_cast<const s64 *>(s);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const double value = static_cast<double>(boxes[i]) * factor;
        out[i] = static_cast<T>(static_cast<s32>(clamp(value, -2147483648.0, 2147483647.0)));
    }
}

void atLeast(const u32 *boxes, u32 least, u8 *d, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i] = boxes[i] >= least ? 1 : 0;
}

// --- extremes ---

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

// --- medians ---

constexpr int VECTOR_BYTES = 32;

template <class T>
struct VectorOf {
    typedef T Type __attribute__((vector_size(VECTOR_BYTES)));
};

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
    using V = typename VectorOf<T>::Type;
    constexpr std::ptrdiff_t LANES = VECTOR_BYTES / static_cast<std::ptrdiff_t>(sizeof(T));
    const T *const *s = reinterpret_cast<const T *const *>(samples);
    T *out = static_cast<T *>(d);
    if (n < LANES) {
        T *w = static_cast<T *>(work);
        for (std::ptrdiff_t x = 0; x < n; ++x) {
            medianOf([s, x](std::ptrdiff_t k, T &v) { v = s[k][x]; }, count, w, out[x]);
        }
        return;
    }
    V *w = static_cast<V *>(work);
    for (std::ptrdiff_t x = 0; x < n; x += LANES) {
        x = smaller(x, n - LANES);
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
#define ZYLQX_SAMPLES(name, ...)                                                                   \
    {                                                                                              \
        name<u8 __VA_ARGS__>, name<u8 __VA_ARGS__>, name<s8 __VA_ARGS__>, name<u16 __VA_ARGS__>,   \
            name<s16 __VA_ARGS__>, name<s32 __VA_ARGS__>                                           \
    }
#define ZYLQX_FINISH(S)                                                                            \
    { finishBit<S>, finish<S, u8>, finish<S, s8>, finish<S, u16>, finish<S, s16>, finish<S, s32> }

} // namespace

extern const FilterKernels filterKernels;
const FilterKernels filterKernels = {
    .accumulate = {{accumulate<u8, u16>, accumulate<u8, u32>},
                   {accumulate<u8, u16>, accumulate<u8, u32>},
                   {accumulate<s8, u16>, accumulate<s8, u32>},
                   {accumulate<u16, u16>, accumulate<u16, u32>},
                   {accumulate<s16, u16>, accumulate<s16, u32>},
                   {nullptr, accumulate<s32, u32>}},
    .finish = {ZYLQX_FINISH(s16), ZYLQX_FINISH(u16), ZYLQX_FINISH(s32)},
    .combineFirst = combineFirst,
    .combine = {combine<AddOf>, combine<AddSquareOf>, combine<MaxOf>, combine<MinOf>},
    .root = root,
    .accumulateWide = ZYLQX_SAMPLES(accumulateWide),
    .shiftWide = shiftWide,
    .squareWide = squareWide,
    .combineWide = {combineWide<AddOf>, combineWide<AddSquareOf>, combineWide<MaxOf>,
                    combineWide<MinOf>},
    .rootWide = rootWide,
    .finishWide = finishWide,
    .addRow = ZYLQX_SAMPLES(addRow, , u32),
    .slideRow = ZYLQX_SAMPLES(slideRow, , u32),
    .addRowWide = ZYLQX_SAMPLES(addRow, , s64),
    .slideRowWide = ZYLQX_SAMPLES(slideRow, , s64),
    .boxSums = boxSums,
    .boxSumsWide = boxSumsWide,
    .mean = ZYLQX_SAMPLES(mean),
    .meanWide = ZYLQX_SAMPLES(meanWide),
    .atLeast = atLeast,
    .extreme2 = {ZYLQX_EXTREMES(extreme2, OrOf, MaxOf), ZYLQX_EXTREMES(extreme2, AndOf, MinOf)},
    .extreme3 = {ZYLQX_EXTREMES(extreme3, OrOf, MaxOf), ZYLQX_EXTREMES(extreme3, AndOf, MinOf)},
    .extremeBits = extremeBits,
    .median = ZYLQX_SAMPLES(median),
    .medianHistogram = medianHistogram,
};

} // namespace zylqx::ZYLQX_LEVEL
