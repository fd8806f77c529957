// Scaled products [x * y] = floor(x * y / M), M being the depth's maximum, and what
// compositing makes of them.
//
// With p = x * y and M = 2^n - 1, floor(p / M) = (p + (p >> n) + 1) >> n for all
// p up to M^2. 16-bit samples take it as it stands, with the carry between the halves
// of p found by a comparison; bytes take a product of 16 bits with a factor rounded
// up, which gives the same for all pairs of bytes. Divided results are computed in
// single precision for bytes and in double precision for words, and rounded to nearest
// even by adding a number that leaves no room for a fraction.
#include "core/vectors.h"
#include "core/words.h"
#include "stats/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Memory is the limit, not the width.
using namespace narrow_vectors;

// The values of `compositeType`.
enum Rule { OVER, IN, OUT, ATOP, XOR, PLUS };

// --- vectors of samples ---

#if defined(__SSE2__)
// The bytes of a and b side by side, those of a being the lower halves of words;
// of every 16 bytes the first eight or the last eight.
#define ZYLQX_PAIRS(a, b)                                                                          \
    a, b, a + 1, b + 1, a + 2, b + 2, a + 3, b + 3, a + 4, b + 4, a + 5, b + 5, a + 6, b + 6,      \
        a + 7, b + 7
#if defined(__AVX2__)
inline Vector<u16> lowPairs(Vector<u8> a, Vector<u8> b) {
    return reinterpret_cast<Vector<u16>>(
        __builtin_shufflevector(a, b, ZYLQX_PAIRS(0, 32), ZYLQX_PAIRS(16, 48)));
}
inline Vector<u16> highPairs(Vector<u8> a, Vector<u8> b) {
    return reinterpret_cast<Vector<u16>>(
        __builtin_shufflevector(a, b, ZYLQX_PAIRS(8, 40), ZYLQX_PAIRS(24, 56)));
}
inline Vector<u8> packed(Vector<u16> low, Vector<u16> high) {
    return reinterpret_cast<Vector<u8>>(__builtin_ia32_packuswb256(
        reinterpret_cast<Vector<s16>>(low), reinterpret_cast<Vector<s16>>(high)));
}
#else
inline Vector<u16> lowPairs(Vector<u8> a, Vector<u8> b) {
    return reinterpret_cast<Vector<u16>>(__builtin_shufflevector(a, b, ZYLQX_PAIRS(0, 16)));
}
inline Vector<u16> highPairs(Vector<u8> a, Vector<u8> b) {
    return reinterpret_cast<Vector<u16>>(__builtin_shufflevector(a, b, ZYLQX_PAIRS(8, 24)));
}
inline Vector<u8> packed(Vector<u16> low, Vector<u16> high) {
    return reinterpret_cast<Vector<u8>>(__builtin_ia32_packuswb128(
        reinterpret_cast<Vector<s16>>(low), reinterpret_cast<Vector<s16>>(high)));
}
#endif
#endif

// The arithmetic of one sample size. Pixels have four samples, the last one alpha.
template <class T>
struct Samples;

template <>
struct Samples<u8> {
    static constexpr u8 MOST = 255;
    using V = Vector<u8>;

    static V product(V x, V y) {
#if defined(__SSE2__)
        // (256 * x + 1) * 257 * y / 2^24 is a little more than x * y / 255, never so
        // much that the whole number changes; both factors are made by pairing bytes.
        const V ones = V{} + 1;
        return packed(highProducts(lowPairs(ones, x), lowPairs(y, y)) >> 8,
                      highProducts(highPairs(ones, x), highPairs(y, y)) >> 8);
#else
        const Vector<u16> a = reinterpret_cast<Vector<u16>>(x);
        const Vector<u16> b = reinterpret_cast<Vector<u16>>(y);
        const Vector<u16> even = (a & 0xFF) * (b & 0xFF);
        const Vector<u16> odd = (a >> 8) * (b >> 8);
        return reinterpret_cast<V>((even + (even >> 8) + 1) >> 8 |
                                   ((odd + (odd >> 8) + 1) & 0xFF00));
#endif
    }

    // The same with alphaOf() a pixel, whose words are 257 * y as they stand.
    static V alphaProduct(V x, V alpha) {
        const Vector<u16> factors = reinterpret_cast<Vector<u16>>(alpha);
        return products(x, factors, factors);
    }
    // Colours times alpha, and alpha times one.
    static V preMultiplied(V pixels) {
        const Vector<u16> alpha = reinterpret_cast<Vector<u16>>(alphaOf(pixels));
        const Vector<u16> last =
            alpha |
            reinterpret_cast<Vector<u16>>(Vector<u32>{} + (LOWEST_FIRST ? 0xFFFF0000u : 0xFFFFu));
        return LOWEST_FIRST ? products(pixels, alpha, last) : products(pixels, last, alpha);
    }
    // The lower and the upper halves of words by factors of each.
    static V products(V x, Vector<u16> lower, Vector<u16> upper) {
        const Vector<u16> a = reinterpret_cast<Vector<u16>>(x);
        const Vector<u16> low = highProducts(a << 8 | 1, lower) >> 8;
        const Vector<u16> high = highProducts((a & 0xFF00) | 1, upper) & 0xFF00;
        return reinterpret_cast<V>(low | high);
    }

