#include "geometry/kernels.h"

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// --- moving samples ---

template <class T>
void gatherRow(const void *row, const Gather &gather, void *out) {
    const T *samples = static_cast<const T *>(row);
    T *result = static_cast<T *>(out);
    std::ptrdiff_t k = 0;
#if defined(__SSSE3__)
    using Control = char __attribute__((vector_size(16)));
    using Bytes = char __attribute__((vector_size(16), aligned(1), may_alias));
    auto shuffled = [](const void *data, const void *control) {
        return __builtin_ia32_pshufb128(Control(*static_cast<const Bytes *>(data)),
                                        Control(*static_cast<const Bytes *>(control)));
    };
    if (gather.blocks != nullptr) {
        constexpr std::ptrdiff_t STEP = 16 / sizeof(T);
        const char *bytes = static_cast<const char *>(row);
        for (const GatherBlock *block = gather.blocks; k + STEP <= gather.count;
             k += STEP, ++block) {
            *reinterpret_cast<Bytes *>(result + k) =
                shuffled(bytes + block->base, block->low) |
                shuffled(bytes + block->base + 16, block->high);
        }
    }
#endif
    for (; k < gather.count; ++k) result[k] = samples[gather.index[k]];
}

template <class T>
void reverseRow(const void *src, void *dst, std::ptrdiff_t n) {
    const T *s = static_cast<const T *>(src);
    T *d = static_cast<T *>(dst);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i] = s[n - 1 - i];
}

void gatherBits(const std::uint8_t *row, const std::int32_t *index, std::uint8_t *out,
                std::ptrdiff_t n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        out[k] = static_cast<std::uint8_t>(row[index[k] >> 3] >> (7 - (index[k] & 7)) & 1);
    }
}

// Eight flags of 0 or 1, the first into the top bit: the product puts flag i at
// bit 63 - i, and no two of its terms meet.
std::uint8_t packByte(const std::uint8_t *flags) {
    std::uint64_t word = 0;
    for (int i = 0; i < 8; ++i) word |= std::uint64_t{flags[i]} << (8 * i);
    return static_cast<std::uint8_t>((word * 0x8040201008040201u) >> 56);
}

void packBits(const std::uint8_t *flags, std::uint8_t *bits, std::ptrdiff_t n) {
    std::ptrdiff_t k = 0;
    for (; k + 8 <= n; k += 8) *bits++ = packByte(flags + k);
    if (k == n) return;
    std::uint8_t rest[8] = {};
    for (std::ptrdiff_t i = 0; k + i < n; ++i) rest[i] = flags[k + i];
    *bits = packByte(rest);
}

void reverseBits(const std::uint8_t *src, std::uint8_t *dst, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        unsigned b = src[n - 1 - i];
        b = (b >> 4 & 0x0F) | (b & 0x0F) << 4;
        b = (b >> 2 & 0x33) | (b & 0x33) << 2;
        b = (b >> 1 & 0x55) | (b & 0x55) << 1;
        dst[i] = static_cast<std::uint8_t>(b);
    }
}

// --- transposing ---

// Sixteen bytes of samples, and the same at any address.
template <class T>
struct Vector;
template <>
struct Vector<std::uint8_t> {
    typedef std::uint8_t Lanes __attribute__((vector_size(16)));
    typedef std::uint8_t Loose __attribute__((vector_size(16), aligned(1), may_alias));
};
template <>
struct Vector<std::uint16_t> {
    typedef std::uint16_t Lanes __attribute__((vector_size(16)));
    typedef std::uint16_t Loose __attribute__((vector_size(16), aligned(1), may_alias));
};
template <>
struct Vector<std::uint32_t> {
    typedef std::uint32_t Lanes __attribute__((vector_size(16)));
    typedef std::uint32_t Loose __attribute__((vector_size(16), aligned(1), may_alias));
};
using Lanes8 = Vector<std::uint8_t>::Lanes;
using Lanes16 = Vector<std::uint16_t>::Lanes;
using Lanes32 = Vector<std::uint32_t>::Lanes;

