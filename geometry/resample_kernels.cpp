// Interpolation along rows and columns, for zoom and decimation.
//
// Zoom computes in floating point, in the width and the order of operations that the
// interface promises, and truncates with the tolerance of positions.h; where a pixel is
// divided into a few binary parts, whole numbers give the same. Decimation
// computes in whole numbers: linear weights add up to 256, cubic ones to 6 * 256,
// and the bounds of the intermediate values stand beside their types. Instructions
// that multiply pairs want signed factors, so samples are shifted by half of their
// range and the sums set right. Divisions by 6 and 36 are products, exact over the
// range that the sums have.
#include "core/kernel.h"
#include "core/vectors.h"
#include "geometry/kernels.h"
#include "geometry/rounding.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Instructions that move bytes across more than 32 gain nothing.
using namespace narrow_vectors;

// --- zoom ---

// Rounded to single precision.
template <class Real>
Real toSingle(Real value) {
    return static_cast<Real>(static_cast<float>(value));
}

template <class T, class Real>
void zoomColumnsLinear(const void *const *taps, const void *weights, void *out, std::ptrdiff_t n) {
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const Real *t = static_cast<const Real *>(weights);
    Real *h = static_cast<Real *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int p0 = a[k], p1 = b[k];
        h[k] = toSingle(static_cast<Real>(p0) + t[k] * static_cast<Real>(p1 - p0));
    }
}

template <class T, class Real>
void zoomRowsLinear(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    const Real *a = static_cast<const Real *>(rows[0]);
    const Real *b = static_cast<const Real *>(rows[1]);
    const Real t = *static_cast<const Real *>(weights);
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) d[k] = indexSample<T>(t * (b[k] - a[k]) + a[k]);
}

template <class T, class Real>
void zoomRowAlone(const void *row, void *out, std::ptrdiff_t n) {
    const Real *h = static_cast<const Real *>(row);
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) d[k] = indexSample<T>(h[k]);
}

// Exact sums, so that shifting them rounds as index() does; what is below 0 becomes 0.
void zoomColumnsWhole(const void *const *taps, const void *weights, void *out, std::ptrdiff_t n) {
    const u8 *a = static_cast<const u8 *>(taps[0]);
    const u8 *b = static_cast<const u8 *>(taps[1]);
    const s16 *v = static_cast<const s16 *>(weights);
    const s16 *w = v + n;
    s16 *h = static_cast<s16 *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) h[k] = static_cast<s16>(a[k] * v[k] + b[k] * w[k]);
}

void zoomRowsWhole(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    const s16 *a = static_cast<const s16 *>(rows[0]);
    const s16 *b = static_cast<const s16 *>(rows[1]);
    const s16 v = static_cast<const s16 *>(weights)[0], w = static_cast<const s16 *>(weights)[1];
    u8 *d = static_cast<u8 *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const auto sum = static_cast<s16>(a[k] * v + b[k] * w);
        const auto value = static_cast<s16>(sum >> 4); // by ZOOM_UNIT^2
        d[k] = static_cast<u8>(smaller<s16>(larger<s16>(value, 0), 255));
    }
}

template <class T>
void zoomColumnsCubic(const void *const *taps, const void *weights, void *out, std::ptrdiff_t n) {
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const T *c = static_cast<const T *>(taps[2]);
    const T *d = static_cast<const T *>(taps[3]);
    const double *w1 = static_cast<const double *>(weights);
    const double *w2 = w1 + n;
    const double *w3 = w2 + n;
    double *h = static_cast<double *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int p0 = a[k], p1 = b[k], p2 = c[k], p3 = d[k];
        const int d1 = p1 - p0, d2 = p2 - p1 - d1, d3 = p3 - p2 - (p2 - p1) - d2;
        h[k] = toSingle(p0 + w1[k] * d1 + w2[k] * d2 + w3[k] * d3);
    }
}

template <class T>
void zoomRowsCubic(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    const double *a = static_cast<const double *>(rows[0]);
    const double *b = static_cast<const double *>(rows[1]);
    const double *c = static_cast<const double *>(rows[2]);
    const double *d = static_cast<const double *>(rows[3]);
    const double *w = static_cast<const double *>(weights);
    const double w1 = w[0], w2 = w[1], w3 = w[2];
    T *result = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const double p0 = a[k], p1 = b[k], p2 = c[k], p3 = d[k];
        const double d1 = p1 - p0, d2 = p2 - p1 - d1, d3 = p3 - p2 - (p2 - p1) - d2;
        result[k] = indexSample<T>(p0 + w1 * d1 + w2 * d2 + w3 * d3);
    }
}

