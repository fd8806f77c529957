// Loops over rows of samples, for resampling, rotation and mirroring.
//
// Resampling goes in three steps. The samples that the columns of a row need are
// brought next to each other (a gather), combined with the columns' weights into
// a row of intermediate values, and rows of intermediate values are combined
// with one row's weights into samples. Which weights and roundings: positions.h.
#ifndef ZYLQX_GEOMETRY_KERNELS_H
#define ZYLQX_GEOMETRY_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

// How 16 bytes of gathered samples come out of 32 bytes of a row: byte i is byte
// low[i] of the first half or byte high[i] of the second, the other being
// negative.
struct GatherBlock {
    std::int32_t base; // bytes from the row's first sample
    std::int8_t low[16], high[16];
};

// Result k is sample index[k] of a row. `blocks` hold the same for every 16 bytes
// of results but the last incomplete ones; null when some 16 bytes come from more
// than 32.
struct Gather {
    const std::int32_t *index;
    const GatherBlock *blocks;
    std::ptrdiff_t count;
};

// Interpolations, as indices of the tables below.
enum Interpolation { LINEAR, CUBIC };

// Pixels of a turned row that are processed at a time; what they need stays in the
// nearest cache.
constexpr std::ptrdiff_t TURN_BLOCK = 256;

// One image row of a rotation: column x lies at source position
// (c * x - sY + x0, s * x + cY + y0).
struct TurnedRow {
    double c, s;
    double sY, cY; // s and c times the row
    double x0, y0;
};

// A channel of the source of a rotation.
struct TurnSource {
    const void *data; // the sample at (left, top)
    std::int32_t left, top;
    std::ptrdiff_t step;        // samples from one column to the next
    std::ptrdiff_t stride;      // bytes from one row to the next
    std::int32_t width, height; // of the whole image
};

// Base pixel and remainder of the positions of up to TURN_BLOCK columns.
struct TurnBlock {
    std::int32_t x[TURN_BLOCK], y[TURN_BLOCK];
    double fx[TURN_BLOCK], fy[TURN_BLOCK];
};

// Moving samples. Rectangles have strides in bytes, of any sign; what moves within
// a rectangle does not overlap where it goes.
struct MoveKernels {
    // By sample size: 1, 2 and 4 bytes.
    void (*gather[3])(const void *row, const Gather &gather, void *out);
    // Rows of `columns` samples each; their order reversed, or: dst row c, column r =
    // src row r, column c.
    using Rectangle = void (*)(const void *src, std::ptrdiff_t srcStride, void *dst,
                               std::ptrdiff_t dstStride, std::ptrdiff_t columns,
                               std::ptrdiff_t rows);
    Rectangle reverse[3];
    Rectangle transpose[3];
    // Rows of bytes as they are, or in reverse order with the bits of each.
    Rectangle copy;
    Rectangle reverseBits;

    // Bits of a row, one per byte, and back; the last byte is filled up with zeros.
    void (*gatherBits)(const std::uint8_t *row, const std::int32_t *index, std::uint8_t *out,
                       std::ptrdiff_t n);
    void (*packBits)(const std::uint8_t *flags, std::uint8_t *bits, std::ptrdiff_t n);
};

// By interpolation and depth (8U, 16U). `taps` are 2 or 4 gathered rows, `weights`
// the columns' weights: n of the first kind, n of the second, ...
struct ResampleKernels {
    using Columns = void (*)(const void *const *taps, const void *weights, void *out,
                             std::ptrdiff_t n);
    using Rows = void (*)(const void *const *rows, const void *weights, void *out,
                          std::ptrdiff_t n);
    Columns zoomColumns[2][2]; // double weights, float results
    Rows zoomRows[2][2];
    Columns decimateColumns[2][2]; // 16-bit weights; results: decimatedBytes()
    Rows decimateRows[2][2];
};

struct TurnKernels {
    // Positions of columns first .. first + n, all inside the source.
    using Positions = void (*)(const TurnedRow &row, const TurnSource &src, double first,
                               std::ptrdiff_t n, TurnBlock &block);
    Positions nearest, between;
    // Samples at these positions. Nearest: 8U, 16U and 1U; the others: 8U and 16U.
    // 1-bit samples come out one per byte.
    using Sample = void (*)(const TurnSource &src, const TurnBlock &block, void *out,
                            std::ptrdiff_t n);
    Sample sampleNearest[3];
    Sample sampleBetween[2][2];
};

// Bytes of an intermediate value of decimation: 16 bits hold those of linear
// interpolation of 8-bit samples.
constexpr std::ptrdiff_t decimatedBytes(Interpolation interpolation, std::ptrdiff_t sampleBytes) {
    return interpolation == LINEAR && sampleBytes == 1 ? 2 : 4;
}

ZYLQX_DECLARE_KERNELS(MoveKernels, moveKernels)
ZYLQX_DECLARE_KERNELS(ResampleKernels, resampleKernels)
ZYLQX_DECLARE_KERNELS(TurnKernels, turnKernels)

// Index of the tables by sample size.
constexpr int sizeIndex(std::ptrdiff_t bytes) {
    return bytes == 1 ? 0 : bytes == 2 ? 1 : 2;
}

} // namespace zylqx

#endif
