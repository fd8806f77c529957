// The larger or the smaller of rows of samples: nothing but comparisons, so that
// results are samples as they came. Bits are words of which extremes are "or" and
// "and".
#include "filter/kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

struct OrOf {
    template <class T>
    static T of(T a, T b) {
        return a | b;
    }
};
struct AndOf {
    template <class T>
    static T of(T a, T b) {
        return a & b;
    }
};

// out[i] = f(i) for a vector of results at a time: the last one overlaps the one
// before it, so results must not depend on those that are there already. What is
// too short for a vector goes sample by sample.
template <class T, class F>
inline void extremeRow(T *out, std::ptrdiff_t n, F f) {
    if (n < LANES<T>) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = f(T(), i);
        return;
    }
    for (std::ptrdiff_t i = 0; i < n - LANES<T>; i += LANES<T>) store(out + i, f(Vector<T>(), i));
    store(out + n - LANES<T>, f(Vector<T>(), n - LANES<T>));
}

template <class T, class F>
void extreme2(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    extremeRow(static_cast<T *>(d), n, [=](auto like, std::ptrdiff_t i) {
        using V = decltype(like);
        return F::of(load<V>(first + i), load<V>(second + i));
    });
}

template <class T, class F>
void extreme3(const void *a, const void *b, const void *c, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    const T *third = static_cast<const T *>(c);
    extremeRow(static_cast<T *>(d), n, [=](auto like, std::ptrdiff_t i) {
        using V = decltype(like);
        return F::of(F::of(load<V>(first + i), load<V>(second + i)), load<V>(third + i));
    });
}

template <class T, class F>
void slide(const void *r, const void *b, void *u, const void *l, void *d, std::ptrdiff_t n) {
    const T *row = static_cast<const T *>(r);
    const T *before = static_cast<const T *>(b);
    const T *lower = static_cast<const T *>(l);
    T *upper = static_cast<T *>(u);
    extremeRow(static_cast<T *>(d), n, [=](auto like, std::ptrdiff_t i) {
        using V = decltype(like);
        const V both = F::of(load<V>(row + i), load<V>(before + i));
        store(upper + i, both);
        return F::of(both, load<V>(lower + i));
    });
}

// 64 bits from a bit on, of two words: by one and the rest, as no shift is by 64.
inline u64 moved(u64 word, u64 next, int shift) {
    return word << shift | next >> 1 >> (63 - shift);
}

template <class F>
void extremeBits2(const u64 *s, std::ptrdiff_t bits, u64 *d, std::ptrdiff_t words) {
    const u64 *from = s + bits / 64;
    const int shift = static_cast<int>(bits % 64);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < words; ++i) {
        d[i] = F::of(s[i], moved(from[i], from[i + 1], shift));
    }
}

// What enters the second word does not come into the first one.
template <class F>
void extremeBits4(const u64 *s, int first, int second, u64 *d, std::ptrdiff_t words) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < words; ++i) {
        const u64 word = F::of(s[i], moved(s[i], s[i + 1], first));
        const u64 next = F::of(s[i + 1], s[i + 1] << first);
        d[i] = F::of(word, moved(word, next, second));
    }
}

#define ZYLQX_EXTREMES(name, bits, F)                                                              \
    { name<u64, bits>, name<u8, F>, name<s8, F>, name<u16, F>, name<s16, F>, name<s32, F> }

} // namespace

const MaxMinKernels maxMinKernels = {
    .extreme2 = {ZYLQX_EXTREMES(extreme2, OrOf, MaxOf), ZYLQX_EXTREMES(extreme2, AndOf, MinOf)},
    .extreme3 = {ZYLQX_EXTREMES(extreme3, OrOf, MaxOf), ZYLQX_EXTREMES(extreme3, AndOf, MinOf)},
    .slide = {ZYLQX_EXTREMES(slide, OrOf, MaxOf), ZYLQX_EXTREMES(slide, AndOf, MinOf)},
    .extremeBits2 = {extremeBits2<OrOf>, extremeBits2<AndOf>},
    .extremeBits4 = {extremeBits4<OrOf>, extremeBits4<AndOf>},
};

} // namespace zylqx::ZYLQX_LEVEL
