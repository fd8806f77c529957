// Colour to gray by weighted sums, and gray to colour by factors.
//
// Weights add up to 255 for 8- and 16-bit samples, so that sums are below 2^16 and
// 2^24; 32-bit samples lose 11 bits before weights that add up to 512, so that sums
// stay below 2^31. Where pairs of products are summed by one instruction, which takes
// signed bytes, 128 is taken from every sample and 128 * 255 given back. Gray becomes
// colour by whole weights and a shift, 32-bit samples by fractions in double precision.
#include "convert/channels.h"
#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// ---- colour to gray -----------------------------------------------------------

// A sample of the destination depth; the sum of weights is 255 for 8 and 16
// bits. 32-bit samples are shifted before they are weighted with 512 in all, so
// that sums stay within 31 bits.
template <class S, class D>
struct Gray {
    static constexpr s32 RED = 54, GREEN = 183, BLUE = 18;
    static constexpr int SHIFT = sizeof(D) == 1 ? 8 : 0;
    using Sum = u16;
    static Sum weighted(S v, Sum weight) { return Sum(v * weight); }
    static D of(Sum sum) { return D(sum >> SHIFT); }
};
template <class D>
struct Gray<u16, D> {
    static constexpr s32 RED = 54, GREEN = 183, BLUE = 18;
    using Sum = u32;
    static Sum weighted(u16 v, Sum weight) { return v * weight; }
    static D of(Sum sum) { return D(sum >> (sizeof(D) == 1 ? 16 : 8)); }
};
template <class D>
struct Gray<s32, D> {
    static constexpr s32 RED = 109, GREEN = 366, BLUE = 37;
    using Sum = s32;
    static Sum weighted(s32 v, Sum weight) { return (v >> 11) * weight; }
    static D of(Sum sum) { return D(sum < 0 ? 0 : sum >> (sizeof(D) == 1 ? 21 : 13)); }
};

// Flags of a 1-bit destination.
struct Flag {
    u8 value;
};
template <>
struct Gray<u8, Flag> : Gray<u8, u8> {
    static constexpr int SHIFT = 15; // set from 128 * 256 on
    static Flag of(Sum sum) { return {u8(sum >> SHIFT)}; }
};
template <>
struct Gray<u16, Flag> : Gray<u16, u8> {
    static Flag of(Sum sum) { return {u8((sum >> 8) > 32767)}; }
};
template <>
struct Gray<s32, Flag> : Gray<s32, u8> {
    static Sum weighted(s32 v, Sum weight) { return (v >> 10) * weight; }
    static Flag of(Sum sum) { return {u8(sum > (1 << 29) - 1)}; }
};

#if defined(__AVX2__)
using Bytes16 = SizedVector<u8, 16>;
using Bytes32 = SizedVector<u8, 32>;
using Chars32 = SizedVector<char, 32>;
using Words16 = SizedVector<u16, 32>;
using Shorts16 = SizedVector<short, 32>;
using Pixels8 = SizedVector<s32, 32>;

// Eight pixels, each in four bytes; of three channels 28 bytes are read.
template <int STEP>
Bytes32 loadPixels(const u8 *s) {
    if constexpr (STEP == 4) {
        return load<Bytes32>(s);
    } else {
        const auto a = load<Bytes16>(s);
        const auto b = load<Bytes16>(s + 12);
        return __builtin_shufflevector(a, b, 0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11, 16,
                                       17, 18, 18, 19, 20, 21, 21, 22, 23, 24, 24, 25, 26, 27, 27);
    }
}

// Weighted sums of pixels 0 to 3, 8 to 11, 4 to 7 and 12 to 15, shifted to bytes.
// The instruction for sums of products wants signed samples, so 128 is taken from
// each and 128 * 255 given back; all sums fit in 16 bits.
template <int STEP, int SHIFT>
Shorts16 graySums(const u8 *s, Chars32 weights) {
    const auto products = [weights](Bytes32 v) {
        return __builtin_ia32_pmaddubsw256(weights, Chars32(v ^ 0x80));
    };
    const auto sums = __builtin_ia32_phaddw256(products(loadPixels<STEP>(s)),
                                               products(loadPixels<STEP>(s + 8 * STEP)));
    return Shorts16((Words16(sums) + u16(128 * 255)) >> SHIFT);
}

