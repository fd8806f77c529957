#include "core/kernel.h"
#include "geometry/kernels.h"
#include "geometry/rounding.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

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

const TurnKernels turnKernels = {
    turnNearest,
    turnBetween,
    {sampleNearest<U8>, sampleNearest<U16>, sampleNearestBits},
    {{linearSamples<U8>, linearSamples<U16>}, {cubicSamples<U8>, cubicSamples<U16>}}};

} // namespace zylqx::ZYLQX_LEVEL
