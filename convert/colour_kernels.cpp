#include "convert/kernels.h"
#include "convert/pack.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using S32 = std::int32_t;

template <class T>
constexpr S32 HIGHEST = sizeof(T) == 4   ? 0x7FFFFFFF
                        : sizeof(T) == 2 ? 0xFFFF
                                         : 0xFF;

// ---- three channels as three arrays -------------------------------------------

template <class T>
struct Chunk {
    alignas(64) T a[CHUNK];
    alignas(64) T b[CHUNK];
    alignas(64) T c[CHUNK];
};

template <int STEP, class T>
void splitSteps(const T *__restrict s, T *__restrict a, T *__restrict b, T *__restrict c,
                std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        a[i] = s[STEP * i];
        b[i] = s[STEP * i + 1];
        c[i] = s[STEP * i + 2];
    }
}

// Pixels [at, at + n) of the row.
template <class T>
void split(const ColourSource &row, std::ptrdiff_t at, std::ptrdiff_t n, Chunk<T> &chunk) {
    const T *s[3];
    for (int k = 0; k < 3; ++k) s[k] = static_cast<const T *>(row.channel[k]) + at * row.step;
    if (row.step == 3 || row.step == 4) {
        const bool reversed = s[2] < s[0];
        T *a = reversed ? chunk.c : chunk.a;
        T *c = reversed ? chunk.a : chunk.c;
        const T *first = reversed ? s[2] : s[0];
        if (row.step == 3) return splitSteps<3>(first, a, chunk.b, c, n);
        return splitSteps<4>(first, a, chunk.b, c, n);
    }
    T *d[3] = {chunk.a, chunk.b, chunk.c};
    for (int k = 0; k < 3; ++k) {
        if (row.step == 1) {
            __builtin_memcpy(d[k], s[k], static_cast<std::size_t>(n) * sizeof(T));
        } else {
            for (std::ptrdiff_t i = 0; i < n; ++i) d[k][i] = s[k][i * row.step];
        }
    }
}

template <class T>
void join3(const T *__restrict a, const T *__restrict b, const T *__restrict c, T *__restrict d,
           std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        d[3 * i] = a[i];
        d[3 * i + 1] = b[i];
        d[3 * i + 2] = c[i];
    }
}

template <class T>
void join4(const T *__restrict a, const T *__restrict b, const T *__restrict c, T *__restrict d,
           std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const T kept = d[4 * i + 3];
        d[4 * i] = a[i];
        d[4 * i + 1] = b[i];
        d[4 * i + 2] = c[i];
        d[4 * i + 3] = kept;
    }
}

template <class T>
void join(const Chunk<T> &chunk, const ColourRow &row, std::ptrdiff_t at, std::ptrdiff_t n) {
    T *d[3];
    for (int k = 0; k < 3; ++k) d[k] = static_cast<T *>(row.channel[k]) + at * row.step;
    if (row.step == 3 || row.step == 4) {
        const bool reversed = d[2] < d[0];
        const T *a = reversed ? chunk.c : chunk.a;
        const T *c = reversed ? chunk.a : chunk.c;
        T *first = reversed ? d[2] : d[0];
        if (row.step == 3) return join3(a, chunk.b, c, first, n);
        return join4(a, chunk.b, c, first, n);
    }
    const T *s[3] = {chunk.a, chunk.b, chunk.c};
    for (int k = 0; k < 3; ++k) {
        if (row.step == 1) {
            __builtin_memcpy(d[k], s[k], static_cast<std::size_t>(n) * sizeof(T));
        } else {
            for (std::ptrdiff_t i = 0; i < n; ++i) d[k][i * row.step] = s[k][i];
        }
    }
}

// Runs operation(chunk, n), which changes the three channels in place, over a row.
template <class T, class F>
void forEachChunk(const ColourSource &s, const ColourRow &d, std::ptrdiff_t n, F operation) {
    Chunk<T> chunk;
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        split(s, i, count, chunk);
        operation(chunk, count);
        join(chunk, d, i, count);
    }
}

