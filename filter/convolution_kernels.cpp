// Sums of samples times coefficients, and what becomes of the sums.
//
// Sums are taken modulo 2^16 or 2^32: whatever wraps on the way, the total is exact
// when it fits, and the caller knows from the coefficients and the samples' range
// which width holds it. Samples with equal coefficients are added first and
// multiplied once. Narrow samples are not widened: a lane of sums starts as several
// samples taken as one number, and what the upper ones have added to it is taken
// away at the end, modulo 2^n again. Results of 32 bits have sums in double precision, as
// the interface promises: whole numbers up to 2^53, added in the order of the taps.
#include "filter/kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// How many samples there are in the bytes of a sum.
template <class T, class U>
constexpr int PARTS = sizeof(U) / sizeof(T);

// A vector of sums for each sample that the bytes of a sum hold.
template <class T, class U>
struct Parts {
    Vector<U> of[PARTS<T, U>];
};

// A vector of samples is taken as a vector of sums, which is quicker than to widen
// the samples side by side. Part p has the samples from place p on, counted from the
// lowest bits, as one number: those above it are taken away when all is summed up.
// Signed samples are made positive by turning their highest bits.
template <class T, class U>
inline Parts<T, U> partsAt(const T *s) {
    auto v = load<Vector<U>>(s);
    if constexpr (PARTS < T, U >> 1 && T(-1) < T(0)) {
        v ^= Vector<U>{} + static_cast<U>(0x80808080u & (sizeof(T) == 2 ? 0x80008000u : ~0u));
    }
    Parts<T, U> parts;
#pragma GCC unroll 4
    for (int p = 0; p < PARTS<T, U>; ++p) parts.of[p] = v >> (BITS<T> * p);
    return parts;
}

// Writes the parts of each sum side by side.
template <class U>
inline void storeParts(const Vector<U> (&parts)[1], U *sums) {
    store(sums, parts[0]);
}
template <class U>
inline void storeParts(const Vector<U> (&parts)[2], U *sums) {
    store(sums, zipLow<U>(parts[0], parts[1]));
    store(sums + LANES<U>, zipHigh<U>(parts[0], parts[1]));
}
template <class U>
inline void storeParts(const Vector<U> (&parts)[4], U *sums) {
    const Vector<U> low[] = {zipLow<U>(parts[0], parts[2]), zipLow<U>(parts[1], parts[3])};
    const Vector<U> high[] = {zipHigh<U>(parts[0], parts[2]), zipHigh<U>(parts[1], parts[3])};
    storeParts<U>(low, sums);
    storeParts<U>(high, sums + 2 * LANES<U>);
}

// The sums of `B` vectors of samples stay in registers while all taps are added:
// those of one coefficient first, which they are multiplied with together.
template <class T, class U, int B>
void sumVectors(const Tap *taps, std::ptrdiff_t count, std::ptrdiff_t x, U *sums) {
    constexpr int P = PARTS<T, U>;
    Vector<U> total[B][P] = {};
    U coefficients = 0;
    for (std::ptrdiff_t k = 0; k < count;) {
        const s32 coefficient = taps[k].coefficient;
        Parts<T, U> group[B];
        const T *s = static_cast<const T *>(taps[k].samples) + x;
#pragma GCC unroll 4
        for (int b = 0; b < B; ++b) group[b] = partsAt<T, U>(s + b * LANES<T>);
        const std::ptrdiff_t first = k;
        for (++k; k < count && taps[k].coefficient == coefficient; ++k) {
            s = static_cast<const T *>(taps[k].samples) + x;
#pragma GCC unroll 4
            for (int b = 0; b < B; ++b) {
                const Parts<T, U> parts = partsAt<T, U>(s + b * LANES<T>);
#pragma GCC unroll 4
                for (int p = 0; p < P; ++p) group[b].of[p] += parts.of[p];
            }
        }
        const U c = static_cast<U>(coefficient);
        coefficients = static_cast<U>(coefficients + u32{c} * static_cast<u32>(k - first));
#pragma GCC unroll 4
        for (int b = 0; b < B; ++b) {
#pragma GCC unroll 4
            for (int p = 0; p < P; ++p) total[b][p] += group[b].of[p] * (Vector<U>{} + c);
        }
    }
    const bool flipped = P > 1 && T(-1) < T(0);
    const U excess = static_cast<U>(flipped ? u32{coefficients} << (BITS<T> - 1) : 0);
#pragma GCC unroll 4
    for (int b = 0; b < B; ++b) {
#pragma GCC unroll 4
        for (int p = 0; p < P - 1; ++p) total[b][p] -= total[b][p + 1] << BITS<T>;
#pragma GCC unroll 4
        for (int p = 0; p < P; ++p) total[b][p] -= Vector<U>{} + excess;
        if constexpr (!LOWEST_FIRST) {
            for (int p = 0; p < P / 2; ++p) {
                const Vector<U> part = total[b][p];
                total[b][p] = total[b][P - 1 - p];
                total[b][P - 1 - p] = part;
            }
        }
        storeParts<U>(total[b], sums + b * LANES<T>);
    }
}

