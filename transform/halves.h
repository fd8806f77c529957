// Fourier transforms of lines whose length is a power of two of at least 4, in single
// precision or in fixed point.
//
// A real line of n samples is a complex one of n / 2, whose terms are split
// afterwards; complex lines go through radix-4 passes in place. Transforms with the
// positive exponent are those with the negative one between two conjugations. Fixed
// point multiplies by roots in Q14 and wraps at 32 bits, as unsigned numbers. Every
// sum has one order, so that all levels give the same bits.
#ifndef ZYLQX_TRANSFORM_HALVES_H
#define ZYLQX_TRANSFORM_HALVES_H

#include "transform/kernels.h"
#include "transform/lanes.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Vectors for panels of `COUNT` lines: the longest ones that divide their rows.
template <class T, int COUNT>
using LanesOf =
    SizedVector<T, (VECTOR_BYTES < COUNT * int{sizeof(T)} ? VECTOR_BYTES : COUNT * int{sizeof(T)})>;

// Arithmetic on vectors of values, for panels of `COUNT` lines. Fixed-point values are
// 32-bit integers that may wrap, so they are added as unsigned numbers.
template <int COUNT>
struct FloatMath {
    using Value = float;
    using Lanes = LanesOf<float, COUNT>;
    static constexpr int WIDTH = COUNT;
    static constexpr float HALF_ROOT = 0.7071067811865476f;

    static Lanes times(Lanes v, float factor) { return v * factor; }
};

template <int COUNT>
struct FixedMath {
    using Value = s32;
    using Lanes = LanesOf<u32, COUNT>;
    using Signed = LanesOf<s32, COUNT>;
    static constexpr int WIDTH = COUNT;
    static constexpr s32 HALF_ROOT = 11585; // in Q14

    // v * factor / 2^14 for a factor in Q14: the upper and the lower half of v
    // apart, the lower one without its last bit.
    static Lanes times(Lanes v, s32 factor) {
        const auto f = u32(factor);
        const Lanes low = Lanes(Signed(((v & 0xFFFF) >> 1) * f) >> 13);
        const Lanes high = Lanes(Signed(v) >> 16);
        return low + high * (f * 4);
    }

    // Exactly floor(v * factor / 2^14), as the terms of direct sums are formed.
    static Lanes timesExactly(Lanes v, s32 factor) {
        const auto f = u32(factor);
        const Lanes low = Lanes(Signed((v & 0xFFFF) * f) >> 14);
        const Lanes high = Lanes(Signed(v) >> 16);
        return low + high * (f * 4);
    }

    static Lanes half(Lanes v) { return Lanes(Signed(v) >> 1); }
};

template <class Math>
constexpr int STEP = sizeof(typename Math::Lanes) / sizeof(typename Math::Value);

template <class Math>
struct Complex {
    typename Math::Lanes re, im;
};

template <class Math>
inline Complex<Math> operator+(Complex<Math> a, Complex<Math> b) {
    return {a.re + b.re, a.im + b.im};
}
template <class Math>
inline Complex<Math> operator-(Complex<Math> a, Complex<Math> b) {
    return {a.re - b.re, a.im - b.im};
}
template <class Math>
inline Complex<Math> timesMinusI(Complex<Math> a) {
    return {a.im, -a.re};
}
// a * (c - i s), as the negative exponent has it.
template <class Math>
inline Complex<Math> times(Complex<Math> a, Root<typename Math::Value> root) {
    return {Math::times(a.re, root.c) + Math::times(a.im, root.s),
            Math::times(a.im, root.c) + Math::times(a.re, -root.s)};
}
// a * exp(-i pi / 4)
template <class Math>
inline Complex<Math> timesEighth(Complex<Math> a) {
    return {Math::times(a.re + a.im, Math::HALF_ROOT), Math::times(a.im - a.re, Math::HALF_ROOT)};
}

// The positive exponent is the negative one between two conjugations, which the
// first and the last pass do on their way.
template <class Math, bool CONJUGATE>
inline Complex<Math> load(const typename Math::Value *row) {
    using Lanes = typename Math::Lanes;
    const auto im = load<Lanes>(row + Math::WIDTH);
    return {load<Lanes>(row), CONJUGATE ? -im : im};
}
template <class Math, bool CONJUGATE>
inline void store(typename Math::Value *row, Complex<Math> v) {
    store(row, v.re);
    store(row + Math::WIDTH, CONJUGATE ? -v.im : v.im);
}

enum class Twiddle { None, Eighth, Any };

