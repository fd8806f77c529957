#include "stats/alpha_kernels.h"

#include "stats/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// The values of `compositeType`.
enum Rule { OVER, IN, OUT, ATOP, XOR, PLUS };

// --- samples as vectors of 16-bit elements ---

inline Words broadcast(std::uint16_t value) {
    return Words{} + value;
}

// The high halves of products.
inline Words highProducts(Words x, Words y) {
#if defined(__AVX2__) && !defined(__AVX512BW__)
    return reinterpret_cast<Words>(__builtin_ia32_pmulhuw256(reinterpret_cast<SignedWords>(x),
                                                             reinterpret_cast<SignedWords>(y)));
#elif defined(__SSE2__) && !defined(__AVX2__)
    return reinterpret_cast<Words>(__builtin_ia32_pmulhuw128(reinterpret_cast<SignedWords>(x),
                                                             reinterpret_cast<SignedWords>(y)));
#else
    const Doubles a = reinterpret_cast<Doubles>(x);
    const Doubles b = reinterpret_cast<Doubles>(y);
    const Doubles even = ((a & 0xFFFFu) * (b & 0xFFFFu)) >> 16;
    const Doubles odd = (a >> 16) * (b >> 16) & 0xFFFF0000u;
    return reinterpret_cast<Words>(even | odd);
#endif
}

// The arithmetic of one sample size, and how samples lie in vectors: one or two
// vectors of 16-bit elements make up VECTOR_BYTES of samples.
template <class T>
struct Lanes;

template <>
struct Lanes<std::uint8_t> {
    static constexpr std::uint16_t MOST = 255;
    Words even, odd; // samples 0, 2, 4 ... and 1, 3, 5 ...

    static Lanes of(Words v) { return {v & 0xFF, v >> 8}; }
    static Lanes constant(std::uint16_t value) { return {broadcast(value), broadcast(value)}; }
    Words vector() const { return even | odd << 8; }

    // In pixels of four samples: the last one in place of each, and a mask of it.
    static Lanes alphaOf(Words v) {
        const Doubles alpha = reinterpret_cast<Doubles>(v) >> 24;
        const Words words = reinterpret_cast<Words>(alpha | alpha << 16);
        return {words, words};
    }
    static Words alphaMask() { return reinterpret_cast<Words>(Doubles{} + 0xFF000000u); }

    // Exact: x * y + (x * y >> 8) + 1 is less than 2^16.
    static Words product(Words x, Words y) {
        const Words p = x * y;
        return (p + (p >> 8) + 1) >> 8;
    }
    static Words cappedSum(Words x, Words y) { return smaller<Words>(x + y, broadcast(MOST)); }

    template <class F>
    static Lanes map(F f, const Lanes &a, const Lanes &b, const Lanes &c, const Lanes &d) {
        return {f(a.even, b.even, c.even, d.even), f(a.odd, b.odd, c.odd, d.odd)};
    }
};

template <>
struct Lanes<std::uint16_t> {
    static constexpr std::uint16_t MOST = 65535;
    Words all;

    static Lanes of(Words v) { return {v}; }
    static Lanes constant(std::uint16_t value) { return {broadcast(value)}; }
    Words vector() const { return all; }

    static Lanes alphaOf(Words v) {
        Quads alpha = reinterpret_cast<Quads>(v) >> 48;
        alpha |= alpha << 16;
        return {reinterpret_cast<Words>(alpha | alpha << 32)};
    }
    static Words alphaMask() { return reinterpret_cast<Words>(Quads{} + (0xFFFFull << 48)); }

    // p + (p >> 16) + 1 carries into the high half when the halves of the product
    // p add up to 2^16 - 1 or more.
    static Words product(Words x, Words y) {
        const Words low = x * y;
        const Words high = highProducts(x, y);
        return high - reinterpret_cast<Words>(high >= ~low);
    }
    static Words cappedSum(Words x, Words y) { return x + smaller<Words>(y, ~x); }

    template <class F>
    static Lanes map(F f, const Lanes &a, const Lanes &b, const Lanes &c, const Lanes &d) {
        return {f(a.all, b.all, c.all, d.all)};
    }
};

template <class T>
inline Lanes<T> products(const Lanes<T> &x, const Lanes<T> &y) {
    return Lanes<T>::map([](Words a, Words b, Words, Words) { return Lanes<T>::product(a, b); }, x,
                         y, x, x);
}

