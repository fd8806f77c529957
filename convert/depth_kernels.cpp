#include "convert/kernels.h"
#include "convert/pack.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using U8 = std::uint8_t;
using S8 = std::int8_t;
using U16 = std::uint16_t;
using S16 = std::int16_t;
using S32 = std::int32_t;

template <class T>
constexpr bool SIGNED = T(-1) < T(0);
template <class T>
constexpr int BITS = static_cast<int>(sizeof(T) * 8);
// Half of the range: what lies between a signed and an unsigned sample.
template <class T>
constexpr std::int32_t HALF = std::int32_t{1} << (BITS<T> - 1);

// A signed sample cut to D's bits, still signed.
template <class S, class D, bool SCALE>
S32 narrowed(S v) {
    if constexpr (SCALE) {
        // Toward zero, in the sample's own width.
        constexpr int SHIFT = BITS<S> - BITS<D>;
        const S remainder = S(S(v >> (BITS<S> - 1)) & ((S32{1} << SHIFT) - 1));
        return S(v + remainder) >> SHIFT;
    } else {
        constexpr S32 LOW = HALF<D> - 1;
        return v >= 0 ? v & LOW : v | ~LOW;
    }
}

template <class S, class D, bool SCALE>
D converted(S v) {
    constexpr bool NARROWS = sizeof(D) < sizeof(S);
    if constexpr (SIGNED<S> && NARROWS) {
        return D(narrowed<S, D, SCALE>(v) + (SIGNED<D> ? 0 : HALF<D>));
    } else if constexpr (NARROWS) {
        const int low = SCALE ? v >> (BITS<S> - BITS<D>) : v & (2 * HALF<D> - 1);
        return D(low - (SIGNED<D> ? HALF<D> : 0));
    } else if constexpr (SIGNED<S> == SIGNED<D>) {
        return D(v);
    } else {
        return D(v + (SIGNED<D> ? -HALF<S> : HALF<S>));
    }
}

template <class S, class D, bool SCALE>
void convertRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
                std::ptrdiff_t n) {
    const S *in = static_cast<const S *>(s);
    D *out = static_cast<D *>(d);
    if (sStep == 1 && dStep == 1) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = converted<S, D, SCALE>(in[i]);
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i * dStep] = converted<S, D, SCALE>(in[i * sStep]);
}

#if defined(__AVX2__)
// Bytes go straight to and from bits, as many as come in 32: in memory's speed.
template <class S>
std::ptrdiff_t bytesToBits(const S *in, U8 *d, std::ptrdiff_t n) {
    std::ptrdiff_t i = 0;
    for (; i + 32 <= n; i += 32) packTops(Flags(load<Vector<S, 32>>(in + i) > 0), d + i / 8);
    return i;
}

template <class D>
std::ptrdiff_t bitsToBytes(const U8 *s, D low, D high, D *out, std::ptrdiff_t n) {
    const Flags lows = Flags{} + char(low), highs = Flags{} + char(high);
    std::ptrdiff_t i = 0;
    for (; i + 32 <= n; i += 32) store(out + i, unpacked(s + i / 8) != 0 ? highs : lows);
    return i;
}
#endif

template <class S>
void toBitsRow(const void *s, std::ptrdiff_t sStep, U8 *d, std::ptrdiff_t n) {
    const S *in = static_cast<const S *>(s);
    U8 flags[CHUNK];
    std::ptrdiff_t i = 0;
#if defined(__AVX2__)
    if constexpr (sizeof(S) == 1) i = sStep == 1 ? bytesToBits(in, d, n) : 0;
#endif
    for (; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        const S *chunk = in + i * sStep;
        if (sStep == 1) {
            for (std::ptrdiff_t k = 0; k < count; ++k) flags[k] = chunk[k] > 0;
        } else {
            for (std::ptrdiff_t k = 0; k < count; ++k) flags[k] = chunk[k * sStep] > 0;
        }
        packBits(flags, d + i / 8, count);
    }
}

template <class D>
void fromBitsRow(const U8 *s, S32 zero, S32 one, void *d, std::ptrdiff_t dStep, std::ptrdiff_t n) {
    D *out = static_cast<D *>(d);
    const D low = D(zero), high = D(one);
    U8 flags[CHUNK];
    std::ptrdiff_t i = 0;
#if defined(__AVX2__)
    if constexpr (sizeof(D) == 1) i = dStep == 1 ? bitsToBytes(s, low, high, out, n) : 0;
#endif
    for (; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        unpackBits(s + i / 8, flags, count);
        if (dStep == 1) {
            for (std::ptrdiff_t k = 0; k < count; ++k) out[i + k] = flags[k] != 0 ? high : low;
        } else {
            for (std::ptrdiff_t k = 0; k < count; ++k) {
                out[(i + k) * dStep] = flags[k] != 0 ? high : low;
            }
        }
    }
}

#define ZYLQX_CONVERT_PAIR(S, D)                                                                   \
    { convertRow<S, D, false>, convertRow<S, D, true> }
#define ZYLQX_CONVERT_FROM(S)                                                                      \
    {                                                                                              \
        ZYLQX_CONVERT_PAIR(S, U8), ZYLQX_CONVERT_PAIR(S, S8), ZYLQX_CONVERT_PAIR(S, U16),          \
            ZYLQX_CONVERT_PAIR(S, S16), ZYLQX_CONVERT_PAIR(S, S32)                                 \
    }

} // namespace

const DepthKernels depthKernels = {
    {ZYLQX_CONVERT_FROM(U8), ZYLQX_CONVERT_FROM(S8), ZYLQX_CONVERT_FROM(U16),
     ZYLQX_CONVERT_FROM(S16), ZYLQX_CONVERT_FROM(S32)},
    {toBitsRow<U8>, toBitsRow<S8>, toBitsRow<U16>, toBitsRow<S16>, toBitsRow<S32>},
    {fromBitsRow<U8>, fromBitsRow<S8>, fromBitsRow<U16>, fromBitsRow<S16>, fromBitsRow<S32>},
};

} // namespace zylqx::ZYLQX_LEVEL
