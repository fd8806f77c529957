#include "core/kernel.h"
#include "geometry/kernels.h"
#include "geometry/rounding.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// --- zoom ---

template <class T>
void zoomColumnsLinear(const void *const *taps, const void *weights, void *out, std::ptrdiff_t n) {
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const double *t = static_cast<const double *>(weights);
    float *h = static_cast<float *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        h[k] = static_cast<float>(a[k] + t[k] * (int{b[k]} - int{a[k]}));
    }
}

template <class T>
void zoomRowsLinear(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    const float *a = static_cast<const float *>(rows[0]);
    const float *b = static_cast<const float *>(rows[1]);
    const double t = *static_cast<const double *>(weights);
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        d[k] = indexSample<T>(t * (double{b[k]} - double{a[k]}) + double{a[k]});
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
    float *h = static_cast<float *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int p0 = a[k], p1 = b[k], p2 = c[k], p3 = d[k];
        const int d1 = p1 - p0, d2 = p2 - p1 - d1, d3 = p3 - p2 - (p2 - p1) - d2;
        h[k] = static_cast<float>(p0 + w1[k] * d1 + w2[k] * d2 + w3[k] * d3);
    }
}

template <class T>
void zoomRowsCubic(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    const float *a = static_cast<const float *>(rows[0]);
    const float *b = static_cast<const float *>(rows[1]);
    const float *c = static_cast<const float *>(rows[2]);
    const float *d = static_cast<const float *>(rows[3]);
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

// The type of intermediate values of linear interpolation: they are below
// 256 times the highest sample.
template <class T>
struct Linear;
template <>
struct Linear<std::uint8_t> {
    using Value = std::uint16_t;
};
template <>
struct Linear<std::uint16_t> {
    using Value = std::uint32_t;
};

template <class T>
void decimateColumnsLinear(const void *const *taps, const void *weights, void *out,
                           std::ptrdiff_t n) {
    using Value = typename Linear<T>::Value;
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const std::uint16_t *f = static_cast<const std::uint16_t *>(weights);
    Value *h = static_cast<Value *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        h[k] = static_cast<Value>(Value(a[k]) * Value(256 - f[k]) + Value(b[k]) * Value(f[k]));
    }
}

// The sum is below 2^32 for both depths.
template <class T>
void decimateRowsLinear(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    using Value = typename Linear<T>::Value;
    const Value *a = static_cast<const Value *>(rows[0]);
    const Value *b = static_cast<const Value *>(rows[1]);
    const std::uint32_t f = *static_cast<const std::uint16_t *>(weights);
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const std::uint32_t sum = std::uint32_t{a[k]} * (256 - f) + std::uint32_t{b[k]} * f;
        d[k] = static_cast<T>(((sum >> 15) + 1) >> 1);
    }
}

// Six times the cubic through four samples at -1, 0, 1 and 2, at f / 256. 16-bit
// samples taken through it twice stay below 2^30, and so do the sums on the way.
int sixCubic(int p0, int p1, int p2, int p3, int f, int f2, int f3) {
    const int sum = f3 * (3 * p1 - p0 - 3 * p2 + p3) + f2 * (3 * p0 - 6 * p1 + 3 * p2) +
                    f * (6 * p2 - 2 * p0 - 3 * p1 - p3);
    return 6 * p1 + (sum >> 8);
}

template <class T>
void decimateColumnsCubic(const void *const *taps, const void *weights, void *out,
                          std::ptrdiff_t n) {
    const T *a = static_cast<const T *>(taps[0]);
    const T *b = static_cast<const T *>(taps[1]);
    const T *c = static_cast<const T *>(taps[2]);
    const T *d = static_cast<const T *>(taps[3]);
    const std::uint16_t *f = static_cast<const std::uint16_t *>(weights);
    const std::uint16_t *f2 = f + n;
    const std::uint16_t *f3 = f2 + n;
    std::int32_t *h = static_cast<std::int32_t *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        h[k] = sixCubic(a[k], b[k], c[k], d[k], f[k], f2[k], f3[k]);
    }
}

// value / 36 by multiplication: 58255 is 2^21 / 36 rounded up, which is exact for
// values below 74898. Those of 8-bit samples are below 12000.
std::uint8_t thirtySixth(unsigned value, std::uint8_t) {
    return saturated<std::uint8_t>(static_cast<int>(value * 58255 >> 21));
}
std::uint16_t thirtySixth(unsigned value, std::uint16_t) {
    return saturated<std::uint16_t>(static_cast<int>(value / 36));
}

template <class T>
void decimateRowsCubic(const void *const *rows, const void *weights, void *out, std::ptrdiff_t n) {
    const std::int32_t *a = static_cast<const std::int32_t *>(rows[0]);
    const std::int32_t *b = static_cast<const std::int32_t *>(rows[1]);
    const std::int32_t *c = static_cast<const std::int32_t *>(rows[2]);
    const std::int32_t *d = static_cast<const std::int32_t *>(rows[3]);
    const std::uint16_t *w = static_cast<const std::uint16_t *>(weights);
    const int f = w[0], f2 = w[1], f3 = w[2];
    T *result = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int value = sixCubic(a[k], b[k], c[k], d[k], f, f2, f3);
        result[k] = thirtySixth(static_cast<unsigned>(value > 0 ? value : 0), T());
    }
}

} // namespace

using U8 = std::uint8_t;
using U16 = std::uint16_t;

const ResampleKernels resampleKernels = {
    {{zoomColumnsLinear<U8>, zoomColumnsLinear<U16>},
     {zoomColumnsCubic<U8>, zoomColumnsCubic<U16>}},
    {{zoomRowsLinear<U8>, zoomRowsLinear<U16>}, {zoomRowsCubic<U8>, zoomRowsCubic<U16>}},
    {{decimateColumnsLinear<U8>, decimateColumnsLinear<U16>},
     {decimateColumnsCubic<U8>, decimateColumnsCubic<U16>}},
    {{decimateRowsLinear<U8>, decimateRowsLinear<U16>},
     {decimateRowsCubic<U8>, decimateRowsCubic<U16>}}};

} // namespace zylqx::ZYLQX_LEVEL