// The lower or upper halves of two vectors, interleaved.
Lanes8 zipLow(Lanes8 a, Lanes8 b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
Lanes8 zipHigh(Lanes8 a, Lanes8 b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                   31);
}
Lanes16 zipLow(Lanes16 a, Lanes16 b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
Lanes16 zipHigh(Lanes16 a, Lanes16 b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}
Lanes32 zipLow(Lanes32 a, Lanes32 b) {
    return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}
Lanes32 zipHigh(Lanes32 a, Lanes32 b) {
    return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}

// A square of as many rows as a vector has lanes. Every round interleaves row i
// with row i + half; after log2(lanes) rounds the square is transposed.
template <class T>
void transposeSquare(const char *src, std::ptrdiff_t srcStride, char *dst,
                     std::ptrdiff_t dstStride) {
    using Loose = typename Vector<T>::Loose;
    constexpr int N = 16 / sizeof(T);
    typename Vector<T>::Lanes rows[N], zipped[N];
    for (int i = 0; i < N; ++i) {
        rows[i] = *reinterpret_cast<const Loose *>(src + i * srcStride);
    }
    for (int round = 1; round < N; round *= 2) {
        for (int i = 0; i < N / 2; ++i) {
            zipped[2 * i] = zipLow(rows[i], rows[i + N / 2]);
            zipped[2 * i + 1] = zipHigh(rows[i], rows[i + N / 2]);
        }
        for (int i = 0; i < N; ++i) rows[i] = zipped[i];
    }
    for (int i = 0; i < N; ++i) {
        *reinterpret_cast<Loose *>(dst + i * dstStride) = rows[i];
    }
}

template <class T>
void transposeRows(const void *src, std::ptrdiff_t srcStride, void *dst, std::ptrdiff_t dstStride,
                   std::ptrdiff_t columns, std::ptrdiff_t rows) {
    constexpr std::ptrdiff_t N = 16 / sizeof(T);
    constexpr std::ptrdiff_t SIZE = sizeof(T);
    const char *from = static_cast<const char *>(src);
    char *to = static_cast<char *>(dst);
    auto single = [=](std::ptrdiff_t column, std::ptrdiff_t row) {
        *reinterpret_cast<T *>(to + column * dstStride + row * SIZE) =
            *reinterpret_cast<const T *>(from + row * srcStride + column * SIZE);
    };
    const std::ptrdiff_t wholeColumns = columns - columns % N;
    const std::ptrdiff_t wholeRows = rows - rows % N;
    for (std::ptrdiff_t column = 0; column < wholeColumns; column += N) {
        for (std::ptrdiff_t row = 0; row < wholeRows; row += N) {
            transposeSquare<T>(from + row * srcStride + column * SIZE, srcStride,
                               to + column * dstStride + row * SIZE, dstStride);
        }
        for (std::ptrdiff_t c = column; c < column + N; ++c) {
            for (std::ptrdiff_t row = wholeRows; row < rows; ++row) single(c, row);
        }
    }
    for (std::ptrdiff_t column = wholeColumns; column < columns; ++column) {
        for (std::ptrdiff_t row = 0; row < rows; ++row) single(column, row);
    }
}

// --- rounding ---

// positions.h
constexpr double TOLERANCE = 0.00001;

template <class T>
constexpr int HIGHEST = static_cast<T>(~T(0));

template <class T>
T saturated(int value) {
    const int positive = value > 0 ? value : 0;
    const int sample = positive < HIGHEST<T> ? positive : HIGHEST<T>;
    return static_cast<T>(sample);
}

// index() and nearest() of positions.h, as samples. What truncation rounds the
// wrong way is below 0, and becomes 0 either way.
template <class T>
T indexSample(double value) {
    return saturated<T>(static_cast<int>(value + TOLERANCE));
}
template <class T>
T nearestSample(double value) {
    return saturated<T>(static_cast<int>(value + (TOLERANCE + 0.5)));
}

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

// --- rotation ---

// Source positions of column i of a turned row.
double turnedX(const TurnedRow &row, double i) {
    return row.c * i - row.sY + row.x0;
}
double turnedY(const TurnedRow &row, double i) {
    return row.s * i + row.cY + row.y0;
}

int atMost(int value, int high) {
    return value < high ? value : high;
}
int between(int value, int low, int high) {
    return atMost(value > low ? value : low, high);
}

// Positions are inside the source, so that truncation rounds down.
void turnNearest(const TurnedRow &row, const TurnSource &src, double first, std::ptrdiff_t n,
                 TurnBlock &block) {
    const int lastX = src.width - 1, lastY = src.height - 1;
    ZYLQX_VECTOR_LOOP
    for (int k = 0; k < static_cast<int>(n); ++k) {
        const double i = first + k;
        block.x[k] = atMost(static_cast<int>(turnedX(row, i) + (TOLERANCE + 0.5)), lastX);
        block.y[k] = atMost(static_cast<int>(turnedY(row, i) + (TOLERANCE + 0.5)), lastY);
    }
}

// The base pixel is never the last one, so that there is one behind it.
void turnBetween(const TurnedRow &row, const TurnSource &src, double first, std::ptrdiff_t n,
                 TurnBlock &block) {
    const int lastX = src.width - 2, lastY = src.height - 2;
    ZYLQX_VECTOR_LOOP
    for (int k = 0; k < static_cast<int>(n); ++k) {
        const double i = first + k;
        const double sx = turnedX(row, i), sy = turnedY(row, i);
        const int x = atMost(static_cast<int>(sx + TOLERANCE), lastX);
        const int y = atMost(static_cast<int>(sy + TOLERANCE), lastY);
        block.x[k] = x;
        block.y[k] = y;
        block.fx[k] = sx - x;
        block.fy[k] = sy - y;
    }
}

// Addresses of samples, as numbers: that of sample (0, 0) may lie outside the
// memory. With the step as a constant for dense samples.
template <class T, bool DENSE>
class Samples {
  public:
    explicit Samples(const TurnSource &src)
        : step_(src.step * static_cast<std::ptrdiff_t>(sizeof(T))), stride_(src.stride),
          origin_(reinterpret_cast<std::uintptr_t>(src.data) -
                  static_cast<std::uintptr_t>(src.top * stride_ + src.left * step_)) {}

    const T *at(std::int32_t x, std::int32_t y) const {
        const std::ptrdiff_t step = DENSE ? static_cast<std::ptrdiff_t>(sizeof(T)) : step_;
        return reinterpret_cast<const T *>(origin_ +
                                           static_cast<std::uintptr_t>(y * stride_ + x * step));
    }

  private:
    std::ptrdiff_t step_, stride_;
    std::uintptr_t origin_;
};

template <class T>
const T *nextRow(const T *sample, std::ptrdiff_t stride) {
    return reinterpret_cast<const T *>(reinterpret_cast<const char *>(sample) + stride);
}

template <class T>
void sampleNearest(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    const Samples<T, false> samples(src);
    T *d = static_cast<T *>(out);
    for (std::ptrdiff_t k = 0; k < n; ++k) d[k] = *samples.at(block.x[k], block.y[k]);
}

void sampleNearestBits(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    std::uint8_t *d = static_cast<std::uint8_t *>(out);
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const std::int32_t x = block.x[k] - src.left;
        const std::uint8_t *row = static_cast<const std::uint8_t *>(src.data) +
                                  (std::ptrdiff_t{block.y[k]} - src.top) * src.stride;
        d[k] = static_cast<std::uint8_t>(row[x >> 3] >> (7 - (x & 7)) & 1);
    }
}

