// Fourier transforms of lengths that are no powers of two, in double precision.
//
// Four lines at a time go from their panel of floats into rows of doubles, four
// real parts and four imaginary parts in each. There every pass takes out one
// radix and leaves its results sorted (the method of Stockham), so that the terms
// come out in their order. A sum of n products has a relative error of about
// n * 2^-53 when it is formed directly; here it is log n * 2^-53, and a float's
// rounding of 2^-25 covers both.
#include "core/vectors.h"
#include "transform/any_length.h"
#include "transform/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using namespace wide_vectors;

// Lines of a group, and the doubles of its rows.
constexpr int GROUP = ANY_LENGTH_GROUP;
constexpr int ROW = 2 * GROUP;

constexpr int WIDE = VECTOR_BYTES < 32 ? 16 : 32;
using Lanes = SizedVector<double, WIDE>;
using Floats = SizedVector<float, WIDE / 2>;
constexpr int STEP = WIDE / static_cast<int>(sizeof(double));

struct Complex {
    Lanes re, im;
};
inline Complex operator+(Complex a, Complex b) {
    return {a.re + b.re, a.im + b.im};
}
inline Complex operator-(Complex a, Complex b) {
    return {a.re - b.re, a.im - b.im};
}
inline Complex timesMinusI(Complex a) {
    return {a.im, -a.re};
}
inline Complex conjugate(Complex a) {
    return {a.re, -a.im};
}
// a * (c - i s), as the negative exponent has it.
inline Complex times(Complex a, Root<double> root) {
    return {a.re * root.c + a.im * root.s, a.im * root.c - a.re * root.s};
}

inline Complex loadRow(const double *row) {
    return {load<Lanes>(row), load<Lanes>(row + GROUP)};
}
inline void storeRow(double *row, Complex v) {
    store(row, v.re);
    store(row + GROUP, v.im);
}
inline Lanes widened(const float *values) {
    return __builtin_convertvector(load<Floats>(values), Lanes);
}
inline void storeFloats(float *values, Lanes v) {
    store(values, __builtin_convertvector(v, Floats));
}

// ---- Radices

// The transform of R values, in place; w holds the roots of 1 / R .. (R / 2) / R.
template <int R>
inline void butterfly(Complex (&v)[R], const Root<double> *w) {
    if constexpr (R == 2) {
        const Complex first = v[0];
        v[0] = first + v[1];
        v[1] = first - v[1];
    } else if constexpr (R == 4) {
        const Complex even = v[0] + v[2];
        const Complex odd = v[1] + v[3];
        const Complex evenRest = v[0] - v[2];
        const Complex oddRest = timesMinusI(v[1] - v[3]);
        v[0] = even + odd;
        v[1] = evenRest + oddRest;
        v[2] = even - odd;
        v[3] = evenRest - oddRest;
    } else {
        // Values j and R - j folded: cosines meet their sums, sines their differences.
        constexpr int HALF = R / 2;
        Complex sum[HALF];
        Complex difference[HALF];
        for (int j = 0; j < HALF; ++j) {
            sum[j] = v[1 + j] + v[R - 1 - j];
            difference[j] = timesMinusI(v[1 + j] - v[R - 1 - j]);
        }
        const Complex first = v[0];
        for (int j = 0; j < HALF; ++j) v[0] = v[0] + sum[j];
        for (int k = 1; k <= HALF; ++k) {
            Complex cosines = first;
            Complex sines = {};
            for (int j = 1; j <= HALF; ++j) {
                const int turn = j * k % R;
                const Root<double> root = w[(turn > HALF ? R - turn : turn) - 1];
                const double sine = turn > HALF ? -root.s : root.s;
                cosines = {cosines.re + sum[j - 1].re * root.c,
                           cosines.im + sum[j - 1].im * root.c};
                sines = {sines.re + difference[j - 1].re * sine,
                         sines.im + difference[j - 1].im * sine};
            }
            v[k] = cosines + sines;
            v[R - k] = cosines - sines;
        }
    }
}

