// Medians of few samples, which are compared lane by lane in a network that keeps only
// as many as may still be the median: of n / 2 + 2 values neither the largest nor the
// smallest can be it, so both make room for one that waits. Nothing but comparisons, so
// that results are samples as they came.
#include "filter/median_kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

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
    using V = Vector<T>;
    const T *const *s = reinterpret_cast<const T *const *>(samples);
    T *out = static_cast<T *>(d);
    // What is too short for a vector is copied into one and out of it.
    const auto part = static_cast<std::size_t>(smaller(n, LANES<T>)) * sizeof(T);
    if (n < LANES<T>) {
        const auto load = [s, part](std::ptrdiff_t k, V &v) {
            v = V{};
            __builtin_memcpy(&v, s[k], part);
        };
        V result;
        medianOf(load, count, static_cast<V *>(work), result);
        __builtin_memcpy(out, &result, part);
        return;
    }
    V *w = static_cast<V *>(work);
    for (std::ptrdiff_t x = 0; x < n; x += LANES<T>) {
        x = smaller(x, n - LANES<T>);
        const auto load = [s, x](std::ptrdiff_t k, V &v) {
            __builtin_memcpy(&v, s[k] + x, sizeof v);
        };
        V result;
        if (count == 9) {
            medianOfFixed<9, V>(load, result);
        } else {
            medianOf(load, count, w, result);
        }
        __builtin_memcpy(out + x, &result, sizeof result);
    }
}

} // namespace

const MedianKernels medianKernels = {
    .ofSamples = ZYLQX_SAMPLES(median),
};

} // namespace zylqx::ZYLQX_LEVEL