// Two neighbours in a row, the left one in the low bits.
template <class T>
std::uint32_t pairAt(const T *sample, std::ptrdiff_t step) {
    return sample[0] | std::uint32_t{sample[step]} << (8 * sizeof(T));
}
template <class T>
int leftOf(std::uint32_t pair) {
    return static_cast<int>(pair & HIGHEST<T>);
}
template <class T>
int rightOf(std::uint32_t pair) {
    return static_cast<int>(pair >> (8 * sizeof(T)));
}

template <class T, bool DENSE>
void sampleLinear(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    std::uint32_t above[TURN_BLOCK], below[TURN_BLOCK];
    const Samples<T, DENSE> samples(src);
    const std::ptrdiff_t step = DENSE ? 1 : src.step, stride = src.stride;
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const T *p = samples.at(block.x[k], block.y[k]);
        above[k] = pairAt(p, step);
        below[k] = pairAt(nextRow(p, stride), step);
    }
    T *result = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int a = leftOf<T>(above[k]), b = rightOf<T>(above[k]);
        const int c = leftOf<T>(below[k]), d = rightOf<T>(below[k]);
        const double top = a + (b - a) * block.fx[k];
        const double bottom = c + (d - c) * block.fx[k];
        result[k] = nearestSample<T>(top + block.fy[k] * (bottom - top));
    }
}