// ---- colour to gray -----------------------------------------------------------

// A sample of the destination depth; the sum of weights is 255 for 8 and 16
// bits. 32-bit samples are shifted before they are weighted with 512 in all, so
// that sums stay within 31 bits.
template <class S, class D>
struct Gray {
    static constexpr S32 RED = 54, GREEN = 183, BLUE = 18;
    static constexpr int SHIFT = sizeof(D) == 1 ? 8 : 0;
    using Sum = U16;
    static Sum weighted(S v, Sum weight) { return Sum(v * weight); }
    static D of(Sum sum) { return D(sum >> SHIFT); }
};
template <class D>
struct Gray<U16, D> {
    static constexpr S32 RED = 54, GREEN = 183, BLUE = 18;
    using Sum = std::uint32_t;
    static Sum weighted(U16 v, Sum weight) { return v * weight; }
    static D of(Sum sum) { return D(sum >> (sizeof(D) == 1 ? 16 : 8)); }
};
template <class D>
struct Gray<S32, D> {
    static constexpr S32 RED = 109, GREEN = 366, BLUE = 37;
    using Sum = S32;
    static Sum weighted(S32 v, Sum weight) { return (v >> 11) * weight; }
    static D of(Sum sum) { return D(sum < 0 ? 0 : sum >> (sizeof(D) == 1 ? 21 : 13)); }
};

// Flags of a 1-bit destination.
struct Flag {
    U8 value;
};
template <>
struct Gray<U8, Flag> : Gray<U8, U8> {
    static constexpr int SHIFT = 15; // set from 128 * 256 on
    static Flag of(Sum sum) { return {U8(sum >> SHIFT)}; }
};
template <>
struct Gray<U16, Flag> : Gray<U16, U8> {
    static Flag of(Sum sum) { return {U8((sum >> 8) > 32767)}; }
};
template <>
struct Gray<S32, Flag> : Gray<S32, U8> {
    static Sum weighted(S32 v, Sum weight) { return (v >> 10) * weight; }
    static Flag of(Sum sum) { return {U8(sum > (1 << 29) - 1)}; }
};

#if defined(__AVX2__)
using Bytes16 = U8 __attribute__((vector_size(16)));
using Bytes32 = U8 __attribute__((vector_size(32)));
using Chars32 = char __attribute__((vector_size(32)));
using Words16 = U16 __attribute__((vector_size(32)));
using Shorts16 = short __attribute__((vector_size(32)));
using Pixels8 = S32 __attribute__((vector_size(32)));

// Eight pixels, each in four bytes; of three channels 28 bytes are read.
template <int STEP>
Bytes32 loadPixels(const U8 *s) {
    if constexpr (STEP == 4) {
        Bytes32 v;
        __builtin_memcpy(&v, s, sizeof v);
        return v;
    } else {
        Bytes16 a, b;
        __builtin_memcpy(&a, s, sizeof a);
        __builtin_memcpy(&b, s + 12, sizeof b);
        return __builtin_shufflevector(a, b, 0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11, 16,
                                       17, 18, 18, 19, 20, 21, 21, 22, 23, 24, 24, 25, 26, 27, 27);
    }
}

// Weighted sums of pixels 0 to 3, 8 to 11, 4 to 7 and 12 to 15, shifted to bytes.
// The instruction for sums of products wants signed samples, so 128 is taken from
// each and 128 * 255 given back; all sums fit in 16 bits.
template <int STEP, int SHIFT>
Shorts16 graySums(const U8 *s, Chars32 weights) {
    const auto products = [weights](Bytes32 v) {
        return __builtin_ia32_pmaddubsw256(weights, Chars32(v ^ 0x80));
    };
    const auto sums = __builtin_ia32_phaddw256(products(loadPixels<STEP>(s)),
                                               products(loadPixels<STEP>(s + 8 * STEP)));
    return Shorts16((Words16(sums) + U16(128 * 255)) >> SHIFT);
}

