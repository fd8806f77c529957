// Fourier transforms of lines whose length is a power of two, in single precision or
// in fixed point, and the ways from samples to panels of lines and back.
//
// A real line of n samples is a complex one of n / 2, whose terms are split
// afterwards; complex lines go through radix-4 passes in place. Transforms with the
// positive exponent are those with the negative one between two conjugations.
// Lengths without a table of roots are summed up directly, floats in double precision.
// Fixed point multiplies by roots in Q14 and wraps at 32 bits, as unsigned
// numbers. Every sum has one order, so that all levels give the same bits.
#include "transform/kernels.h"
#include "transform/lanes.h"
#include "transform/samples.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Arithmetic on vectors of values. Fixed-point values are 32-bit integers that
// may wrap, so they are added as unsigned numbers.
struct FloatMath {
    using Value = float;
    using Lanes = Vector<float>;
    static constexpr float HALF_ROOT = 0.7071067811865476f;

    static Lanes times(Lanes v, float factor) { return v * factor; }
};

struct FixedMath {
    using Value = s32;
    using Lanes = Vector<u32>;
    static constexpr s32 HALF_ROOT = 11585; // in Q14

    // v * factor / 2^14 for a factor in Q14: the upper and the lower half of v
    // apart, the lower one without its last bit.
    static Lanes times(Lanes v, s32 factor) {
        const auto f = u32(factor);
        const Lanes low = Lanes(Vector<s32>(((v & 0xFFFF) >> 1) * f) >> 13);
        const Lanes high = Lanes(Vector<s32>(v) >> 16);
        return low + high * (f * 4);
    }

    // Exactly floor(v * factor / 2^14), as the terms of direct sums are formed.
    static Lanes timesExactly(Lanes v, s32 factor) {
        const auto f = u32(factor);
        const Lanes low = Lanes(Vector<s32>((v & 0xFFFF) * f) >> 14);
        const Lanes high = Lanes(Vector<s32>(v) >> 16);
        return low + high * (f * 4);
    }

    static Lanes half(Lanes v) { return Lanes(Vector<s32>(v) >> 1); }
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
    const auto im = load<Lanes>(row + LINES);
    return {load<Lanes>(row), CONJUGATE ? -im : im};
}
template <class Math, bool CONJUGATE>
inline void store(typename Math::Value *row, Complex<Math> v) {
    store(row, v.re);
    store(row + LINES, CONJUGATE ? -v.im : v.im);
}

enum class Twiddle { None, Eighth, Any };