// Weights of the samples at -1, 0, 1 and 2 for the cubic through them at t.
struct CubicWeights {
    double w[4];
};
CubicWeights cubicWeights(double t) {
    const double t2 = t * t, t3 = t2 * t;
    return {{t2 * (1.0 / 2) - t * (1.0 / 3) - t3 * (1.0 / 6),
             1 - t * (1.0 / 2) - t2 + t3 * (1.0 / 2), t + t2 * (1.0 / 2) - t3 * (1.0 / 2),
             t3 * (1.0 / 6) - t * (1.0 / 6)}};
}

// The four samples that the cubic goes through begin one before the base, and end
// inside the image.
int cubicStart(int base, int size) {
    return between(base - 1, 0, size - 4);
}

template <class T, bool DENSE>
void sampleCubic(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    std::uint32_t left[4][TURN_BLOCK], right[4][TURN_BLOCK];
    const Samples<T, DENSE> samples(src);
    const std::ptrdiff_t step = DENSE ? 1 : src.step, stride = src.stride;
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const T *p =
            samples.at(cubicStart(block.x[k], src.width), cubicStart(block.y[k], src.height));
        for (int row = 0; row < 4; ++row, p = nextRow(p, stride)) {
            left[row][k] = pairAt(p, step);
            right[row][k] = pairAt(p + 2 * step, step);
        }
    }
    T *result = static_cast<T *>(out);
    const int width = src.width, height = src.height;
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const int x = block.x[k], y = block.y[k];
        const CubicWeights across = cubicWeights(block.fx[k] + (x - 1 - cubicStart(x, width)));
        const CubicWeights down = cubicWeights(block.fy[k] + (y - 1 - cubicStart(y, height)));
        double value = 0;
        for (int row = 0; row < 4; ++row) {
            const double h =
                leftOf<T>(left[row][k]) * across.w[0] + rightOf<T>(left[row][k]) * across.w[1] +
                leftOf<T>(right[row][k]) * across.w[2] + rightOf<T>(right[row][k]) * across.w[3];
            value += h * down.w[row];
        }
        result[k] = nearestSample<T>(value);
    }
}

template <class T>
void linearSamples(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    src.step == 1 ? sampleLinear<T, true>(src, block, out, n)
                  : sampleLinear<T, false>(src, block, out, n);
}
template <class T>
void cubicSamples(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    src.step == 1 ? sampleCubic<T, true>(src, block, out, n)
                  : sampleCubic<T, false>(src, block, out, n);
}

} // namespace

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;

const GeometryKernels geometryKernels = {
    {gatherRow<U8>, gatherRow<U16>, gatherRow<U32>},
    {reverseRow<U8>, reverseRow<U16>, reverseRow<U32>},
    {transposeRows<U8>, transposeRows<U16>, transposeRows<U32>},
    gatherBits,
    packBits,
    reverseBits,
    {{zoomColumnsLinear<U8>, zoomColumnsLinear<U16>},
     {zoomColumnsCubic<U8>, zoomColumnsCubic<U16>}},
    {{zoomRowsLinear<U8>, zoomRowsLinear<U16>}, {zoomRowsCubic<U8>, zoomRowsCubic<U16>}},
    {{decimateColumnsLinear<U8>, decimateColumnsLinear<U16>},
     {decimateColumnsCubic<U8>, decimateColumnsCubic<U16>}},
    {{decimateRowsLinear<U8>, decimateRowsLinear<U16>},
     {decimateRowsCubic<U8>, decimateRowsCubic<U16>}},
    turnNearest,
    turnBetween,
    {sampleNearest<U8>, sampleNearest<U16>, sampleNearestBits},
    {{linearSamples<U8>, linearSamples<U16>}, {cubicSamples<U8>, cubicSamples<U16>}}};

} // namespace zylqx::ZYLQX_LEVEL