// One pass over `length` rows: `done` is the product of the radices before. Entry
// k of `roots` is the root of k / length.
template <int R>
void pass(const double *from, double *to, std::ptrdiff_t length, std::ptrdiff_t done,
          const Root<double> *roots) {
    const std::ptrdiff_t apart = length / R; // rows between the values of a butterfly
    Root<double> w[R / 2];
    for (int k = 1; k <= R / 2; ++k) w[k - 1] = roots[k * apart];
    for (std::ptrdiff_t p = 0; p < apart / done; ++p) {
        const double *in = from + p * done * ROW;
        double *out = to + p * R * done * ROW;
        Root<double> twiddles[R];
        for (int k = 1; k < R; ++k) twiddles[k] = roots[p * k * done];
        for (std::ptrdiff_t q = 0; q < done; ++q, in += ROW, out += ROW) {
            for (int lane = 0; lane < GROUP; lane += STEP) {
                Complex v[R];
                for (int i = 0; i < R; ++i) v[i] = loadRow(in + i * apart * ROW + lane);
                butterfly<R>(v, w);
                storeRow(out + lane, v[0]);
                for (int k = 1; k < R; ++k) {
                    storeRow(out + k * done * ROW + lane, p == 0 ? v[k] : times(v[k], twiddles[k]));
                }
            }
        }
    }
}

// The transform of the rows of `from`, with `other` for what is between; gives
// the one of them that holds the terms.
double *transformRows(double *from, double *other, const Radices &radices,
                      const Root<double> *roots) {
    std::ptrdiff_t done = 1;
    for (int i = 0; i < radices.count; ++i) {
        switch (radices.radix[i]) {
        case 2:
            pass<2>(from, other, radices.length, done, roots);
            break;
        case 3:
            pass<3>(from, other, radices.length, done, roots);
            break;
        case 4:
            pass<4>(from, other, radices.length, done, roots);
            break;
        case 5:
            pass<5>(from, other, radices.length, done, roots);
            break;
        case 7:
            pass<7>(from, other, radices.length, done, roots);
            break;
        case 11:
            pass<11>(from, other, radices.length, done, roots);
            break;
        default:
            pass<13>(from, other, radices.length, done, roots);
            break;
        }
        done *= radices.radix[i];
        double *const result = other;
        other = from;
        from = result;
    }
    return from;
}

// Calls visit(row, lane, k) for every vector of `count` rows.
template <class F>
inline void eachVector(double *rows, std::ptrdiff_t count, F visit) {
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        for (int lane = 0; lane < GROUP; lane += STEP) visit(rows + k * ROW + lane, lane, k);
    }
}

// The terms of the rows in `work`, which has room for two such blocks.
double *transformAny(double *work, const AnyLength &any) {
    double *const other = work + any.radices.length * ROW;
    if (any.chirp == nullptr) return transformRows(work, other, any.radices, any.roots);
    eachVector(work, any.length, [&](double *row, int, std::ptrdiff_t k) {
        storeRow(row, times(loadRow(row), any.chirp[k]));
    });
    eachVector(work + any.length * ROW, any.radices.length - any.length,
               [](double *row, int, std::ptrdiff_t) {
                   storeRow(row, {Lanes{}, Lanes{}});
               });
    double *const spectrum = transformRows(work, other, any.radices, any.roots);
    // The way back is the same transform between two conjugations.
    eachVector(spectrum, any.radices.length, [&](double *row, int, std::ptrdiff_t k) {
        storeRow(row, conjugate(times(loadRow(row), any.filter[k])));
    });
    double *const terms =
        transformRows(spectrum, spectrum == work ? other : work, any.radices, any.roots);
    eachVector(terms, any.length, [&](double *row, int, std::ptrdiff_t k) {
        storeRow(row, times(conjugate(loadRow(row)), any.chirp[k]));
    });
    return terms;
}