    static V alphaMask() {
        return reinterpret_cast<V>(Vector<u32>{} + (LOWEST_FIRST ? 0xFF000000u : 0xFFu));
    }
    // Every sample replaced by the alpha of its pixel.
    static V alphaOf(V pixels) {
#if defined(__AVX2__)
        const Vector<u64> last = {0x0707070703030303, 0x0F0F0F0F0B0B0B0B, 0x0707070703030303,
                                  0x0F0F0F0F0B0B0B0B};
        return reinterpret_cast<V>(__builtin_ia32_pshufb256(reinterpret_cast<Vector<char>>(pixels),
                                                            reinterpret_cast<Vector<char>>(last)));
#else
        Vector<u32> alpha = reinterpret_cast<Vector<u32>>(pixels);
        alpha = LOWEST_FIRST ? alpha >> 24 : alpha & 0xFF;
        alpha |= alpha << 8;
        return reinterpret_cast<V>(alpha | alpha << 16);
#endif
    }
};

template <>
struct Samples<u16> {
    static constexpr u16 MOST = 65535;
    using V = Vector<u16>;

    // p + (p >> 16) + 1 carries into the high half when the halves of the product
    // p add up to 2^16 - 1 or more.
    static V product(V x, V y) {
        const V low = x * y;
        const V high = highProducts(x, y);
        return high - reinterpret_cast<V>(high >= ~low);
    }
    static V alphaProduct(V x, V alpha) { return product(x, alpha); }
    static V preMultiplied(V pixels) { return product(pixels, alphaOf(pixels) | alphaMask()); }

    static V alphaMask() {
        return reinterpret_cast<V>(Vector<u64>{} + (LOWEST_FIRST ? 0xFFFFull << 48 : 0xFFFFull));
    }
    static V alphaOf(V pixels) {
        Vector<u64> alpha = reinterpret_cast<Vector<u64>>(pixels);
        alpha = LOWEST_FIRST ? alpha >> 48 : alpha & 0xFFFF;
        alpha |= alpha << 16;
        return reinterpret_cast<V>(alpha | alpha << 32);
    }
};

template <class V>
inline V cappedSum(V x, V y) {
    return x + smaller<V>(y, ~x);
}

// Colours that are pre-multiplied, and alphas, by a rule.
template <int RULE, class V, class F>
inline V blend(V a, V b, V alphaA, V alphaB, F product) {
    if constexpr (RULE == OVER) return cappedSum<V>(a, b - product(b, alphaA));
    if constexpr (RULE == IN) return product(a, alphaB);
    if constexpr (RULE == OUT) return a - product(a, alphaB);
    if constexpr (RULE == ATOP) return cappedSum<V>(product(a, alphaB), b - product(b, alphaA));
    if constexpr (RULE == XOR) return cappedSum<V>(a - product(a, alphaB), b - product(b, alphaA));
    if constexpr (RULE == PLUS) return cappedSum<V>(a, b);
}

// --- rows ---

// Runs operation(vectors of the sources...) over rows of n samples.
template <class T, class F, class... Sources>
inline void mapRows(void *d, std::ptrdiff_t n, F operation, Sources... sources) {
    using V = typename Samples<T>::V;
    const std::ptrdiff_t bytes = n * std::ptrdiff_t{sizeof(T)};
    char *out = static_cast<char *>(d);
    std::ptrdiff_t i = 0;
    for (; i + VECTOR_BYTES <= bytes; i += VECTOR_BYTES) {
        store<V>(out + i, operation(load<V>(static_cast<const char *>(sources) + i)...));
    }
    const std::ptrdiff_t rest = bytes - i;
    if (rest == 0) return;
    storePart<V>(out + i, operation(loadPart<V>(static_cast<const char *>(sources) + i, rest)...),
                 rest);
}

template <class T>
void multiplyRow(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    mapRows<T>(d, n, Samples<T>::product, a, b);
}

template <class T>
void multiplyConstantRow(const void *s, u16 scale, void *d, std::ptrdiff_t n) {
    using V = typename Samples<T>::V;
    const V factor = V{} + static_cast<T>(scale);
    mapRows<T>(
        d, n, [=](V x) { return Samples<T>::product(x, factor); }, s);
}