// --- decimation ---

#if defined(__SSE2__)

// 16-bit values as vectors: an instruction multiplies them and adds pairs of products.
using Words = Vector<s16>;

#if defined(__AVX2__)
// Each half for itself, which packing undoes.
Words zipLow(Words a, Words b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 8, 24, 9, 25, 10, 26, 11, 27);
}
Words zipHigh(Words a, Words b) {
    return __builtin_shufflevector(a, b, 4, 20, 5, 21, 6, 22, 7, 23, 12, 28, 13, 29, 14, 30, 15,
                                   31);
}
Vector<int> sumsOfPairs(Words a, Words b) {
    return __builtin_ia32_pmaddwd256(a, b);
}
Words pack(Vector<int> low, Vector<int> high) {
    return __builtin_ia32_packssdw256(low, high);
}
Vector<char> packBytes(Words a, Words b) {
    const auto halves = reinterpret_cast<Vector<long long>>(__builtin_ia32_packuswb256(a, b));
    return reinterpret_cast<Vector<char>>(__builtin_shufflevector(halves, halves, 0, 2, 1, 3));
}
#else
Words zipLow(Words a, Words b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
Words zipHigh(Words a, Words b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}
Vector<int> sumsOfPairs(Words a, Words b) {
    return __builtin_ia32_pmaddwd128(a, b);
}
Words pack(Vector<int> low, Vector<int> high) {
    return __builtin_ia32_packssdw128(low, high);
}
Vector<char> packBytes(Words a, Words b) {
    return __builtin_ia32_packuswb128(a, b);
}
#endif

#endif

// The types of intermediate values: linear ones are below 256 times the highest
// sample, cubic ones of 8-bit samples within 6 * 1.25 * 255 of 0.
template <class T>
struct Values;
template <>
struct Values<u8> {
    using Linear = u16;
    using Cubic = s16;
};
template <>
struct Values<u16> {
    using Linear = u32;
    using Cubic = s32;
};

template <class T>
void decimateColumnsLinear(const void *const *taps, const void *weights, void *out,
                           std::ptrdiff_t n) {
    using Value = typename Values<T>::Linear;
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const u16 *f = static_cast<const u16 *>(weights);
    const u16 *g = f + n;
    Value *h = static_cast<Value *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        h[k] = static_cast<Value>(Value(a[k]) * Value(f[k]) + Value(b[k]) * Value(g[k]));
    }
}

#if defined(__SSE2__)
// A vector of 8-bit results as words. Pairs are multiplied as signed numbers, which
// takes 2^15 from every value and 2^23 from the sums; weights add up to 256.
Words decimatedLinear(const u16 *a, const u16 *b, Words f, Words g) {
    const Words sign = Words{} + INT16_MIN;
    const Words x = load<Words>(a) ^ sign, y = load<Words>(b) ^ sign;
    const int restored = (1 << 23) + (1 << 15); // rounding half up as well
    return pack((sumsOfPairs(zipLow(x, y), zipLow(f, g)) + restored) >> 16,
                (sumsOfPairs(zipHigh(x, y), zipHigh(f, g)) + restored) >> 16);
}
#endif

// The sum is below 2^32 for both depths.
template <class T>
void decimateRowsLinear(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    using Value = typename Values<T>::Linear;
    const Value *a = static_cast<const Value *>(rows[0]);
    const Value *b = static_cast<const Value *>(rows[1]);
    const u16 *w = static_cast<const u16 *>(weights);
    const u32 f = w[0], g = w[1];
    T *d = static_cast<T *>(out);
    std::ptrdiff_t k = 0;
#if defined(__SSE2__)
    if constexpr (sizeof(T) == 1) {
        constexpr std::ptrdiff_t N = LANES<s16>;
        const Words zero = {};
        const Words vf = zero + static_cast<s16>(f), vg = zero + static_cast<s16>(g);
        for (; k + 2 * N <= n; k += 2 * N) {
            store(d + k, packBytes(decimatedLinear(a + k, b + k, vf, vg),
                                   decimatedLinear(a + k + N, b + k + N, vf, vg)));
        }
    }
#endif
    ZYLQX_VECTOR_LOOP
    for (; k < n; ++k) {
        const u32 sum = u32{a[k]} * f + u32{b[k]} * g;
        d[k] = static_cast<T>(((sum >> 15) + 1) >> 1);
    }
}