// ---- Panels of floats. The positive exponent is the negative one between two
// conjugations.

inline Complex loadPanel(const float *row, bool conjugated) {
    const Lanes im = widened(row + LINES);
    return {widened(row), conjugated ? -im : im};
}
inline void storePanel(float *row, Complex v, bool conjugated) {
    storeFloats(row, v.re);
    storeFloats(row + LINES, conjugated ? -v.im : v.im);
}

void complexLines(float *panel, const FftTables<float> &tables, int sign, void *work) {
    const AnyLength &any = *tables.complexAny;
    for (float *lines = panel; lines < panel + LINES; lines += GROUP) {
        auto *rows = static_cast<double *>(work);
        eachVector(rows, any.length, [&](double *row, int lane, std::ptrdiff_t k) {
            storeRow(row, loadPanel(lines + k * 2 * LINES + lane, sign > 0));
        });
        rows = transformAny(rows, any);
        eachVector(rows, any.length, [&](double *row, int lane, std::ptrdiff_t k) {
            storePanel(lines + k * 2 * LINES + lane, loadRow(row), sign > 0);
        });
    }
}

// The term k of a packed panel.
inline Complex loadTerm(const float *packed, std::ptrdiff_t k, bool conjugated) {
    const Lanes im = widened(packed + 2 * k * LINES);
    return {widened(packed + (2 * k - 1) * LINES), conjugated ? -im : im};
}
inline void storeTerm(float *packed, std::ptrdiff_t k, Complex v, bool conjugated) {
    storeFloats(packed + (2 * k - 1) * LINES, v.re);
    storeFloats(packed + 2 * k * LINES, conjugated ? -v.im : v.im);
}

// Odd lengths: a complex transform of the real samples.
void realOdd(const float *lines, float *packed, const AnyLength &any, bool conjugated,
             double *rows) {
    eachVector(rows, any.length, [&](double *row, int lane, std::ptrdiff_t k) {
        storeRow(row, {widened(lines + k * LINES + lane), Lanes{}});
    });
    rows = transformAny(rows, any);
    eachVector(rows, any.length / 2 + 1, [&](double *row, int lane, std::ptrdiff_t k) {
        if (k == 0) return storeFloats(packed + lane, loadRow(row).re);
        storeTerm(packed + lane, k, loadRow(row), conjugated);
    });
}

// Even lengths: the even samples as real parts and the odd ones as imaginary
// parts of half as many values. Of their terms Z, the even samples alone have
// (Z(k) + conj Z(n - k)) / 2, the odd ones (Z(k) - conj Z(n - k)) / 2i.
void realEven(const float *lines, float *packed, const FftTables<float> &tables, bool conjugated,
              double *rows) {
    const AnyLength &any = *tables.realAny;
    const std::ptrdiff_t n = any.length;
    eachVector(rows, n, [&](double *row, int lane, std::ptrdiff_t k) {
        storeRow(row, loadPanel(lines + k * 2 * LINES + lane, false));
    });
    rows = transformAny(rows, any);
    eachVector(rows, n, [&](double *row, int lane, std::ptrdiff_t k) {
        const Complex z = loadRow(row);
        if (k == 0) {
            storeFloats(packed + lane, z.re + z.im);
            storeFloats(packed + (2 * n - 1) * LINES + lane, z.re - z.im);
            return;
        }
        const Complex y = conjugate(loadRow(rows + (n - k) * ROW + lane));
        const Complex even = z + y;
        const Complex odd = times(timesMinusI(z - y), tables.direct[k]);
        storeTerm(packed + lane, k, {0.5 * (even.re + odd.re), 0.5 * (even.im + odd.im)},
                  conjugated);
    });
}

