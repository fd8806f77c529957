// Rotation: for each pixel of a row a position in the source, and the sample there by
// nearest neighbour, or interpolated from 2 x 2 or 4 x 4 samples.
//
// Positions and weights are in double precision, in the order of operations that the
// interface promises; they are inside the source, so that truncation rounds down.
// Samples are fetched one by one, packed into words, and become doubles by the bits of
// 2^52, which is exact for all depths here.
#include "core/bits.h"
#include "core/kernel.h"
#include "geometry/kernels.h"
#include "geometry/rounding.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Before a loop that fetches samples one by one: counting would take as long.
#if defined(__clang__)
#define UNROLLED_LOOP _Pragma("unroll 8")
#else
#define UNROLLED_LOOP _Pragma("GCC unroll 8")
#endif

// Source positions, from c and s times the column.
double turnedX(const TurnedRow &row, double cx) {
    return cx - row.sY + row.x0;
}
double turnedY(const TurnedRow &row, double sx) {
    return sx + row.cY + row.y0;
}

int atMost(int value, int high) {
    return value < high ? value : high;
}
int between(int value, int low, int high) {
    return atMost(value > low ? value : low, high);
}

// Positions are inside the source, so that truncation rounds down.
void turnNearest(const TurnedRow &row, const TurnSource &src, const double *cx, const double *sx,
                 std::ptrdiff_t n, TurnBlock &block) {
    auto columnOf = [&](std::ptrdiff_t k) {
        return atMost(static_cast<int>(turnedX(row, cx[k]) + (TOLERANCE + 0.5)), src.width - 1);
    };
    auto rowOf = [&](std::ptrdiff_t k) {
        return atMost(static_cast<int>(turnedY(row, sx[k]) + (TOLERANCE + 0.5)), src.height - 1);
    };
    const int rowStep = static_cast<int>(src.rowStep);
    const int first = rowOf(0);
    block.row = first;
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        block.offset[k] = (rowOf(k) - first) * rowStep + (columnOf(k) - src.left) * src.columnStep;
    }
}

// The first of the samples that a base pixel is interpolated from: two of them, the
// base and the one behind it, or the four that begin one before the base and end
// inside the image.
template <int INTERPOLATION>
int firstSample(int base, int size) {
    return INTERPOLATION == LINEAR ? base : between(base - 1, 0, size - 4);
}

// The base pixel is never the last one. Remainders count from the base, for cubics
// from the second of the four samples.
template <int INTERPOLATION>
void turnBetween(const TurnedRow &row, const TurnSource &src, const double *cx, const double *sx,
                 std::ptrdiff_t n, TurnBlock &block) {
    auto baseOf = [](double position, int size) {
        return atMost(static_cast<int>(position + TOLERANCE), size - 2);
    };
    constexpr int SECOND = INTERPOLATION == LINEAR ? 0 : 1;
    const int width = src.width, height = src.height;
    const int rowStep = static_cast<int>(src.rowStep);
    const int first = firstSample<INTERPOLATION>(baseOf(turnedY(row, sx[0]), height), height);
    block.row = first;
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const double atX = turnedX(row, cx[k]), atY = turnedY(row, sx[k]);
        const int x = firstSample<INTERPOLATION>(baseOf(atX, width), width);
        const int y = firstSample<INTERPOLATION>(baseOf(atY, height), height);
        block.offset[k] = (y - first) * rowStep + (x - src.left) * src.columnStep;
        block.fx[k] = atX - (x + SECOND);
        block.fy[k] = atY - (y + SECOND);
    }
}

// The sample that offsets count from.
const char *originOf(const TurnSource &src, const TurnBlock &block) {
    return static_cast<const char *>(src.data) + (block.row - src.top) * src.rowStep;
}

template <class T>
void sampleNearest(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    const char *origin = originOf(src, block);
    T *d = static_cast<T *>(out);
    UNROLLED_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        d[k] = *reinterpret_cast<const T *>(origin + block.offset[k]);
    }
}

void sampleNearestBits(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    const u8 *origin =
        static_cast<const u8 *>(src.data) + (block.row - src.top) * (src.rowStep / 8);
    u8 *d = static_cast<u8 *>(out);
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        d[k] = static_cast<u8>(bitAt(origin, block.offset[k]));
    }
}

// Two neighbours in a row, the left one in the low bits.
template <class T>
u64 pairAt(const char *sample, std::ptrdiff_t step) {
    const T left = *reinterpret_cast<const T *>(sample);
    const T right = *reinterpret_cast<const T *>(sample + step);
    return left | u32{right} << (8 * sizeof(T));
}

