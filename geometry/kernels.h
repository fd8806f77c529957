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

// What rounding errors may be short of an integer; see positions.h.
constexpr double TOLERANCE = 0.00001;

// Half a block of gathered samples is 16 bytes.
constexpr std::ptrdiff_t GATHER_BYTES = 32;

// How a block of gathered samples comes out of a row. Byte i of a half is byte low[i]
// of the 16 bytes at the half's base or byte high[i] of the 16 behind those, the
// other being negative.
struct GatherBlock {
    alignas(GATHER_BYTES) std::int8_t low[GATHER_BYTES], high[GATHER_BYTES];
    std::int32_t base[2]; // bytes from the row's first sample
};

// Result k is sample index[k] of a row. `blocks` hold the same for all whole blocks;
// null when half of one comes from more than 32 bytes.
struct Gather {
    const std::int32_t *index;
    const GatherBlock *blocks;
    std::ptrdiff_t count;
};

// What a pixel is divided into where zoom computes in whole numbers. Positions go less
// than two pixels past the first of two samples, so that values times ZOOM_UNIT^2 are
// within 16 * (-3 * 255 to 4 * 255): 16 bits.
constexpr int ZOOM_UNIT = 4;

// Interpolations, as indices of the tables below.
enum Interpolation { LINEAR, CUBIC };

// Pixels of a turned row that are processed at a time at most; what they need stays
// in the nearest cache.
constexpr std::ptrdiff_t TURN_BLOCK = 256;

// One image row of a rotation: column x lies at source position
// (c * x - sY + x0, s * x + cY + y0).
struct TurnedRow {
    double sY, cY; // s and c times the row
    double x0, y0;
};

// A channel of the source of a rotation. Steps are in bytes, in bits for 1-bit
// samples.
struct TurnSource {
    const void *data; // the sample at (left, top)
    std::int32_t left, top;
    std::int32_t columnStep;
    std::ptrdiff_t rowStep;
    std::int32_t width, height; // of the whole image
};

// Where up to TURN_BLOCK columns come from: the first of the samples that an
// interpolation needs, in steps from column src.left of a row, and the remainders of
// the position.
struct TurnBlock {
    std::int32_t row;
    std::int32_t offset[TURN_BLOCK];
    double fx[TURN_BLOCK], fy[TURN_BLOCK];
};

// As many columns as have offsets within 31 bits: from one to the next, positions
// move on by a row at most.
constexpr std::ptrdiff_t turnBlockColumns(std::ptrdiff_t rowStep) {
    const std::ptrdiff_t rows = INT32_MAX / rowStep - 2;
    return rows > TURN_BLOCK ? TURN_BLOCK : rows < 1 ? 1 : rows;
}

// Moving samples. Rectangles have strides in bytes, of any sign; what moves within
// a rectangle does not overlap where it goes.
struct MoveKernels {
    // By sample size: 1, 2 and 4 bytes.
    using GatherRow = void (*)(const void *row, const Gather &gather, void *out);
    GatherRow gather[3];
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
// the columns' weights: n of the first kind, n of the second, ... Rows of
// intermediate values are combined, or one of them is the result alone.
struct ResampleKernels {
    using Columns = void (*)(const void *const *taps, const void *weights, void *out,
                             std::ptrdiff_t n);
    using Rows = void (*)(const void *const *rows, const void *weights, void *out,
                          std::ptrdiff_t n);
    using Alone = void (*)(const void *row, void *out, std::ptrdiff_t n);
    struct Set {
        Columns columns;
        Rows rows;
        Alone alone;
    };
    Set zoom[2][2];     // weights and values are doubles
    Set zoomExact[2];   // linear, where floats hold all numbers exactly
    Set zoomWhole;      // linear, 8U, weights of both kinds are 16-bit parts of ZOOM_UNIT
    Set decimate[2][2]; // 16-bit weights, values of decimatedBytes()
};

// How an interpolation combines samples.
struct Combination {
    int taps;                  // samples in each direction
    int weights;               // for each position
    std::ptrdiff_t valueBytes; // of an intermediate value
    ResampleKernels::Set set;
};

struct TurnKernels {
    // Positions of n columns, all inside the source, from c and s times their
    // coordinates.
    using Positions = void (*)(const TurnedRow &row, const TurnSource &src, const double *cx,
                               const double *sx, std::ptrdiff_t n, TurnBlock &block);
    Positions nearest;
    Positions between[2];
    // Samples at these positions. Nearest: 8U, 16U and 1U; the others: 8U and 16U.
    // 1-bit samples come out one per byte.
    using Sample = void (*)(const TurnSource &src, const TurnBlock &block, void *out,
                            std::ptrdiff_t n);
    Sample sampleNearest[3];
    Sample sampleBetween[2][2];
};

// Bytes of an intermediate value of decimation.
constexpr std::ptrdiff_t decimatedBytes(std::ptrdiff_t sampleBytes) {
    return 2 * sampleBytes;
}

ZYLQX_DECLARE_KERNELS(MoveKernels, moveKernels)
ZYLQX_DECLARE_KERNELS(ResampleKernels, resampleKernels)
ZYLQX_DECLARE_KERNELS(TurnKernels, turnKernels)

} // namespace zylqx

#endif