void realLines(float *panel, float *packed, const FftTables<float> &tables, int sign, void *work) {
    auto *rows = static_cast<double *>(work);
    for (int line = 0; line < LINES; line += GROUP) {
        if (tables.length % 2 != 0) {
            realOdd(panel + line, packed + line, *tables.realAny, sign > 0, rows);
        } else {
            realEven(panel + line, packed + line, tables, sign > 0, rows);
        }
    }
}

// The reverse of realOdd: the terms past the middle mirror those before it.
void packedOdd(const float *packed, float *lines, const AnyLength &any, bool conjugated,
               double *rows) {
    eachVector(rows, any.length / 2 + 1, [&](double *row, int lane, std::ptrdiff_t k) {
        if (k == 0) return storeRow(row, {widened(packed + lane), Lanes{}});
        const Complex term = loadTerm(packed + lane, k, conjugated);
        storeRow(row, term);
        storeRow(rows + (any.length - k) * ROW + lane, conjugate(term));
    });
    rows = transformAny(rows, any);
    eachVector(rows, any.length, [&](double *row, int lane, std::ptrdiff_t k) {
        storeFloats(lines + k * LINES + lane, loadRow(row).re);
    });
}

// The reverse of realEven, times 2: sums and differences of the terms k and n - k
// make the terms of half as many values, which are transformed conjugated.
void packedEven(const float *packed, float *lines, const FftTables<float> &tables, bool conjugated,
                double *rows) {
    const AnyLength &any = *tables.realAny;
    const std::ptrdiff_t n = any.length;
    eachVector(rows, n, [&](double *row, int lane, std::ptrdiff_t k) {
        if (k == 0) {
            const Lanes zero = widened(packed + lane);
            const Lanes last = widened(packed + (2 * n - 1) * LINES + lane);
            return storeRow(row, {zero + last, last - zero});
        }
        const Complex x = loadTerm(packed + lane, k, conjugated);
        const Complex y = loadTerm(packed + lane, n - k, !conjugated);
        const Complex odd = times(conjugate(x - y), tables.direct[k]);
        storeRow(row, conjugate(x + y) + timesMinusI(odd));
    });
    rows = transformAny(rows, any);
    eachVector(rows, n, [&](double *row, int lane, std::ptrdiff_t k) {
        storePanel(lines + k * 2 * LINES + lane, loadRow(row), true);
    });
}

void packedLines(const float *packed, float *panel, const FftTables<float> &tables, int sign,
                 void *work) {
    auto *rows = static_cast<double *>(work);
    for (int line = 0; line < LINES; line += GROUP) {
        if (tables.length % 2 != 0) {
            packedOdd(packed + line, panel + line, *tables.realAny, sign > 0, rows);
        } else {
            packedEven(packed + line, panel + line, tables, sign < 0, rows);
        }
    }
}

// The spectrum of the chirp as transformAny() takes it, as one line of a group.
void chirpSpectrum(const AnyLength &any, Root<double> *filter, void *work) {
    auto *rows = static_cast<double *>(work);
    const std::ptrdiff_t padded = any.radices.length;
    __builtin_memset(rows, 0, static_cast<std::size_t>(padded * ROW) * sizeof *rows);
    for (std::ptrdiff_t k = 0; k < any.length; ++k) {
        double *const row = rows + k * ROW;
        double *const mirrored = rows + (k == 0 ? 0 : padded - k) * ROW;
        row[0] = mirrored[0] = any.chirp[k].c;
        row[GROUP] = mirrored[GROUP] = any.chirp[k].s;
    }
    rows = transformRows(rows, rows + padded * ROW, any.radices, any.roots);
    const auto scale = 1 / static_cast<double>(padded);
    for (std::ptrdiff_t k = 0; k < padded; ++k) {
        // times() multiplies by the conjugate of what it is given.
        filter[k] = {rows[k * ROW] * scale, -rows[k * ROW + GROUP] * scale};
    }
}

} // namespace

const AnyLengthKernels anyLengthKernels = {{complexLines, realLines, packedLines}, chirpSpectrum};

} // namespace zylqx::ZYLQX_LEVEL