// Colours that are pre-multiplied, and alphas, by a rule.
template <class T, int RULE>
inline Words blend(Words a, Words b, Words alphaA, Words alphaB) {
    using L = Lanes<T>;
    if constexpr (RULE == OVER) return L::cappedSum(a, b - L::product(b, alphaA));
    if constexpr (RULE == IN) return L::product(a, alphaB);
    if constexpr (RULE == OUT) return a - L::product(a, alphaB);
    if constexpr (RULE == ATOP) {
        return L::cappedSum(L::product(a, alphaB), b - L::product(b, alphaA));
    }
    if constexpr (RULE == XOR) {
        return L::cappedSum(a - L::product(a, alphaB), b - L::product(b, alphaA));
    }
    if constexpr (RULE == PLUS) return L::cappedSum(a, b);
}

template <class T, int RULE>
inline Lanes<T> blended(const Lanes<T> &a, const Lanes<T> &b, const Lanes<T> &alphaA,
                        const Lanes<T> &alphaB) {
    return Lanes<T>::map(blend<T, RULE>, a, b, alphaA, alphaB);
}

// --- rows ---

// Runs operation(vectors of the sources...) over rows of n samples.
template <class T, class F, class... Sources>
inline void mapRows(void *d, std::ptrdiff_t n, F operation, Sources... sources) {
    const std::ptrdiff_t bytes = n * std::ptrdiff_t{sizeof(T)};
    char *out = static_cast<char *>(d);
    std::ptrdiff_t i = 0;
    for (; i + VECTOR_BYTES <= bytes; i += VECTOR_BYTES) {
        store<Words>(out + i, operation(load<Words>(static_cast<const char *>(sources) + i)...));
    }
    const std::ptrdiff_t rest = bytes - i;
    if (rest == 0) return;
    storePart<Words>(
        out + i, operation(loadPart<Words>(static_cast<const char *>(sources) + i, rest)...), rest);
}

template <class T>
void multiplyRow(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    mapRows<T>(
        d, n, [](Words x, Words y) { return products(Lanes<T>::of(x), Lanes<T>::of(y)).vector(); },
        a, b);
}

template <class T>
void multiplyConstantRow(const void *s, std::uint16_t scale, void *d, std::ptrdiff_t n) {
    const Lanes<T> factor = Lanes<T>::constant(scale);
    mapRows<T>(
        d, n, [=](Words x) { return products(Lanes<T>::of(x), factor).vector(); }, s);
}

template <class T>
void complementRow(const void *s, void *d, std::ptrdiff_t n) {
    mapRows<T>(
        d, n, [](Words x) { return ~x; }, s);
}

template <class T, bool PREMULTIPLIED, int RULE>
void compositeRow(const void *a, const void *b, const void *alphaA, const void *alphaB, void *d,
                  std::ptrdiff_t n) {
    using L = Lanes<T>;
    mapRows<T>(
        d, n,
        [](Words vectorA, Words vectorB, Words vectorAlphaA, Words vectorAlphaB) {
            const L lanesAlphaA = L::of(vectorAlphaA);
            const L lanesAlphaB = L::of(vectorAlphaB);
            L lanesA = L::of(vectorA);
            L lanesB = L::of(vectorB);
            if constexpr (!PREMULTIPLIED) {
                lanesA = products(lanesA, lanesAlphaA);
                lanesB = products(lanesB, lanesAlphaB);
            }
            return blended<T, RULE>(lanesA, lanesB, lanesAlphaA, lanesAlphaB).vector();
        },
        a, b, alphaA, alphaB);
}

// The rules give alphas when alphas are put in for the colours.
template <class T, int RULE>
void resultAlphaRow(const void *alphaA, const void *alphaB, void *d, std::ptrdiff_t n) {
    compositeRow<T, true, RULE>(alphaA, alphaB, alphaA, alphaB, d, n);
}

// --- pixels of four samples, the last one alpha ---

// An alpha in place of every sample of its pixel.
template <class T>
class AlphaLanes {
  public:
    explicit AlphaLanes(PixelAlpha alpha)
        : own_(broadcast(alpha.own ? 0xFFFF : 0)),
          constant_(broadcast(alpha.own ? std::uint16_t{0} : alpha.constant)) {}