// One radix-4 butterfly of all lines, over rows `quarter` values apart.
template <class Math, bool FIRST, bool LAST, Twiddle TWIDDLE>
inline void butterfly4(typename Math::Value *row, std::ptrdiff_t quarter,
                       const Root<typename Math::Value> (&w)[3]) {
    for (int lane = 0; lane < Math::WIDTH; lane += STEP<Math>) {
        typename Math::Value *at = row + lane;
        const auto a0 = load<Math, FIRST>(at);
        const auto a1 = load<Math, FIRST>(at + quarter);
        const auto a2 = load<Math, FIRST>(at + 2 * quarter);
        const auto a3 = load<Math, FIRST>(at + 3 * quarter);
        const auto even = a0 + a2;
        const auto odd = a1 + a3;
        const auto evenRest = a0 - a2;
        const auto oddRest = timesMinusI(a1 - a3);
        auto b1 = evenRest + oddRest;
        auto b2 = even - odd;
        auto b3 = evenRest - oddRest;
        if constexpr (TWIDDLE == Twiddle::Eighth) {
            b1 = timesEighth(b1);
            b2 = timesMinusI(b2);
            b3 = timesMinusI(timesEighth(b3));
        } else if constexpr (TWIDDLE == Twiddle::Any) {
            b1 = times(b1, w[0]);
            b2 = times(b2, w[1]);
            b3 = times(b3, w[2]);
        }
        store<Math, LAST>(at, even + odd);
        store<Math, LAST>(at + quarter, b2);
        store<Math, LAST>(at + 2 * quarter, b1);
        store<Math, LAST>(at + 3 * quarter, b3);
    }
}

template <class Math, bool FIRST, bool LAST>
inline void butterfly2(typename Math::Value *row) {
    for (int lane = 0; lane < Math::WIDTH; lane += STEP<Math>) {
        typename Math::Value *at = row + lane;
        const auto a0 = load<Math, FIRST>(at);
        const auto a1 = load<Math, FIRST>(at + 2 * Math::WIDTH);
        store<Math, LAST>(at, a0 + a1);
        store<Math, LAST>(at + 2 * Math::WIDTH, a0 - a1);
    }
}

// Decimation in frequency, in place, of a complex panel of n rows, a power of two
// of at least 2. The terms come out in bit-reversed order. Quarter by quarter, so
// that what fits into a cache stays there. Entry k * rootStep of the table is the
// root of k / n.
template <class Math, bool FIRST, bool LAST>
void decimate(typename Math::Value *panel, std::ptrdiff_t n,
              const Root<typename Math::Value> *roots, std::ptrdiff_t rootStep) {
    if (n == 2) return butterfly2<Math, FIRST, LAST>(panel);
    const std::ptrdiff_t quarter = n / 4 * 2 * Math::WIDTH;
    if (n == 4) return butterfly4<Math, FIRST, LAST, Twiddle::None>(panel, quarter, {});

    butterfly4<Math, FIRST, false, Twiddle::None>(panel, quarter, {});
    for (std::ptrdiff_t k = 1; k < n / 4; ++k) {
        typename Math::Value *row = panel + k * 2 * Math::WIDTH;
        if (k == n / 8) {
            butterfly4<Math, FIRST, false, Twiddle::Eighth>(row, quarter, {});
        } else {
            butterfly4<Math, FIRST, false, Twiddle::Any>(
                row, quarter,
                {roots[k * rootStep], roots[2 * k * rootStep], roots[3 * k * rootStep]});
        }
    }
    for (int q = 0; q < 4; ++q) {
        decimate<Math, false, LAST>(panel + q * quarter, n / 4, roots, 4 * rootStep);
    }
}

// A real signal's terms k and n - k, from those of the complex signal that its
// even and odd samples make.
template <int COUNT>
inline void splitTerm(Complex<FloatMath<COUNT>> z, Complex<FloatMath<COUNT>> y, Root<float> root,
                      Complex<FloatMath<COUNT>> &term, Complex<FloatMath<COUNT>> &mirrored) {
    const auto dr = z.re - y.re;
    const auto di = z.im + y.im;
    const auto tr = root.s * dr + root.c * di;
    const auto ti = root.s * di - root.c * dr;
    term = {y.re + tr, ti - y.im};
    mirrored = {z.re - tr, ti - z.im};
}

template <int COUNT>
inline void splitTerm(Complex<FixedMath<COUNT>> z, Complex<FixedMath<COUNT>> y, Root<s32> root,
                      Complex<FixedMath<COUNT>> &term, Complex<FixedMath<COUNT>> &mirrored) {
    using Math = FixedMath<COUNT>;
    const Complex<Math> even = {z.re + y.re, z.im - y.im};
    const auto odd = times(Complex<Math>{z.im + y.im, y.re - z.re}, root);
    term = {Math::half(even.re + odd.re), Math::half(even.im + odd.im)};
    mirrored = {Math::half(even.re - odd.re), Math::half(odd.im - even.im)};
}

// The reverse, times 2.
template <int COUNT>
inline void joinTerm(Complex<FloatMath<COUNT>> x, Complex<FloatMath<COUNT>> y, Root<float> root,
                     Complex<FloatMath<COUNT>> &term, Complex<FloatMath<COUNT>> &mirrored) {
    const auto dr = x.re - y.re;
    const auto di = x.im + y.im;
    const auto tr = root.s * dr - root.c * di;
    const auto ti = root.s * di + root.c * dr;
    term = {2.0f * (y.re + tr), 2.0f * (ti - y.im)};
    mirrored = {2.0f * (x.re - tr), 2.0f * (ti - x.im)};
}