// The first pixels of a row, if it is not short; gives their number. Of three
// channels the last two pixels are too near the end to be read with their vector.
// The last vector of a row does some pixels again.
template <int STEP, class D>
std::ptrdiff_t grayVectors(const U8 *s, S32 first, S32 second, S32 third, D *d, std::ptrdiff_t n) {
    const Chars32 weights = Chars32(Pixels8{} + (first | second << 8 | third << 16));
    const std::ptrdiff_t last = n - (STEP == 3 ? 34 : 32);
    if (last < 0) return 0;
    for (std::ptrdiff_t i = 0;; i = i + 32 < last ? i + 32 : last) {
        const U8 *pixels = s + STEP * i;
        const auto gray = __builtin_ia32_packuswb256(
            graySums<STEP, Gray<U8, D>::SHIFT>(pixels, weights),
            graySums<STEP, Gray<U8, D>::SHIFT>(pixels + 16 * STEP, weights));
        const Pixels8 inOrder =
            __builtin_shufflevector(Pixels8(gray), Pixels8(gray), 0, 4, 1, 5, 2, 6, 3, 7);
        __builtin_memcpy(d + i, &inOrder, sizeof inOrder);
        if (i == last) return last + 32;
    }
}
#else
template <int STEP, class D>
std::ptrdiff_t grayVectors(const U8 *, S32, S32, S32, D *, std::ptrdiff_t) {
    return 0;
}
#endif

// Not inlined, or GCC 12 warns of writes past the flags of toGrayBitsRow().
template <int STEP, class S, class D>
__attribute__((noinline)) void graySteps(const S *__restrict s, S32 first, S32 second, S32 third,
                                         D *__restrict d, std::ptrdiff_t n) {
    using G = Gray<S, D>;
    using Sum = typename G::Sum;
    const Sum w0 = Sum(first), w1 = Sum(second), w2 = Sum(third);
    std::ptrdiff_t done = 0;
    if constexpr (sizeof(S) == 1 && sizeof(D) == 1)
        done = grayVectors<STEP>(s, first, second, third, d, n);
    for (std::ptrdiff_t i = done; i < n; ++i) {
        d[i] = G::of(Sum(G::weighted(s[STEP * i], w0) + G::weighted(s[STEP * i + 1], w1) +
                         G::weighted(s[STEP * i + 2], w2)));
    }
}

template <class S, class D>
void grayChannels(const S *r, const S *g, const S *b, std::ptrdiff_t step, D *__restrict d,
                  std::ptrdiff_t n) {
    using G = Gray<S, D>;
    using Sum = typename G::Sum;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        d[i] = G::of(Sum(G::weighted(r[step * i], G::RED) + G::weighted(g[step * i], G::GREEN) +
                         G::weighted(b[step * i], G::BLUE)));
    }
}

template <class S, class D>
void grayRow(const ColourSource &s, std::ptrdiff_t at, D *d, std::ptrdiff_t n) {
    using G = Gray<S, D>;
    const S *c[3];
    for (int k = 0; k < 3; ++k) c[k] = static_cast<const S *>(s.channel[k]) + at * s.step;
    const bool reversed = c[2] < c[0];
    const S *first = reversed ? c[2] : c[0];
    const S32 w0 = reversed ? G::BLUE : G::RED;
    const S32 w2 = reversed ? G::RED : G::BLUE;
    if (s.step == 3) return graySteps<3>(first, w0, G::GREEN, w2, d, n);
    if (s.step == 4) return graySteps<4>(first, w0, G::GREEN, w2, d, n);
    if (s.step == 1) return grayChannels(c[0], c[1], c[2], 1, d, n);
    grayChannels(c[0], c[1], c[2], s.step, d, n);
}

template <class S, class D>
void toGrayRow(const ColourSource &s, void *d, std::ptrdiff_t n) {
    grayRow<S>(s, 0, static_cast<D *>(d), n);
}