template <class T>
void decimateRowLinear(const void *row, void *out, std::ptrdiff_t n) {
    using Value = typename Values<T>::Linear;
    const Value *h = static_cast<const Value *>(row);
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        d[k] = static_cast<T>(static_cast<Value>((h[k] >> 7) + 1) >> 1);
    }
}

// The cubic of values of one pixel. Those of 16-bit samples taken through it twice
// are below 2^31.
template <class Value>
Value cubicOf(Value a, Value b, Value c, Value d, int w0, int w1, int w2, int w3) {
    return static_cast<Value>((a * w0 + b * w1 + c * w2 + d * w3) >> 8);
}

#if defined(__SSE2__)

// Sums for a vector of pixels, in the order that pack() undoes.
struct Sums {
    Vector<int> low, high;
};
Sums cubicSums(Words a, Words b, Words c, Words d, Words w0, Words w1, Words w2, Words w3) {
    return {sumsOfPairs(zipLow(a, b), zipLow(w0, w1)) + sumsOfPairs(zipLow(c, d), zipLow(w2, w3)),
            sumsOfPairs(zipHigh(a, b), zipHigh(w0, w1)) +
                sumsOfPairs(zipHigh(c, d), zipHigh(w2, w3))};
}

// Samples as words, and what their sums become. 16-bit samples are multiplied as
// signed numbers, which takes 2^15 from every sample; weights add up to 6 * 256.
Words cubicWords(const u8 *samples) {
    return __builtin_convertvector(load<SizedVector<u8, VECTOR_BYTES / 2>>(samples), Words);
}
Words cubicWords(const u16 *samples) {
    return load<Words>(samples) ^ (Words{} + INT16_MIN);
}
void storeCubic(Sums sums, s16 *out) {
    store(out, pack(sums.low >> 8, sums.high >> 8));
}
void storeCubic(Sums sums, s32 *out) {
    const int restored = (6 * 256) << 15;
    const Vector<int> low = (sums.low + restored) >> 8, high = (sums.high + restored) >> 8;
#if defined(__AVX2__)
    store(out, __builtin_shufflevector(low, high, 0, 1, 2, 3, 8, 9, 10, 11));
    store(out + 8, __builtin_shufflevector(low, high, 4, 5, 6, 7, 12, 13, 14, 15));
#else
    store(out, low);
    store(out + 4, high);
#endif
}

#endif

template <class T>
void decimateColumnsCubic(const void *const *taps, const void *weights, void *out,
                          std::ptrdiff_t n) {
    using Value = typename Values<T>::Cubic;
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const T *c = static_cast<const T *>(taps[2]);
    const T *d = static_cast<const T *>(taps[3]);
    const s16 *w0 = static_cast<const s16 *>(weights);
    const s16 *w1 = w0 + n;
    const s16 *w2 = w1 + n;
    const s16 *w3 = w2 + n;
    Value *h = static_cast<Value *>(out);
    std::ptrdiff_t k = 0;
#if defined(__SSE2__)
    for (; k + LANES<s16> <= n; k += LANES<s16>) {
        storeCubic(cubicSums(cubicWords(a + k), cubicWords(b + k), cubicWords(c + k),
                             cubicWords(d + k), load<Words>(w0 + k), load<Words>(w1 + k),
                             load<Words>(w2 + k), load<Words>(w3 + k)),
                   h + k);
    }
#endif
    ZYLQX_VECTOR_LOOP
    for (; k < n; ++k) {
        h[k] = cubicOf<Value>(a[k], b[k], c[k], d[k], w0[k], w1[k], w2[k], w3[k]);
    }
}

// Rows of values with the same four weights.
template <class Value>
void combineCubic(const Value *a, const Value *b, const Value *c, const Value *d, const s16 *w,
                  Value *out, std::ptrdiff_t n) {
    const int w0 = w[0], w1 = w[1], w2 = w[2], w3 = w[3];
    std::ptrdiff_t k = 0;
#if defined(__SSE2__)
    if constexpr (sizeof(Value) == 2) {
        const Words zero = {};
        const Words v0 = zero + w[0], v1 = zero + w[1], v2 = zero + w[2], v3 = zero + w[3];
        for (; k + LANES<Value> <= n; k += LANES<Value>) {
            storeCubic(cubicSums(load<Words>(a + k), load<Words>(b + k), load<Words>(c + k),
                                 load<Words>(d + k), v0, v1, v2, v3),
                       out + k);
        }
    }
#endif
    ZYLQX_VECTOR_LOOP
    for (; k < n; ++k) out[k] = cubicOf<Value>(a[k], b[k], c[k], d[k], w0, w1, w2, w3);
}