    Lanes<T> operator()(Words pixels) const {
        const Lanes<T> alpha = Lanes<T>::alphaOf(pixels);
        return Lanes<T>::map(
            [this](Words a, Words, Words, Words) { return (a & own_) | constant_; }, alpha, alpha,
            alpha, alpha);
    }

  private:
    Words own_;
    Words constant_;
};

inline Words select(Words mask, Words a, Words b) {
    return (a & mask) | (b & ~mask);
}

// Samples times alpha, with the alpha itself as last sample of each pixel.
template <class T>
inline Lanes<T> preMultiplied(Words pixels, const Lanes<T> &alpha) {
    using L = Lanes<T>;
    const Words mask = L::alphaMask();
    const Words samples = select(mask, alpha.vector(), pixels);
    return products(L::of(samples), L::of(alpha.vector() | mask));
}

template <class T>
void preMultiplyPixels(void *pixels, PixelAlpha alpha, std::ptrdiff_t n) {
    const AlphaLanes<T> alphaLanes(alpha);
    const void *s = pixels;
    mapRows<T>(
        pixels, 4 * n, [=](Words v) { return preMultiplied<T>(v, alphaLanes(v)).vector(); }, s);
}

template <class T, bool PREMULTIPLIED, int RULE>
void compositePixels(const void *a, PixelAlpha alphaA, const void *b, PixelAlpha alphaB, void *d,
                     bool keepAlpha, std::ptrdiff_t n) {
    using L = Lanes<T>;
    const AlphaLanes<T> lanesOfA(alphaA);
    const AlphaLanes<T> lanesOfB(alphaB);
    const Words kept = keepAlpha ? L::alphaMask() : Words{};
    const void *before = d;
    mapRows<T>(
        d, 4 * n,
        [=](Words vectorA, Words vectorB, Words vectorD) {
            const L lanesAlphaA = lanesOfA(vectorA);
            const L lanesAlphaB = lanesOfB(vectorB);
            // With the alphas among the colours, the rule gives the alpha too.
            L lanesA, lanesB;
            if constexpr (PREMULTIPLIED) {
                lanesA = L::of(vectorA);
                lanesB = L::of(vectorB);
            } else {
                lanesA = preMultiplied<T>(vectorA, lanesAlphaA);
                lanesB = preMultiplied<T>(vectorB, lanesAlphaB);
            }
            return select(kept, vectorD,
                          blended<T, RULE>(lanesA, lanesB, lanesAlphaA, lanesAlphaB).vector());
        },
        a, b, before);
}

// --- division by the resulting alpha ---

// The floating point that a sample size is computed in.
template <class T>
struct Fraction;
template <>
struct Fraction<std::uint8_t> {
    using Type = float;
    // Numbers from here on have no fraction: adding it rounds to nearest even.
    static constexpr float WHOLE = 8388608.0f;
};
template <>
struct Fraction<std::uint16_t> {
    using Type = double;
    static constexpr double WHOLE = 4503599627370496.0;
};

template <class T>
inline T rounded(typename Fraction<T>::Type value) {
    using F = typename Fraction<T>::Type;
    constexpr F MOST = Lanes<T>::MOST;
    const F capped = value > MOST ? MOST : value;
    const F whole = (capped + Fraction<T>::WHOLE) - Fraction<T>::WHOLE;
    return static_cast<T>(static_cast<std::int32_t>(whole));
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
    constexpr F MOST = Lanes<T>::MOST;
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
    constexpr F MOST = Lanes<T>::MOST;
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
inline void gatherSamples(const T *in, std::ptrdiff_t step, T *out, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = in[i * step];
}

// A step that the compiler knows is gathered in vectors.
template <class T>
void gatherRow(const void *s, std::ptrdiff_t step, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    if (step == 1) return gatherSamples<T>(in, 1, out, n);
    if (step == 2) return gatherSamples<T>(in, 2, out, n);
    if (step == 4) return gatherSamples<T>(in, 4, out, n);
    gatherSamples<T>(in, step, out, n);
}

template <class T>
void scatterRow(const void *s, void *d, std::ptrdiff_t step, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i * step] = in[i];
}

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
            BY_RULE(resultAlphaDividedRow, T), complementRow<T>, gatherRow<T>, scatterRow<T>,      \
            spreadRow<T>                                                                           \
    }

const AlphaKernels alphaKernels = {DEPTH_KERNELS(std::uint8_t), DEPTH_KERNELS(std::uint16_t)};

} // namespace zylqx::ZYLQX_LEVEL