template <int COUNT>
inline void joinTerm(Complex<FixedMath<COUNT>> x, Complex<FixedMath<COUNT>> y, Root<s32> root,
                     Complex<FixedMath<COUNT>> &term, Complex<FixedMath<COUNT>> &mirrored) {
    using Math = FixedMath<COUNT>;
    const Complex<Math> even = {x.re + y.re, x.im - y.im};
    // i * (difference) * conj(w), through the conjugate.
    const auto odd = times(Complex<Math>{x.im + y.im, x.re - y.re}, root);
    term = {even.re - odd.re, even.im + odd.im};
    mirrored = {even.re + odd.re, odd.im - even.im};
}

inline Root<float> splitRoot(const FftTables<float> &tables, std::ptrdiff_t k) {
    return tables.split[k - 1];
}
inline Root<s32> splitRoot(const FftTables<s32> &tables, std::ptrdiff_t k) {
    return tables.roots[k];
}

// The term k of a packed panel.
template <class Math>
inline Complex<Math> loadTerm(const typename Math::Value *packed, std::ptrdiff_t k,
                              bool conjugate) {
    using Lanes = typename Math::Lanes;
    const auto im = load<Lanes>(packed + 2 * k * Math::WIDTH);
    return {load<Lanes>(packed + (2 * k - 1) * Math::WIDTH), conjugate ? -im : im};
}
template <class Math>
inline void storeTerm(typename Math::Value *packed, std::ptrdiff_t k, bool conjugate,
                      Complex<Math> v) {
    store(packed + (2 * k - 1) * Math::WIDTH, v.re);
    store(packed + 2 * k * Math::WIDTH, conjugate ? -v.im : v.im);
}

// Powers of two of at least 4: a complex transform of half the length, and the
// split of its terms.
template <class Math>
void realByHalves(typename Math::Value *panel, typename Math::Value *packed,
                  const FftTables<typename Math::Value> &tables, int sign) {
    const std::ptrdiff_t n = tables.length / 2;
    const bool conjugate = sign > 0;
    decimate<Math, false, false>(panel, n, tables.roots, 2);
    // Bit reversal of n rows is that of 2 n rows, halved; a row has 2 Math::WIDTH values.
    const auto rowOf = [&](std::ptrdiff_t k) { return panel + tables.order[k] * Math::WIDTH; };
    for (int lane = 0; lane < Math::WIDTH; lane += STEP<Math>) {
        const auto z = load<Math, false>(panel + lane);
        store(packed + lane, z.re + z.im);
        store(packed + (2 * n - 1) * Math::WIDTH + lane, z.re - z.im);
        storeTerm(packed + lane, n / 2, conjugate, load<Math, true>(rowOf(n / 2) + lane));
    }
    for (std::ptrdiff_t k = 1; k < n / 2; ++k) {
        const auto root = splitRoot(tables, k);
        for (int lane = 0; lane < Math::WIDTH; lane += STEP<Math>) {
            Complex<Math> term, mirrored;
            splitTerm(load<Math, false>(rowOf(k) + lane), load<Math, false>(rowOf(n - k) + lane),
                      root, term, mirrored);
            storeTerm(packed + lane, k, conjugate, term);
            storeTerm(packed + lane, n - k, conjugate, mirrored);
        }
    }
}

template <class Math>
void packedByHalves(const typename Math::Value *packed, typename Math::Value *panel,
                    const FftTables<typename Math::Value> &tables, int sign) {
    using Lanes = typename Math::Lanes;
    const std::ptrdiff_t n = tables.length / 2;
    const bool conjugate = sign < 0;
    const auto rowOf = [&](std::ptrdiff_t k) { return panel + k * 2 * Math::WIDTH; };
    for (int lane = 0; lane < Math::WIDTH; lane += STEP<Math>) {
        const auto zero = load<Lanes>(packed + lane);
        const auto last = load<Lanes>(packed + (2 * n - 1) * Math::WIDTH + lane);
        store<Math, false>(rowOf(0) + lane, {zero + last, zero - last});
        const auto middle = loadTerm<Math>(packed + lane, n / 2, conjugate);
        store<Math, true>(rowOf(n / 2) + lane, middle + middle);
    }
    for (std::ptrdiff_t k = 1; k < n / 2; ++k) {
        const auto root = splitRoot(tables, k);
        for (int lane = 0; lane < Math::WIDTH; lane += STEP<Math>) {
            Complex<Math> term, mirrored;
            joinTerm(loadTerm<Math>(packed + lane, k, conjugate),
                     loadTerm<Math>(packed + lane, n - k, conjugate), root, term, mirrored);
            store<Math, false>(rowOf(k) + lane, term);
            store<Math, false>(rowOf(n - k) + lane, mirrored);
        }
    }
    decimate<Math, true, true>(panel, n, tables.roots, 2);
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