template <class S>
void toGrayBitsRow(const ColourSource &s, void *d, std::ptrdiff_t n) {
    Flag flags[CHUNK];
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        grayRow<S>(s, i, flags, count);
        packBits(&flags[0].value, static_cast<U8 *>(d) + i / 8, count);
    }
}

// ---- gray to colour -----------------------------------------------------------

template <class T>
void fromGrayRow(const void *s, const GrayWeights &weights, const ColourRow &d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(s);
    Chunk<T> chunk;
    T *out[3] = {chunk.a, chunk.b, chunk.c};
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        for (int k = 0; k < 3; ++k) {
            const std::uint32_t weight = weights.weight[k];
            const int shift = weights.shift;
            T *channel = out[k];
            for (std::ptrdiff_t x = 0; x < count; ++x) {
                const std::uint32_t value = (in[i + x] * weight) >> shift;
                channel[x] = T(value < HIGHEST<T> ? value : HIGHEST<T>);
            }
        }
        join(chunk, d, i, count);
    }
}

// Truncated, and saturated to the range of a signed 32-bit sample.
inline S32 saturated(double v) {
    const double low = v < -2147483648.0 ? -2147483648.0 : v;
    return static_cast<S32>(low > 2147483647.0 ? 2147483647.0 : low);
}

void fromGrayRow32(const void *s, const GrayWeights &weights, const ColourRow &d,
                   std::ptrdiff_t n) {
    const S32 *in = static_cast<const S32 *>(s);
    Chunk<S32> chunk;
    S32 *out[3] = {chunk.a, chunk.b, chunk.c};
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        for (int k = 0; k < 3; ++k) {
            const double fraction = weights.fraction[k];
            S32 *channel = out[k];
            for (std::ptrdiff_t x = 0; x < count; ++x) channel[x] = saturated(in[i + x] * fraction);
        }
        join(chunk, d, i, count);
    }
}

// ---- hue ------------------------------------------------------------------------

template <class T>
T smaller(T a, T b) {
    return a < b ? a : b;
}
template <class T>
T larger(T a, T b) {
    return a > b ? a : b;
}

// A choice without a branch: compilers vectorise long chains of these only.
inline S32 select(bool condition, S32 a, S32 b) {
    const S32 mask = -static_cast<S32>(condition);
    return (a & mask) | (b & ~mask);
}

// Truncated, within 0 and the largest sample.
template <class T>
T sample(double v) {
    const double low = v < 0.0 ? 0.0 : v;
    return T(static_cast<S32>(low > HIGHEST<T> ? HIGHEST<T> : low));
}

// The hue in degrees times `delta`, in whole numbers; 8-bit samples.
inline S32 hueTimesDelta(S32 r, S32 g, S32 b, S32 high, S32 delta) {
    const S32 fromRed = 60 * (g - b);
    const S32 fromGreen = 60 * (b - r) + 120 * delta;
    const S32 fromBlue = 60 * (r - g) + 240 * delta;
    const S32 hue = r == high ? fromRed : g == high ? fromGreen : fromBlue;
    return hue < 0 ? hue + 360 * delta : hue;
}

// Truncated quotients of small whole numbers: the nearest float never reaches
// the next whole number, since all quotients keep a 510th away from it.
inline S32 quotient(S32 a, S32 b) {
    return static_cast<S32>(static_cast<float>(a) / static_cast<float>(b));
}

// The hue in degrees, for delta > 0.
inline double hueDegrees(double r, double g, double b, double high, double delta) {
    const double fromRed = 60.0 * (g - b) / delta;
    const double fromGreen = 60.0 * (b - r) / delta + 120.0;
    const double fromBlue = 60.0 * (r - g) / delta + 240.0;
    const double hue = r == high ? fromRed : g == high ? fromGreen : fromBlue;
    return hue < 0.0 ? hue + 360.0 : hue;
}

// Each model turns the three channels of one chunk into the three others. The
// loops have no branches, so that they are vectorised.