template <class T>
void complementRow(const void *s, void *d, std::ptrdiff_t n) {
    mapRows<T>(
        d, n, [](typename Samples<T>::V x) { return ~x; }, s);
}

template <class T, bool PREMULTIPLIED, int RULE>
void compositeRow(const void *a, const void *b, const void *alphaA, const void *alphaB, void *d,
                  std::ptrdiff_t n) {
    using S = Samples<T>;
    using V = typename S::V;
    mapRows<T>(
        d, n,
        [](V colourA, V colourB, V ownA, V ownB) {
            if constexpr (!PREMULTIPLIED) {
                colourA = S::product(colourA, ownA);
                colourB = S::product(colourB, ownB);
            }
            return blend<RULE>(colourA, colourB, ownA, ownB, S::product);
        },
        a, b, alphaA, alphaB);
}

// The rules give alphas when alphas are put in for the colours.
template <class T, int RULE>
void resultAlphaRow(const void *alphaA, const void *alphaB, void *d, std::ptrdiff_t n) {
    mapRows<T>(
        d, n,
        [](typename Samples<T>::V ownA, typename Samples<T>::V ownB) {
            return blend<RULE>(ownA, ownB, ownA, ownB, Samples<T>::product);
        },
        alphaA, alphaB);
}

// --- pixels of four samples, the last one alpha ---

template <class V>
inline V select(V mask, V a, V b) {
    return (a & mask) | (b & ~mask);
}

// Gives pixels the alpha that a PixelAlpha says.
template <class T>
class AlphaSetter {
  public:
    using V = typename Samples<T>::V;

    explicit AlphaSetter(PixelAlpha alpha) {
        const V mask = Samples<T>::alphaMask();
        kept_ = alpha.own ? ~V{} : ~mask;
        set_ = alpha.own ? V{} : mask & static_cast<T>(alpha.constant);
    }
    V operator()(V pixels) const { return (pixels & kept_) | set_; }

  private:
    V kept_;
    V set_;
};

template <class T>
void preMultiplyPixels(void *pixels, PixelAlpha alpha, std::ptrdiff_t n) {
    const void *s = pixels;
    if (alpha.own) return mapRows<T>(pixels, 4 * n, Samples<T>::preMultiplied, s);
    const AlphaSetter<T> withAlpha(alpha);
    mapRows<T>(
        pixels, 4 * n,
        [=](typename Samples<T>::V v) { return Samples<T>::preMultiplied(withAlpha(v)); }, s);
}

template <class T, bool PREMULTIPLIED, int RULE>
inline typename Samples<T>::V blendedPixels(typename Samples<T>::V a, typename Samples<T>::V b) {
    const auto alphaA = Samples<T>::alphaOf(a);
    const auto alphaB = Samples<T>::alphaOf(b);
    if constexpr (!PREMULTIPLIED) {
        a = Samples<T>::preMultiplied(a);
        b = Samples<T>::preMultiplied(b);
    }
    // With the alphas among the colours, the rule gives the alpha too.
    return blend<RULE>(a, b, alphaA, alphaB, Samples<T>::alphaProduct);
}

template <class T, bool PREMULTIPLIED, int RULE>
void compositePixels(const void *a, PixelAlpha alphaA, const void *b, PixelAlpha alphaB, void *d,
                     bool keepAlpha, std::ptrdiff_t n) {
    using V = typename Samples<T>::V;
    // The usual case is worth a loop of its own.
    if (alphaA.own && alphaB.own && !keepAlpha) {
        return mapRows<T>(d, 4 * n, blendedPixels<T, PREMULTIPLIED, RULE>, a, b);
    }
    const AlphaSetter<T> withAlphaA(alphaA);
    const AlphaSetter<T> withAlphaB(alphaB);
    const V kept = keepAlpha ? Samples<T>::alphaMask() : V{};
    const void *before = d;
    mapRows<T>(
        d, 4 * n,
        [=](V pixelsA, V pixelsB, V pixelsD) {
            return select(
                kept, pixelsD,
                blendedPixels<T, PREMULTIPLIED, RULE>(withAlphaA(pixelsA), withAlphaB(pixelsB)));
        },
        a, b, before);
}

// --- division by the resulting alpha ---

// The floating point that a sample size is computed in.
template <class T>
struct Fraction;
template <>
struct Fraction<u8> {
    using Type = float;
    // Numbers from here on have no fraction: adding it rounds to nearest even.
    static constexpr float WHOLE = 8388608.0f;
};
template <>
struct Fraction<u16> {
    using Type = double;
    static constexpr double WHOLE = 4503599627370496.0;
};