// One radix-4 butterfly of all lines, over rows `quarter` values apart.
template <class Math, bool FIRST, bool LAST, Twiddle TWIDDLE>
inline void butterfly4(typename Math::Value *row, std::ptrdiff_t quarter,
                       const Root<typename Math::Value> (&w)[3]) {
    for (int lane = 0; lane < LINES; lane += STEP<Math>) {
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
    for (int lane = 0; lane < LINES; lane += STEP<Math>) {
        typename Math::Value *at = row + lane;
        const auto a0 = load<Math, FIRST>(at);
        const auto a1 = load<Math, FIRST>(at + 2 * LINES);
        store<Math, LAST>(at, a0 + a1);
        store<Math, LAST>(at + 2 * LINES, a0 - a1);
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
    const std::ptrdiff_t quarter = n / 4 * 2 * LINES;
    if (n == 4) return butterfly4<Math, FIRST, LAST, Twiddle::None>(panel, quarter, {});

    butterfly4<Math, FIRST, false, Twiddle::None>(panel, quarter, {});
    for (std::ptrdiff_t k = 1; k < n / 4; ++k) {
        typename Math::Value *row = panel + k * 2 * LINES;
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
inline void splitTerm(Complex<FloatMath> z, Complex<FloatMath> y, Root<float> root,
                      Complex<FloatMath> &term, Complex<FloatMath> &mirrored) {
    const auto dr = z.re - y.re;
    const auto di = z.im + y.im;
    const auto tr = root.s * dr + root.c * di;
    const auto ti = root.s * di - root.c * dr;
    term = {y.re + tr, ti - y.im};
    mirrored = {z.re - tr, ti - z.im};
}

inline void splitTerm(Complex<FixedMath> z, Complex<FixedMath> y, Root<s32> root,
                      Complex<FixedMath> &term, Complex<FixedMath> &mirrored) {
    const Complex<FixedMath> even = {z.re + y.re, z.im - y.im};
    const auto odd = times(Complex<FixedMath>{z.im + y.im, y.re - z.re}, root);
    term = {FixedMath::half(even.re + odd.re), FixedMath::half(even.im + odd.im)};
    mirrored = {FixedMath::half(even.re - odd.re), FixedMath::half(odd.im - even.im)};
}

// The reverse, times 2.
inline void joinTerm(Complex<FloatMath> x, Complex<FloatMath> y, Root<float> root,
                     Complex<FloatMath> &term, Complex<FloatMath> &mirrored) {
    const auto dr = x.re - y.re;
    const auto di = x.im + y.im;
    const auto tr = root.s * dr - root.c * di;
    const auto ti = root.s * di + root.c * dr;
    term = {2.0f * (y.re + tr), 2.0f * (ti - y.im)};
    mirrored = {2.0f * (x.re - tr), 2.0f * (ti - x.im)};
}

inline void joinTerm(Complex<FixedMath> x, Complex<FixedMath> y, Root<s32> root,
                     Complex<FixedMath> &term, Complex<FixedMath> &mirrored) {
    const Complex<FixedMath> even = {x.re + y.re, x.im - y.im};
    // i * (difference) * conj(w), through the conjugate.
    const auto odd = times(Complex<FixedMath>{x.im + y.im, x.re - y.re}, root);
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
    const auto im = load<Lanes>(packed + 2 * k * LINES);
    return {load<Lanes>(packed + (2 * k - 1) * LINES), conjugate ? -im : im};
}
template <class Math>
inline void storeTerm(typename Math::Value *packed, std::ptrdiff_t k, bool conjugate,
                      Complex<Math> v) {
    store(packed + (2 * k - 1) * LINES, v.re);
    store(packed + 2 * k * LINES, conjugate ? -v.im : v.im);
}

// Powers of two of at least 4: a complex transform of half the length, and the
// split of its terms.
template <class Math>
void realByHalves(typename Math::Value *panel, typename Math::Value *packed,
                  const FftTables<typename Math::Value> &tables, int sign) {
    const std::ptrdiff_t n = tables.length / 2;
    const bool conjugate = sign > 0;
    decimate<Math, false, false>(panel, n, tables.roots, 2);
    // Bit reversal of n rows is that of 2 n rows, halved; a row has 2 LINES values.
    const auto rowOf = [&](std::ptrdiff_t k) { return panel + tables.order[k] * LINES; };
    for (int lane = 0; lane < LINES; lane += STEP<Math>) {
        const auto z = load<Math, false>(panel + lane);
        store(packed + lane, z.re + z.im);
        store(packed + (2 * n - 1) * LINES + lane, z.re - z.im);
        storeTerm(packed + lane, n / 2, conjugate, load<Math, true>(rowOf(n / 2) + lane));
    }
    for (std::ptrdiff_t k = 1; k < n / 2; ++k) {
        const auto root = splitRoot(tables, k);
        for (int lane = 0; lane < LINES; lane += STEP<Math>) {
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
    const auto rowOf = [&](std::ptrdiff_t k) { return panel + k * 2 * LINES; };
    for (int lane = 0; lane < LINES; lane += STEP<Math>) {
        const auto zero = load<Lanes>(packed + lane);
        const auto last = load<Lanes>(packed + (2 * n - 1) * LINES + lane);
        store<Math, false>(rowOf(0) + lane, {zero + last, zero - last});
        const auto middle = loadTerm<Math>(packed + lane, n / 2, conjugate);
        store<Math, true>(rowOf(n / 2) + lane, middle + middle);
    }
    for (std::ptrdiff_t k = 1; k < n / 2; ++k) {
        const auto root = splitRoot(tables, k);
        for (int lane = 0; lane < LINES; lane += STEP<Math>) {
            Complex<Math> term, mirrored;
            joinTerm(loadTerm<Math>(packed + lane, k, conjugate),
                     loadTerm<Math>(packed + lane, n - k, conjugate), root, term, mirrored);
            store<Math, false>(rowOf(k) + lane, term);
            store<Math, false>(rowOf(n - k) + lane, mirrored);
        }
    }
    decimate<Math, true, true>(panel, n, tables.roots, 2);
}

// ---- Direct summation: every length that is not a power of two, and 1 and 2.

// With x(j) and x(length - j) folded, cosines meet sums and sines differences:
// gives emit(k, cosineSum, sineSum) for k = 0 .. length / 2. Both sums have
// `WIDTH` lines; the rows of `sums` and `differences` start at j = 1, and `zero`
// and `middle` (0 for odd lengths) are the samples without a partner.
template <int WIDTH, class F>
inline void foldedSums(const double *sums, const double *differences, const double *zero,
                       const double *middle, const FftTables<float> &tables, F emit) {
    const std::ptrdiff_t length = tables.length;
    const std::ptrdiff_t pairs = (length - 1) / 2;
    alignas(64) double cosines[SUMS * WIDTH];
    alignas(64) double sines[SUMS * WIDTH];
    for (std::ptrdiff_t first = 0; first <= length / 2; first += SUMS) {
        Angle angles[SUMS];
        for (int s = 0; s < SUMS; ++s) {
            const std::ptrdiff_t k = first + s <= length / 2 ? first + s : 0;
            angles[s] = {k, k};
        }
        cosineSums(sums, pairs, WIDTH, &tables.direct->c, 2, length, angles, cosines);
        cosineSums(differences, pairs, WIDTH, &tables.direct->s, 2, length, angles, sines);
        for (int s = 0; s < SUMS && first + s <= length / 2; ++s) {
            double *cosineSum = cosines + s * WIDTH;
            const double parity = (first + s) % 2 == 0 ? 1 : -1;
            for (int i = 0; i < WIDTH; ++i) cosineSum[i] += zero[i] + parity * middle[i];
            emit(first + s, cosineSum, sines + s * WIDTH);
        }
    }
}

// The sums and differences of the samples of a panel, for foldedSums().
template <int WIDTH>
struct Folded {
    double *sums;
    double *differences;
    double zero[WIDTH];
    double middle[WIDTH];

    Folded(const float *panel, std::ptrdiff_t length, void *work) {
        const std::ptrdiff_t pairs = (length - 1) / 2;
        sums = static_cast<double *>(work);
        differences = sums + pairs * WIDTH;
        for (std::ptrdiff_t j = 1; j <= pairs; ++j) {
            const float *row = panel + j * WIDTH;
            const float *partner = panel + (length - j) * WIDTH;
            for (int i = 0; i < WIDTH; ++i) {
                const double a = row[i];
                const double b = partner[i];
                sums[(j - 1) * WIDTH + i] = a + b;
                differences[(j - 1) * WIDTH + i] = a - b;
            }
        }
        for (int i = 0; i < WIDTH; ++i) {
            zero[i] = panel[i];
            middle[i] = length % 2 == 0 ? double{panel[length / 2 * WIDTH + i]} : 0.0;
        }
    }
};

void complexDirectly(float *panel, const FftTables<float> &tables, int sign, void *work) {
    const std::ptrdiff_t length = tables.length;
    const Folded<2 * LINES> folded(panel, length, work);
    foldedSums<2 * LINES>(folded.sums, folded.differences, folded.zero, folded.middle, tables,
                          [=](std::ptrdiff_t k, const double *cosineSum, const double *sineSum) {
                              float *row = panel + k * 2 * LINES;
                              float *mirrored = panel + (k == 0 ? 0 : length - k) * 2 * LINES;
                              // The mirrored term first: it is this one for k = 0 and length / 2,
                              // where the sine sums count with the right sign.
                              for (int i = 0; i < LINES; ++i) {
                                  const double turnedRe = -sign * sineSum[LINES + i];
                                  const double turnedIm = sign * sineSum[i];
                                  mirrored[i] = float(cosineSum[i] - turnedRe);
                                  mirrored[LINES + i] = float(cosineSum[LINES + i] - turnedIm);
                                  row[i] = float(cosineSum[i] + turnedRe);
                                  row[LINES + i] = float(cosineSum[LINES + i] + turnedIm);
                              }
                          });
}

void realDirectly(const float *panel, float *packed, const FftTables<float> &tables, int sign,
                  void *work) {
    const std::ptrdiff_t length = tables.length;
    const Folded<LINES> folded(panel, length, work);
    foldedSums<LINES>(folded.sums, folded.differences, folded.zero, folded.middle, tables,
                      [=](std::ptrdiff_t k, const double *cosineSum, const double *sineSum) {
                          float *re = packed + (k == 0 ? 0 : 2 * k - 1) * LINES;
                          for (int i = 0; i < LINES; ++i) re[i] = float(cosineSum[i]);
                          if (k == 0 || 2 * k == length) return;
                          float *im = packed + 2 * k * LINES;
                          for (int i = 0; i < LINES; ++i) im[i] = float(sign * sineSum[i]);
                      });
}

void packedDirectly(const float *packed, float *panel, const FftTables<float> &tables, int sign,
                    void *work) {
    const std::ptrdiff_t length = tables.length;
    const std::ptrdiff_t pairs = (length - 1) / 2;
    double *re = static_cast<double *>(work);
    double *im = re + pairs * LINES;
    for (std::ptrdiff_t k = 1; k <= pairs; ++k) {
        for (int i = 0; i < LINES; ++i) {
            re[(k - 1) * LINES + i] = 2.0 * packed[(2 * k - 1) * LINES + i];
            im[(k - 1) * LINES + i] = 2.0 * packed[2 * k * LINES + i];
        }
    }
    double zero[LINES];
    double middle[LINES];
    for (int i = 0; i < LINES; ++i) {
        zero[i] = packed[i];
        middle[i] = length % 2 == 0 ? double{packed[(length - 1) * LINES + i]} : 0.0;
    }
    foldedSums<LINES>(re, im, zero, middle, tables,
                      [=](std::ptrdiff_t j, const double *cosineSum, const double *sineSum) {
                          float *row = panel + j * LINES;
                          float *mirrored = panel + (j == 0 ? 0 : length - j) * LINES;
                          for (int i = 0; i < LINES; ++i) {
                              mirrored[i] = float(cosineSum[i] + sign * sineSum[i]);
                              row[i] = float(cosineSum[i] - sign * sineSum[i]);
                          }
                      });
}

// Fixed point adds floor(x * root / 2^14) term by term, so nothing is folded. The
// sum over `count` rows, the first of them j = firstRow, of the row times the
// cosine, or `sineSign` times the sine, of 2 pi j k / length.
using FixedLanes = FixedMath::Lanes;

struct FixedSums {
    FixedLanes cosine = {};
    FixedLanes sine = {};
};

inline FixedSums fixedSums(const s32 *rows, std::ptrdiff_t count, std::ptrdiff_t stride,
                           const FftTables<s32> &tables, std::ptrdiff_t firstRow, std::ptrdiff_t k,
                           int sineSign) {
    FixedSums sums;
    std::ptrdiff_t at = firstRow * k;
    for (std::ptrdiff_t j = 0; j < count; ++j, at += k) {
        at -= at >= tables.length ? tables.length : 0;
        const auto root = tables.direct[at];
        const auto v = load<FixedLanes>(rows + j * stride);
        sums.cosine += FixedMath::timesExactly(v, root.c);
        sums.sine += FixedMath::timesExactly(v, sineSign * root.s);
    }
    return sums;
}

void complexDirectly(s32 *panel, const FftTables<s32> &tables, int sign, void *work) {
    const std::ptrdiff_t length = tables.length;
    auto *copy = static_cast<s32 *>(work);
    __builtin_memcpy(copy, panel, std::size_t(length) * 2 * LINES * sizeof *copy);
    for (std::ptrdiff_t k = 0; k < length; ++k) {
        for (int lane = 0; lane < LINES; lane += STEP<FixedMath>) {
            const auto re = fixedSums(copy + lane, length, 2 * LINES, tables, 0, k, sign);
            const auto im = fixedSums(copy + lane + LINES, length, 2 * LINES, tables, 0, k, -sign);
            s32 *row = panel + k * 2 * LINES + lane;
            store(row, re.cosine + im.sine);
            store(row + LINES, im.cosine + re.sine);
        }
    }
}

void realDirectly(const s32 *panel, s32 *packed, const FftTables<s32> &tables, int sign, void *) {
    const std::ptrdiff_t length = tables.length;
    for (std::ptrdiff_t k = 0; k <= length / 2; ++k) {
        for (int lane = 0; lane < LINES; lane += STEP<FixedMath>) {
            const auto sums = fixedSums(panel + lane, length, LINES, tables, 0, k, sign);
            store(packed + (k == 0 ? 0 : 2 * k - 1) * LINES + lane, sums.cosine);
            if (k == 0 || 2 * k == length) continue;
            store(packed + 2 * k * LINES + lane, sums.sine);
        }
    }
}

void packedDirectly(const s32 *packed, s32 *panel, const FftTables<s32> &tables, int sign, void *) {
    const std::ptrdiff_t length = tables.length;
    const std::ptrdiff_t pairs = (length - 1) / 2;
    for (std::ptrdiff_t j = 0; j < length; ++j) {
        for (int lane = 0; lane < LINES; lane += STEP<FixedMath>) {
            const s32 *at = packed + lane;
            const auto re = fixedSums(at + LINES, pairs, 2 * LINES, tables, 1, j, sign);
            const auto im = fixedSums(at + 2 * LINES, pairs, 2 * LINES, tables, 1, j, -sign);
            auto sum = load<FixedLanes>(at) + 2 * (re.cosine + im.sine);
            if (length % 2 == 0) {
                const auto last = load<FixedLanes>(at + (length - 1) * LINES);
                sum = j % 2 == 0 ? sum + last : sum - last;
            }
            store(panel + j * LINES + lane, sum);
        }
    }
}

// ---- Lines of any length

template <class Math>
void complexLines(typename Math::Value *panel, const FftTables<typename Math::Value> &tables,
                  int sign, void *work) {
    if (tables.roots == nullptr) return complexDirectly(panel, tables, sign, work);
    if (sign < 0) return decimate<Math, false, false>(panel, tables.length, tables.roots, 1);
    decimate<Math, true, true>(panel, tables.length, tables.roots, 1);
}

template <class Math>
void realLines(typename Math::Value *panel, typename Math::Value *packed,
               const FftTables<typename Math::Value> &tables, int sign, void *work) {
    if (tables.roots == nullptr) return realDirectly(panel, packed, tables, sign, work);
    realByHalves<Math>(panel, packed, tables, sign);
}

template <class Math>
void packedLines(const typename Math::Value *packed, typename Math::Value *panel,
                 const FftTables<typename Math::Value> &tables, int sign, void *work) {
    if (tables.roots == nullptr) return packedDirectly(packed, panel, tables, sign, work);
    packedByHalves<Math>(packed, panel, tables, sign);
}

// ---- Samples and panels

template <class S>
void storeRows(const S *panel, const s32 *order, std::ptrdiff_t rows, std::ptrdiff_t columns,
               const FftFinish &finish, const Samples &to) {
    alignas(64) S tile[LINES][TILE_COLUMNS];
    for (std::ptrdiff_t x = 0; x < columns; x += TILE_COLUMNS) {
        const std::ptrdiff_t n = smaller(columns - x, TILE_COLUMNS);
        for (std::ptrdiff_t i = 0; i < n; i += LINES) {
            const S *lines[LINES];
            for (int j = 0; j < LINES; ++j) {
                lines[j] = panel + sampleRow(order, smaller(x + i + j, columns - 1)) * LINES;
            }
            transpose(lines, tile[0] + i, TILE_COLUMNS);
        }
        unsigned char *out = to.data + x * columnBytes(to);
        for (std::ptrdiff_t y = 0; y < rows; ++y) {
            STORE_ROW<S>[to.depth](tile[y], n, finish, out + y * to.stride, to.step);
        }
    }
}

template <class S>
void loadPairs(const Samples &from, std::ptrdiff_t rows, std::ptrdiff_t pairs, S *panel) {
    alignas(64) S pair[2 * LINES] = {};
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        LOAD_ROW<S>[from.depth](from.data + y * from.stride, from.step, 2 * pairs, pair);
        S *row = panel + y * 2 * LINES;
        for (int i = 0; i < LINES; ++i) {
            row[i] = pair[2 * i];
            row[LINES + i] = pair[2 * i + 1];
        }
    }
}

template <class S>
void storePairs(const S *panel, const s32 *order, std::ptrdiff_t rows, std::ptrdiff_t pairs,
                const FftFinish &finish, const Samples &to) {
    alignas(64) S pair[2 * LINES];
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        const S *row = panel + termRow(order, y) * 2 * LINES;
        for (int i = 0; i < LINES; ++i) {
            pair[2 * i] = row[i];
            pair[2 * i + 1] = row[LINES + i];
        }
        STORE_ROW<S>[to.depth](pair, 2 * pairs, finish, to.data + y * to.stride, to.step);
    }
}

template <class S>
void loadColumn(const Samples &from, std::ptrdiff_t rows, S *lane) {
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        LOAD_ROW<S>[from.depth](from.data + y * from.stride, 1, 1, lane + y * LINES);
    }
}

template <class S>
void storeColumn(const S *lane, std::ptrdiff_t rows, const FftFinish &finish, const Samples &to) {
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        STORE_ROW<S>[to.depth](lane + y * LINES, 1, finish, to.data + y * to.stride, 1);
    }
}

template <class S>
void rowsToColumns(const S *packed, std::ptrdiff_t length, std::ptrdiff_t y,
                   const SpectrumBlock<S> &block, S *edges) {
    alignas(64) static constexpr S ZEROS[LINES] = {};
    for (int i = 0; i < LINES; ++i) {
        S *edge = edges + (y + i) * LINES;
        for (int line = 0; line < LINES; ++line) edge[line] = 0;
        edge[0] = packed[i];
        if (length % 2 == 0) edge[1] = packed[(length - 1) * LINES + i];
    }
    for (std::ptrdiff_t p = 0; p < block.panels(); ++p) {
        for (int part = 0; part < 2; ++part) {
            const S *lines[LINES];
            for (int i = 0; i < LINES; ++i) {
                const std::ptrdiff_t column = p * LINES + i;
                lines[i] =
                    column < block.columns ? packed + (1 + 2 * column + part) * LINES : ZEROS;
            }
            transpose(lines, block.panel(p) + y * 2 * LINES + part * LINES, 2 * LINES);
        }
    }
}

template <class S>
void columnsToRows(const SpectrumBlock<S> &block, const S *edges, const s32 *order,
                   std::ptrdiff_t y, std::ptrdiff_t rows, S *packed, std::ptrdiff_t length) {
    std::ptrdiff_t at[LINES];
    for (int i = 0; i < LINES; ++i) at[i] = smaller(y + i, rows - 1);
    for (std::ptrdiff_t p = 0; p < block.panels(); ++p) {
        for (int part = 0; part < 2; ++part) {
            const S *lines[LINES];
            for (int i = 0; i < LINES; ++i) {
                lines[i] = block.panel(p) + (termRow(order, at[i]) * 2 + part) * LINES;
            }
            transpose(lines, packed + (1 + 2 * p * LINES + part) * LINES, 2 * LINES);
        }
    }
    for (int i = 0; i < LINES; ++i) {
        const S *edge = edges + sampleRow(order, at[i]) * LINES;
        packed[i] = edge[0];
        if (length % 2 == 0) packed[(length - 1) * LINES + i] = edge[1];
    }
}

template <class Math>
constexpr FftKernels<typename Math::Value> KERNELS = {
    {complexLines<Math>, realLines<Math>, packedLines<Math>},
    loadRows<typename Math::Value>,
    storeRows<typename Math::Value>,
    loadPairs<typename Math::Value>,
    storePairs<typename Math::Value>,
    loadColumn<typename Math::Value>,
    storeColumn<typename Math::Value>,
    rowsToColumns<typename Math::Value>,
    columnsToRows<typename Math::Value>,
};

} // namespace

const FftKernels<float> floatFftKernels = KERNELS<FloatMath>;
const FftKernels<s32> fixedFftKernels = KERNELS<FixedMath>;

} // namespace zylqx::ZYLQX_LEVEL