struct RgbToHsv {
    static void run(Chunk<U8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const S32 r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const S32 high = larger(larger(r, g), b);
            const S32 delta = high - smaller(smaller(r, g), b);
            const S32 hue = quotient(hueTimesDelta(r, g, b, high, delta), larger(delta, 1));
            chunk.a[i] = U8(hue >> 1);
            chunk.b[i] = U8(quotient(255 * delta, larger(high, 1)));
            chunk.c[i] = U8(high);
        }
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const double high = larger(larger(r, g), b);
            const double delta = high - smaller(smaller(r, g), b);
            const double hue = hueDegrees(r, g, b, high, delta == 0.0 ? 1.0 : delta);
            const double ratio = HIGHEST<T> * delta / (high == 0.0 ? 1.0 : high);
            const T saturation = sample<T>(high == 0.0 ? 0.0 : ratio);
            chunk.a[i] = T(saturation == 0 ? 0 : static_cast<S32>(hue));
            chunk.b[i] = saturation;
            chunk.c[i] = T(high);
        }
    }
};

struct HsvToRgb {
    // One value of a column of the table of sectors.
    static S32 pick(S32 sector, S32 s0, S32 s1, S32 s2, S32 s3, S32 s4, S32 s5) {
        const S32 low = select(sector <= 0, s0, select(sector == 1, s1, s2));
        const S32 high = select(sector == 3, s3, select(sector == 4, s4, s5));
        return select(sector < 3, low, high);
    }

    // Division by 60 is * 34 >> 11 here and division by 255 is >> 8.
    static void run(Chunk<U8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const S32 hue = chunk.a[i], v = chunk.c[i];
            const S32 sector = (hue * 2185) >> 16; // hue / 30
            const S32 f = 2 * hue - 60 * sector;
            const S32 k = (v * chunk.b[i]) >> 8;
            const S32 p = v - k;
            const S32 q = v - ((k * f * 34) >> 11);
            const S32 t = v - ((k * (60 - f) * 34) >> 11);
            chunk.a[i] = U8(pick(sector, v, q, p, p, t, v));
            chunk.b[i] = U8(pick(sector, t, v, v, q, p, p));
            chunk.c[i] = U8(pick(sector, p, p, t, v, v, q));
        }
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        constexpr double MAX = HIGHEST<T>;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double degrees = chunk.a[i], s = chunk.b[i], v = chunk.c[i];
            const double h = (degrees == 360.0 ? 0.0 : degrees) * (1.0 / 60.0);
            const S32 sector = static_cast<S32>(h);
            const double f = h - sector;
            const bool gray = chunk.b[i] == 0;
            const S32 value = chunk.c[i];
            const S32 p = select(gray, value, sample<T>(v * (MAX - s) / MAX));
            const S32 q = select(gray, value, sample<T>(v * (MAX - s * f) / MAX));
            const S32 t = select(gray, value, sample<T>(v * (MAX - s * (1.0 - f)) / MAX));
            chunk.a[i] = T(pick(sector, value, q, p, p, t, value));
            chunk.b[i] = T(pick(sector, t, value, value, q, p, p));
            chunk.c[i] = T(pick(sector, p, p, t, value, value, q));
        }
    }
};

struct RgbToHls {
    static void run(Chunk<U8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const S32 r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const S32 high = larger(larger(r, g), b);
            const S32 low = smaller(smaller(r, g), b);
            const S32 delta = high - low;
            const S32 sum = high + low;
            const S32 span = sum <= 255 ? sum : 510 - sum;
            const S32 hue = quotient(hueTimesDelta(r, g, b, high, delta), larger(delta, 1));
            chunk.a[i] = U8(hue >> 1);
            chunk.b[i] = U8(sum >> 1);
            chunk.c[i] = U8(quotient(255 * delta, larger(span, 1)));
        }
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        constexpr double MAX = HIGHEST<T>;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const double high = larger(larger(r, g), b);
            const double low = smaller(smaller(r, g), b);
            const double delta = high - low;
            const double sum = high + low;
            const double span = sum <= MAX ? sum : 2.0 * MAX - sum;
            const double hue = hueDegrees(r, g, b, high, delta == 0.0 ? 1.0 : delta);
            const double ratio = MAX * delta / (span == 0.0 ? 1.0 : span);
            chunk.a[i] = T(delta == 0.0 ? 0 : static_cast<S32>(hue));
            chunk.b[i] = T(static_cast<S32>(sum * 0.5));
            chunk.c[i] = sample<T>(delta == 0.0 ? 0.0 : ratio);
        }
    }
};