template <class T>
inline T rounded(typename Fraction<T>::Type value) {
    using F = typename Fraction<T>::Type;
    constexpr F MOST = Samples<T>::MOST;
    const F capped = value > MOST ? MOST : value;
    const F whole = (capped + Fraction<T>::WHOLE) - Fraction<T>::WHOLE;
    return static_cast<T>(static_cast<s32>(whole));
}

// Colours, or with colours of 1 the alpha itself.
template <int RULE, class F>
inline F blendFractions(F colourA, F colourB, F a, F b) {
    if constexpr (RULE == OVER) return (F(1) - a) * colourB + colourA;
    if constexpr (RULE == IN) return colourA * b;
    if constexpr (RULE == OUT) return (F(1) - b) * colourA;
    if constexpr (RULE == ATOP) return (F(1) - a) * colourB + b * colourA;
    if constexpr (RULE == XOR) return (F(1) - a) * colourB + (F(1) - b) * colourA;
    if constexpr (RULE == PLUS) return colourA + colourB;
}

template <int RULE, class F>
inline F resultAlphaFraction(F a, F b) {
    if constexpr (RULE == ATOP) return b;
    return blendFractions<RULE>(a, b, a, b);
}

template <class T, bool PREMULTIPLIED, int RULE>
void compositeDividedRow(const void *a, const void *b, const void *alphaA, const void *alphaB,
                         void *d, std::ptrdiff_t n) {
    using F = typename Fraction<T>::Type;
    constexpr F MOST = Samples<T>::MOST;
    constexpr F UNIT = 1 / MOST;
    // Below half a unit of a colour's and an alpha's product nothing is divided.
    constexpr F THRESHOLD = 1 / (2 * MOST * MOST);
    const T *samplesA = static_cast<const T *>(a);
    const T *samplesB = static_cast<const T *>(b);
    const T *alphasA = static_cast<const T *>(alphaA);
    const T *alphasB = static_cast<const T *>(alphaB);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const F fractionA = F(alphasA[i]) * UNIT;
        const F fractionB = F(alphasB[i]) * UNIT;
        const F colourA = PREMULTIPLIED ? F(samplesA[i]) : fractionA * F(samplesA[i]);
        const F colourB = PREMULTIPLIED ? F(samplesB[i]) : fractionB * F(samplesB[i]);
        const F colour = blendFractions<RULE>(colourA, colourB, fractionA, fractionB);
        const F alpha = resultAlphaFraction<RULE>(fractionA, fractionB);
        out[i] = rounded<T>(colour / (alpha > THRESHOLD ? alpha : F(1)));
    }
}

template <class T, int RULE>
void resultAlphaDividedRow(const void *alphaA, const void *alphaB, void *d, std::ptrdiff_t n) {
    using F = typename Fraction<T>::Type;
    constexpr F MOST = Samples<T>::MOST;
    constexpr F UNIT = 1 / MOST;
    const T *alphasA = static_cast<const T *>(alphaA);
    const T *alphasB = static_cast<const T *>(alphaB);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i] = rounded<T>(resultAlphaFraction<RULE>(F(alphasA[i]) * UNIT, F(alphasB[i]) * UNIT) *
                            MOST);
    }
}

// --- moving samples ---

template <class T>
void spreadRow(const void *s, std::ptrdiff_t times, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    if (times == 3) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = in[i];
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        for (std::ptrdiff_t k = 0; k < times; ++k) *out++ = in[i];
    }
}

} // namespace

#define BY_RULE(row, ...)                                                                          \
    {                                                                                              \
        row<__VA_ARGS__, OVER>, row<__VA_ARGS__, IN>, row<__VA_ARGS__, OUT>,                       \
            row<__VA_ARGS__, ATOP>, row<__VA_ARGS__, XOR>, row<__VA_ARGS__, PLUS>                  \
    }
#define BY_PREMULTIPLIED(row, T)                                                                   \
    { BY_RULE(row, T, false), BY_RULE(row, T, true) }
#define DEPTH_KERNELS(T)                                                                           \
    {                                                                                              \
        multiplyRow<T>, multiplyConstantRow<T>, preMultiplyPixels<T>,                              \
            BY_PREMULTIPLIED(compositeRow, T), BY_PREMULTIPLIED(compositePixels, T),               \
            BY_PREMULTIPLIED(compositeDividedRow, T), BY_RULE(resultAlphaRow, T),                  \
            BY_RULE(resultAlphaDividedRow, T), complementRow<T>, spreadRow<T>                      \
    }

const AlphaKernels alphaKernels = {DEPTH_KERNELS(u8), DEPTH_KERNELS(u16)};

} // namespace zylqx::ZYLQX_LEVEL