template <class T, class U>
void accumulate(const Tap *taps, std::ptrdiff_t count, std::ptrdiff_t x, void *d,
                std::ptrdiff_t n) {
    // Three vectors of bytes with their sums are as many as registers hold.
    constexpr int BLOCK = sizeof(T) < sizeof(U) && sizeof(U) == 2 ? 3 : 4 / PARTS<T, U>;
    U *sums = static_cast<U *>(d);
    if (n < LANES<T>) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            u32 sum = 0;
            for (std::ptrdiff_t k = 0; k < count; ++k) {
                const T sample = static_cast<const T *>(taps[k].samples)[x + i];
                sum += static_cast<u32>(taps[k].coefficient) * static_cast<u32>(sample);
            }
            sums[i] = static_cast<U>(sum);
        }
        return;
    }
    std::ptrdiff_t i = 0;
    for (; i + BLOCK * LANES<T> <= n; i += BLOCK * LANES<T>) {
        sumVectors<T, U, BLOCK>(taps, count, x + i, sums + i);
    }
    // The last vector may overlap the one before.
    for (; i < n; i += LANES<T>) {
        i = smaller(i, n - LANES<T>);
        sumVectors<T, U, 1>(taps, count, x + i, sums + i);
    }
}

// What a result is cut to. A bit is 1 for a result above 0.
struct Bit {};
struct Limits {
    s32 low, high;
};
template <class D>
constexpr Limits LIMITS = {-2147483647 - 1, 2147483647};
template <>
constexpr Limits LIMITS<Bit> = {0, 1};
template <>
constexpr Limits LIMITS<s8> = {-128, 127};
template <>
constexpr Limits LIMITS<u8> = {0, 255};
template <>
constexpr Limits LIMITS<s16> = {-32768, 32767};
template <>
constexpr Limits LIMITS<u16> = {0, 65535};

// The type of a result in memory.
template <class D>
struct StoredAs {
    using Type = D;
};
template <>
struct StoredAs<Bit> {
    using Type = u8;
};

template <class S, class D>
void finish(const void *s, int shift, void *d, std::ptrdiff_t n) {
    constexpr S LEAST = static_cast<S>(sizeof(S) == 4 ? -2147483647 - 1 : S(-1) < 0 ? -32768 : 0);
    constexpr S MOST = static_cast<S>(sizeof(S) == 4 ? 2147483647 : S(-1) < 0 ? 32767 : 65535);
    constexpr S LOW = static_cast<S>(larger<s32>(LIMITS<D>.low, LEAST));
    constexpr S HIGH = static_cast<S>(smaller<s32>(LIMITS<D>.high, MOST));
    // Sums may have fewer bits than they are shifted by.
    const int most = 8 * static_cast<int>(sizeof(S)) - 1;
    const S by = static_cast<S>(smaller(shift, most));
    const S rest = static_cast<S>(shift > most ? 1 : 0);
    narrowRow(static_cast<const S *>(s), static_cast<typename StoredAs<D>::Type *>(d), n,
              [by, rest](Vector<S> v) {
                  const Vector<S> low = Vector<S>{} + LOW;
                  const Vector<S> high = Vector<S>{} + HIGH;
                  v = (v >> by) >> rest;
                  if constexpr (LOW > LEAST) v = v < low ? low : v;
                  if constexpr (HIGH < MOST) v = v > high ? high : v;
                  return v;
              });
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
void accumulateWide(const Tap *taps, std::ptrdiff_t count, std::ptrdiff_t x, double *sums,
                    std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] = 0;
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        const T *s = static_cast<const T *>(taps[k].samples) + x;
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

#define ZYLQX_FINISH(S) finish<S, Bit>, finish<S, u8>, finish<S, s8>, finish<S, u16>, finish<S, s16>

} // namespace

const ConvolutionKernels convolutionKernels = {
    .accumulate = {{accumulate<u8, u16>, accumulate<u8, u32>},
                   {accumulate<u8, u16>, accumulate<u8, u32>},
                   {accumulate<s8, u16>, accumulate<s8, u32>},
                   {accumulate<u16, u16>, accumulate<u16, u32>},
                   {accumulate<s16, u16>, accumulate<s16, u32>},
                   {nullptr, accumulate<s32, u32>}},
    .finish = {{ZYLQX_FINISH(s16), nullptr},
               {ZYLQX_FINISH(u16), nullptr},
               {ZYLQX_FINISH(s32), finish<s32, s32>}},
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
};

} // namespace zylqx::ZYLQX_LEVEL