struct HlsToRgb {
    // The value of one colour, for its hue in 0 to 360. Division by 60 and 255
    // is * 274 >> 13, * 258 >> 16.
    static S32 value(S32 h, S32 m1, S32 m2, S32 spread) {
        const S32 rising = m1 + ((spread * 274 * h) >> 13);
        const S32 falling = m1 + ((spread * 274 * (240 - h)) >> 13);
        return select(h < 60, rising, select(h < 180, m2, select(h >= 240, m1, falling)));
    }

    static void run(Chunk<U8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const S32 hue = 2 * chunk.a[i], l = chunk.b[i], s = chunk.c[i];
            const S32 k = (s * l * 258) >> 16;
            const S32 m2 = select(l < 128, l + k, l + s - k);
            const S32 m1 = 2 * l - m2;
            const S32 spread = m2 - l;
            chunk.a[i] = U8(value(select(hue >= 241, hue - 240, hue + 120), m1, m2, spread));
            chunk.b[i] = U8(value(hue, m1, m2, spread));
            chunk.c[i] = U8(value(select(hue < 120, hue + 240, hue - 120), m1, m2, spread));
        }
    }

    static double value(double hue, double m1, double m2) {
        const double above = hue < 0.0 ? hue + 360.0 : hue;
        const double h = above > 360.0 ? above - 360.0 : above;
        const double rising = m1 + (m2 - m1) * h * 0.0166666667;
        const double falling = m1 + (m2 - m1) * (240.0 - h) * 0.0166666667;
        return h < 60.0 ? rising : h < 180.0 ? m2 : h >= 240.0 ? m1 : falling;
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        constexpr double MAX = HIGHEST<T>;
        constexpr double MIDDLE = HIGHEST<T> / 2;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double h = chunk.a[i], l = chunk.b[i], s = chunk.c[i];
            const double m2 = l <= MIDDLE ? l * (1.0 + s / MAX) : l + s - l * s / MAX;
            const double m1 = 2.0 * l - m2;
            const bool gray = chunk.c[i] == 0;
            const T lightness = chunk.b[i];
            const T r = sample<T>(value(h + 120.0, m1, m2));
            const T g = sample<T>(value(h, m1, m2));
            const T b = sample<T>(value(h - 120.0, m1, m2));
            chunk.a[i] = gray ? lightness : r;
            chunk.b[i] = gray ? lightness : g;
            chunk.c[i] = gray ? lightness : b;
        }
    }
};

template <class Operation, class T>
void modelRow(const ColourSource &s, const ColourRow &d, std::ptrdiff_t n) {
    forEachChunk<T>(s, d, n,
                    [](Chunk<T> &chunk, std::ptrdiff_t count) { Operation::run(chunk, count); });
}

// ---- colour twist ---------------------------------------------------------------

// Limited to 0 and MAX, `offset` added, and limited again: all at once after the
// addition.
struct Limits {
    S32 low, high;
    Limits(S32 offset, S32 max)
        : low(offset > 0 ? offset : 0), high(offset < 0 ? max + offset : max) {}
    S32 of(S32 v) const { return v < low ? low : v > high ? high : v; }
};

