// What the kernels of this folder share: the order of lanes, and rows of narrow
// results.
#ifndef ZYLQX_FILTER_VECTORS_H
#define ZYLQX_FILTER_VECTORS_H

#include "core/vectors.h"
#include "core/words.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using namespace wide_vectors;

template <class T>
T clamp(T value, T low, T high) {
    return smaller(larger(value, low), high);
}

// Numbers of lanes, 0 up to N - 1 for a power of two.
template <int... I>
struct Indices {
    using Twice = Indices<I..., (static_cast<int>(sizeof...(I)) + I)...>;
};
template <int N>
struct IndicesTo {
    using Type = typename IndicesTo<N / 2>::Type::Twice;
};
template <>
struct IndicesTo<1> {
    using Type = Indices<0>;
};

template <class V, int... I>
inline V zip(V a, V b, int first, Indices<I...>) {
    constexpr int N = sizeof...(I);
    if (first == 0) return __builtin_shufflevector(a, b, (I / 2 + I % 2 * N)...);
    return __builtin_shufflevector(a, b, (N / 2 + I / 2 + I % 2 * N)...);
}
// The lanes of two vectors in turn, in the vectors of twice as many lanes that
// their lower and their upper halves make.
template <class T>
inline Vector<T> zipLow(Vector<T> a, Vector<T> b) {
    return zip(a, b, 0, typename IndicesTo<LANES<T>>::Type());
}
template <class T>
inline Vector<T> zipHigh(Vector<T> a, Vector<T> b) {
    return zip(a, b, 1, typename IndicesTo<LANES<T>>::Type());
}

template <class V, int... I>
inline V lowOf(V a, V b, Indices<I...>) {
    return __builtin_shufflevector(a, b, (2 * I + (LOWEST_FIRST ? 0 : 1))...);
}
// The lower halves of lanes twice as wide, of two vectors.
template <class T>
inline Vector<T> lowerHalves(Vector<T> a, Vector<T> b) {
    return lowOf(a, b, typename IndicesTo<LANES<T>>::Type());
}

// The lower parts of all lanes of a number of vectors, in one.
template <class T, class U>
inline Vector<T> narrow(const Vector<U> (&v)[1]) {
    return (Vector<T>)v[0];
}
template <class T, class U>
inline Vector<T> narrow(const Vector<U> (&v)[2]) {
    return lowerHalves<T>((Vector<T>)v[0], (Vector<T>)v[1]);
}
template <class T, class U>
inline Vector<T> narrow(const Vector<U> (&v)[4]) {
    const auto low = lowerHalves<u16>((Vector<u16>)v[0], (Vector<u16>)v[1]);
    const auto high = lowerHalves<u16>((Vector<u16>)v[2], (Vector<u16>)v[3]);
    return lowerHalves<T>((Vector<T>)low, (Vector<T>)high);
}

// d[i] = f(s + i), for a vector of results at a time: f makes vectors of numbers
// like S, whose lower parts are the results. The last vector may overlap the one
// before; what is too short for one goes by way of a copy.
template <class T, class S, class F>
inline void narrowRow(const S *s, T *d, std::ptrdiff_t n, F f) {
    const auto one = [f](const S *from, T *to) {
        constexpr int COUNT = sizeof(S) / sizeof(T); // NOLINT(bugprone-sizeof-expression)
        Vector<S> results[COUNT];
        for (int k = 0; k < COUNT; ++k) results[k] = f(load<Vector<S>>(from + k * LANES<S>));
        store(to, narrow<T, S>(results));
    };
    if (n < LANES<T>) {
        S from[LANES<T>] = {};
        T to[LANES<T>];
        __builtin_memcpy(from, s, static_cast<std::size_t>(n) * sizeof(S));
        one(from, to);
        __builtin_memcpy(d, to, static_cast<std::size_t>(n) * sizeof(T));
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; i += LANES<T>) {
        i = smaller(i, n - LANES<T>);
        one(s + i, d + i);
    }
}

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

// One entry for each type of sample.
#define ZYLQX_SAMPLES(name, ...)                                                                   \
    {                                                                                              \
        name<u8 __VA_ARGS__>, name<u8 __VA_ARGS__>, name<s8 __VA_ARGS__>, name<u16 __VA_ARGS__>,   \
            name<s16 __VA_ARGS__>, name<s32 __VA_ARGS__>                                           \
    }

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