// value / DIVISOR, 6 or 36, saturated. 8-bit: by multiplying with 2^18 / DIVISOR
// rounded up, which is exact for 15 bits. 16-bit: the half keeps the quotients
// farther from whole numbers than single precision errs, up to 2^16.
template <int DIVISOR>
u8 quotient(s16 value) {
    constexpr u32 FACTOR = ((1 << 18) + DIVISOR - 1) / DIVISOR;
    const auto positive = static_cast<u16>(value > 0 ? value : 0);
    const auto high = static_cast<u16>(positive * FACTOR >> 16);
    const auto result = static_cast<u16>(high >> 2);
    return static_cast<u8>(result < 255 ? result : 255);
}
template <int DIVISOR>
u16 quotient(s32 value) {
    const int positive = value > 0 ? value : 0;
    const float result = (static_cast<float>(positive) + 0.5f) * (1.0f / DIVISOR);
    return saturated<u16>(static_cast<int>(result));
}

template <class T>
void decimateRowsCubic(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    using Value = typename Values<T>::Cubic;
    const Value *a = static_cast<const Value *>(rows[0]);
    const Value *b = static_cast<const Value *>(rows[1]);
    const Value *c = static_cast<const Value *>(rows[2]);
    const Value *d = static_cast<const Value *>(rows[3]);
    const s16 *w = static_cast<const s16 *>(weights);
    T *result = static_cast<T *>(out);
    constexpr std::ptrdiff_t BLOCK = 256;
    Value values[BLOCK];
    for (std::ptrdiff_t begin = 0; begin < n; begin += BLOCK) {
        const std::ptrdiff_t count = n - begin < BLOCK ? n - begin : BLOCK;
        combineCubic(a + begin, b + begin, c + begin, d + begin, w, values, count);
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t k = 0; k < count; ++k) result[begin + k] = quotient<36>(values[k]);
    }
}

template <class T>
void decimateRowCubic(const void *row, void *out, std::ptrdiff_t n) {
    using Value = typename Values<T>::Cubic;
    const Value *h = static_cast<const Value *>(row);
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) d[k] = quotient<6>(h[k]);
}

template <class T>
constexpr ResampleKernels::Set ZOOM_LINEAR = {zoomColumnsLinear<T, double>,
                                              zoomRowsLinear<T, double>, zoomRowAlone<T, double>};
template <class T>
constexpr ResampleKernels::Set ZOOM_EXACT = {zoomColumnsLinear<T, float>, zoomRowsLinear<T, float>,
                                             zoomRowAlone<T, float>};
// No row is alone.
constexpr ResampleKernels::Set ZOOM_WHOLE = {zoomColumnsWhole, zoomRowsWhole, nullptr};
template <class T>
constexpr ResampleKernels::Set ZOOM_CUBIC = {zoomColumnsCubic<T>, zoomRowsCubic<T>,
                                             zoomRowAlone<T, double>};
template <class T>
constexpr ResampleKernels::Set DECIMATE_LINEAR = {decimateColumnsLinear<T>, decimateRowsLinear<T>,
                                                  decimateRowLinear<T>};
template <class T>
constexpr ResampleKernels::Set DECIMATE_CUBIC = {decimateColumnsCubic<T>, decimateRowsCubic<T>,
                                                 decimateRowCubic<T>};

} // namespace

const ResampleKernels resampleKernels = {
    {{ZOOM_LINEAR<u8>, ZOOM_LINEAR<u16>}, {ZOOM_CUBIC<u8>, ZOOM_CUBIC<u16>}},
    {ZOOM_EXACT<u8>, ZOOM_EXACT<u16>},
    ZOOM_WHOLE,
    {{DECIMATE_LINEAR<u8>, DECIMATE_LINEAR<u16>}, {DECIMATE_CUBIC<u8>, DECIMATE_CUBIC<u16>}}};

} // namespace zylqx::ZYLQX_LEVEL