// The first pixels of a row, if it is not short; gives their number. Of three
// channels the last two pixels are too near the end to be read with their vector.
// The last vector of a row does some pixels again.
template <int STEP, class D>
std::ptrdiff_t grayVectors(const u8 *s, s32 first, s32 second, s32 third, D *d, std::ptrdiff_t n) {
    const Chars32 weights = Chars32(Pixels8{} + (first | second << 8 | third << 16));
    const std::ptrdiff_t last = n - (STEP == 3 ? 34 : 32);
    if (last < 0) return 0;
    for (std::ptrdiff_t i = 0;; i = i + 32 < last ? i + 32 : last) {
        const u8 *pixels = s + STEP * i;
        const auto gray = __builtin_ia32_packuswb256(
            graySums<STEP, Gray<u8, D>::SHIFT>(pixels, weights),
            graySums<STEP, Gray<u8, D>::SHIFT>(pixels + 16 * STEP, weights));
        store(d + i, __builtin_shufflevector(Pixels8(gray), Pixels8(gray), 0, 4, 1, 5, 2, 6, 3, 7));
        if (i == last) return last + 32;
    }
}
#else
template <int STEP, class D>
std::ptrdiff_t grayVectors(const u8 *, s32, s32, s32, D *, std::ptrdiff_t) {
    return 0;
}
#endif

// Not inlined, or GCC 12 warns of writes past the flags of toGrayBitsRow().
template <int STEP, class S, class D>
__attribute__((noinline)) void graySteps(const S *__restrict s, s32 first, s32 second, s32 third,
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
    const s32 w0 = reversed ? G::BLUE : G::RED;
    const s32 w2 = reversed ? G::RED : G::BLUE;
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
        packBits(&flags[0].value, static_cast<u8 *>(d) + i / 8, count);
    }
}

// ---- gray to colour -----------------------------------------------------------

// A sample times a weight. Of a weight that is no more than one, bytes need 16 bits.
template <class T, class Sum>
void weighted(const T *gray, Sum weight, int shift, T *__restrict channel, std::ptrdiff_t n) {
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const auto value = Sum(Sum(gray[x] * weight) >> shift);
        channel[x] = T(value < HIGHEST<T> ? value : HIGHEST<T>);
    }
}

// Calls weigh(k, gray, channel, n) for each of the three weights, but once for weights
// that are equal, and puts the channels into the row.
template <class T, class Weights, class F>
void fromGray(const void *s, const Weights (&weights)[3], const ColourRow &d, std::ptrdiff_t n,
              F weigh) {
    const T *in = static_cast<const T *>(s);
    Chunk<T> chunk;
    T *const own[] = {chunk.a, chunk.b, chunk.c};
    const T *channels[3] = {chunk.a, chunk.b, chunk.c};
    for (int k = 1; k < 3; ++k) {
        if (weights[k] == weights[k - 1]) channels[k] = channels[k - 1];
    }
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        for (int k = 0; k < 3; ++k) {
            if (channels[k] == own[k]) weigh(k, in + i, own[k], count);
        }
        join<T>(channels, d, i, count);
    }
}

template <class T>
void fromGrayRow(const void *s, const GrayWeights &weights, const ColourRow &d, std::ptrdiff_t n) {
    const auto weigh = [&](int k, const T *gray, T *channel, std::ptrdiff_t count) {
        const u32 weight = weights.weight[k];
        if (sizeof(T) == 1 && weight <= 256 && weights.shift == 8) {
            weighted(gray, u16(weight), 8, channel, count);
        } else {
            weighted(gray, weight, weights.shift, channel, count);
        }
    };
    fromGray<T>(s, weights.weight, d, n, weigh);
}

// Truncated, and saturated to the range of a signed 32-bit sample.
inline s32 saturated(double v) {
    const double low = v < -2147483648.0 ? -2147483648.0 : v;
    return static_cast<s32>(low > 2147483647.0 ? 2147483647.0 : low);
}

void fromGrayRow32(const void *s, const GrayWeights &weights, const ColourRow &d,
                   std::ptrdiff_t n) {
    const auto weigh = [&](int k, const s32 *gray, s32 *channel, std::ptrdiff_t count) {
        const double fraction = weights.fraction[k];
        for (std::ptrdiff_t x = 0; x < count; ++x) channel[x] = saturated(gray[x] * fraction);
    };
    fromGray<s32>(s, weights.fraction, d, n, weigh);
}

#define ZYLQX_GRAY_FROM(S)                                                                         \
    { toGrayBitsRow<S>, toGrayRow<S, u8>, toGrayRow<S, u16> }

} // namespace

const GrayKernels grayKernels = {
    {ZYLQX_GRAY_FROM(u8), ZYLQX_GRAY_FROM(u16), ZYLQX_GRAY_FROM(s32)},
    {fromGrayRow<u8>, fromGrayRow<u16>, fromGrayRow32},
};

} // namespace zylqx::ZYLQX_LEVEL
