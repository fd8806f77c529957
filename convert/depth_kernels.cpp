// Samples from one depth to another: cut to the low bits or scaled by a shift toward
// zero, with half of the range added or taken away where the sign changes. All values
// fit in 32 bits. Bits are packed from and unpacked to 32 bytes at a time.
#include "convert/kernels.h"
#include "core/pack.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Half of the range: what lies between a signed and an unsigned sample.
template <class T>
constexpr s32 HALF = s32{1} << (BITS<T> - 1);

// A signed sample cut to D's bits, still signed.
template <class S, class D, bool SCALE>
s32 narrowed(S v) {
    if constexpr (SCALE) {
        // Toward zero, in the sample's own width.
        constexpr int SHIFT = BITS<S> - BITS<D>;
        const S remainder = S(S(v >> (BITS<S> - 1)) & ((s32{1} << SHIFT) - 1));
        return S(v + remainder) >> SHIFT;
    } else {
        constexpr s32 LOW = HALF<D> - 1;
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
std::ptrdiff_t bytesToBits(const S *in, u8 *d, std::ptrdiff_t n) {
    std::ptrdiff_t i = 0;
    for (; i + 32 <= n; i += 32) packTops(Flags(load<SizedVector<S, 32>>(in + i) > 0), d + i / 8);
    return i;
}

template <class D>
std::ptrdiff_t bitsToBytes(const u8 *s, D low, D high, D *out, std::ptrdiff_t n) {
    const Flags lows = Flags{} + char(low), highs = Flags{} + char(high);
    std::ptrdiff_t i = 0;
    for (; i + 32 <= n; i += 32) store(out + i, unpacked(s + i / 8) != 0 ? highs : lows);
    return i;
}
#endif

template <class S>
void toBitsRow(const void *s, std::ptrdiff_t sStep, u8 *d, std::ptrdiff_t n) {
    const S *in = static_cast<const S *>(s);
    u8 flags[CHUNK];
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
void fromBitsRow(const u8 *s, s32 zero, s32 one, void *d, std::ptrdiff_t dStep, std::ptrdiff_t n) {
    D *out = static_cast<D *>(d);
    const D low = D(zero), high = D(one);
    u8 flags[CHUNK];
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
        ZYLQX_CONVERT_PAIR(S, u8), ZYLQX_CONVERT_PAIR(S, s8), ZYLQX_CONVERT_PAIR(S, u16),          \
            ZYLQX_CONVERT_PAIR(S, s16), ZYLQX_CONVERT_PAIR(S, s32)                                 \
    }

} // namespace

const DepthKernels depthKernels = {
    {ZYLQX_CONVERT_FROM(u8), ZYLQX_CONVERT_FROM(s8), ZYLQX_CONVERT_FROM(u16),
     ZYLQX_CONVERT_FROM(s16), ZYLQX_CONVERT_FROM(s32)},
    {toBitsRow<u8>, toBitsRow<s8>, toBitsRow<u16>, toBitsRow<s16>, toBitsRow<s32>},
    {fromBitsRow<u8>, fromBitsRow<s8>, fromBitsRow<u16>, fromBitsRow<s16>, fromBitsRow<s32>},
};

} // namespace zylqx::ZYLQX_LEVEL