// Everything that is interpolated has 64 bits, so that the compiler needs no more
// vectors than there are registers; samples are made of the results afterwards.
template <class T>
void toSamples(const double *values, void *out, std::ptrdiff_t n) {
    T *d = static_cast<T *>(out);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) d[k] = nearestSample<T>(values[k]);
}

// Sample i of those that are packed into 64 bits, the first in the lowest. Put into
// the bits of 2^52, a number is that much too great; this takes less time than the
// instructions that convert one.
template <class T>
double unpacked(u64 samples, int i) {
    const u64 sample = samples >> (8 * static_cast<int>(sizeof(T)) * i) & HIGHEST<T>;
    return __builtin_bit_cast(double, sample | 0x4330000000000000u) - 0x1p52;
}

// Bilinear: four samples in one word.
template <class T>
struct LinearSamples {
    static constexpr int WORDS = 1;

    static void fetch(const char *p, std::ptrdiff_t step, std::ptrdiff_t rowStep,
                      u64 (*packed)[TURN_BLOCK], std::ptrdiff_t k) {
        packed[0][k] = pairAt<T>(p, step) | pairAt<T>(p + rowStep, step) << (16 * sizeof(T));
    }
    static double value(const u64 (*packed)[TURN_BLOCK], std::ptrdiff_t k, double fx, double fy) {
        const double a = unpacked<T>(packed[0][k], 0), b = unpacked<T>(packed[0][k], 1);
        const double c = unpacked<T>(packed[0][k], 2), d = unpacked<T>(packed[0][k], 3);
        const double top = a + (b - a) * fx;
        const double bottom = c + (d - c) * fx;
        return top + fy * (bottom - top);
    }
};

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

// Bicubic: four rows of four samples, a word each.
template <class T>
struct CubicSamples {
    static constexpr int WORDS = 4;

    static void fetch(const char *p, std::ptrdiff_t step, std::ptrdiff_t rowStep,
                      u64 (*packed)[TURN_BLOCK], std::ptrdiff_t k) {
        for (int row = 0; row < 4; ++row, p += rowStep) {
            packed[row][k] = pairAt<T>(p, step) | pairAt<T>(p + 2 * step, step) << (16 * sizeof(T));
        }
    }
    static double value(const u64 (*packed)[TURN_BLOCK], std::ptrdiff_t k, double fx, double fy) {
        const CubicWeights across = cubicWeights(fx);
        const CubicWeights down = cubicWeights(fy);
        auto rowAt = [&](int row) {
            const u64 samples = packed[row][k];
            return unpacked<T>(samples, 0) * across.w[0] + unpacked<T>(samples, 1) * across.w[1] +
                   unpacked<T>(samples, 2) * across.w[2] + unpacked<T>(samples, 3) * across.w[3];
        };
        return rowAt(0) * down.w[0] + rowAt(1) * down.w[1] + rowAt(2) * down.w[2] +
               rowAt(3) * down.w[3];
    }
};

// Steps are constants for dense samples, so that a pair is read at once.
template <class T, template <class> class Samples, bool DENSE>
void interpolate(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    u64 packed[Samples<T>::WORDS][TURN_BLOCK];
    double values[TURN_BLOCK];
    const char *origin = originOf(src, block);
    const std::ptrdiff_t step = DENSE ? std::ptrdiff_t{sizeof(T)} : src.columnStep;
    const std::ptrdiff_t rowStep = src.rowStep;
    UNROLLED_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        Samples<T>::fetch(origin + block.offset[k], step, rowStep, packed, k);
    }
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        values[k] = Samples<T>::value(packed, k, block.fx[k], block.fy[k]);
    }
    toSamples<T>(values, out, n);
}

template <class T, template <class> class Samples>
void sampleBetween(const TurnSource &src, const TurnBlock &block, void *out, std::ptrdiff_t n) {
    src.columnStep == sizeof(T) ? interpolate<T, Samples, true>(src, block, out, n)
                                : interpolate<T, Samples, false>(src, block, out, n);
}

} // namespace

const TurnKernels turnKernels = {
    turnNearest,
    {turnBetween<LINEAR>, turnBetween<CUBIC>},
    {sampleNearest<u8>, sampleNearest<u16>, sampleNearestBits},
    {{sampleBetween<u8, LinearSamples>, sampleBetween<u16, LinearSamples>},
     {sampleBetween<u8, CubicSamples>, sampleBetween<u16, CubicSamples>}}};

} // namespace zylqx::ZYLQX_LEVEL