void twistWholeRow(const ColourSource &s, const Twist &twist, const ColourRow &d,
                   std::ptrdiff_t n) {
    forEachChunk<U8>(s, d, n, [&twist](Chunk<U8> &chunk, std::ptrdiff_t count) {
        S32 m[12];
        for (int k = 0; k < 12; ++k) m[k] = twist.data[k];
        const int scale = twist.scale;
        const S32 offset = twist.offset;
        const Limits limits(offset, 255);
        // A negative sum is limited, so that the shift need not go toward zero.
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const S32 a = chunk.a[i], b = chunk.b[i], c = chunk.c[i];
            const S32 x = (m[0] * a + m[1] * b + m[2] * c + m[3]) >> scale;
            const S32 y = (m[4] * a + m[5] * b + m[6] * c + m[7]) >> scale;
            const S32 z = (m[8] * a + m[9] * b + m[10] * c + m[11]) >> scale;
            chunk.a[i] = U8(limits.of(x + offset));
            chunk.b[i] = U8(limits.of(y + offset));
            chunk.c[i] = U8(limits.of(z + offset));
        }
    });
}

template <class T>
void twistDoubleRow(const ColourSource &s, const Twist &twist, const ColourRow &d,
                    std::ptrdiff_t n) {
    forEachChunk<T>(s, d, n, [&twist](Chunk<T> &chunk, std::ptrdiff_t count) {
        const Limits limits(twist.offset, HIGHEST<T>);
        double m[12];
        for (int k = 0; k < 12; ++k) m[k] = twist.matrix[k];
        const S32 offset = twist.offset;
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const double a = chunk.a[i], b = chunk.b[i], c = chunk.c[i];
            const S32 x = sample<T>(m[0] * a + m[1] * b + m[2] * c + m[3]);
            const S32 y = sample<T>(m[4] * a + m[5] * b + m[6] * c + m[7]);
            const S32 z = sample<T>(m[8] * a + m[9] * b + m[10] * c + m[11]);
            chunk.a[i] = T(limits.of(x + offset));
            chunk.b[i] = T(limits.of(y + offset));
            chunk.c[i] = T(limits.of(z + offset));
        }
    });
}

// ---- fewer bits -----------------------------------------------------------------

template <class S, class D, int SHIFT>
void reduceRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
               std::ptrdiff_t n) {
    const S *in = static_cast<const S *>(s);
    D *out = static_cast<D *>(d);
    if (sStep == 1 && dStep == 1) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = D(larger<S32>(in[i], 0) >> SHIFT);
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i * dStep] = D(larger<S32>(in[i * sStep], 0) >> SHIFT);
    }
}

void reduceToBitsRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t,
                     std::ptrdiff_t n) {
    const U8 *in = static_cast<const U8 *>(s);
    U8 flags[CHUNK];
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        for (std::ptrdiff_t k = 0; k < count; ++k) flags[k] = in[(i + k) * sStep] >> 7;
        packBits(flags, static_cast<U8 *>(d) + i / 8, count);
    }
}

#define ZYLQX_GRAY_FROM(S)                                                                         \
    { toGrayBitsRow<S>, toGrayRow<S, U8>, toGrayRow<S, U16> }
#define ZYLQX_MODEL(Operation)                                                                     \
    { modelRow<Operation, U8>, modelRow<Operation, U16>, modelRow<Operation, S32> }

} // namespace

const ColourKernels colourKernels = {
    {ZYLQX_GRAY_FROM(U8), ZYLQX_GRAY_FROM(U16), ZYLQX_GRAY_FROM(S32)},
    {fromGrayRow<U8>, fromGrayRow<U16>, fromGrayRow32},
    {ZYLQX_MODEL(RgbToHsv), ZYLQX_MODEL(HsvToRgb), ZYLQX_MODEL(RgbToHls), ZYLQX_MODEL(HlsToRgb)},
    twistWholeRow,
    {twistDoubleRow<U8>, twistDoubleRow<U16>},
};

const ReduceKernels reduceKernels = {
    reduceRow<S32, U16, 15>,
    reduceRow<S32, U8, 23>,
    reduceRow<U16, U8, 8>,
    reduceToBitsRow,
};

} // namespace zylqx::ZYLQX_LEVEL
