// Transforms of sixteen lines at once, and the ways of samples into and out of
// them.
//
// A *line* is the row or column that a one-dimensional transform runs along. A
// *panel* holds LINES lines side by side: row k of it is term (or sample) k of
// all its lines, so that one vector instruction serves several lines and every
// line sees the same order of operations whatever the vector width.
//
//   real panel      rows of LINES values
//   complex panel   rows of LINES real parts, then LINES imaginary parts
//   packed panel    a real panel with the 1-D packing of a spectrum: row 0 is
//                   the term 0, rows 2k - 1 and 2k are the term k, and for an
//                   even length the last row is the term length / 2
//
// A real panel of an even length, read as a complex panel of half the length,
// has the even samples as real parts and the odd ones as imaginary parts.
#ifndef ZYLQX_TRANSFORM_KERNELS_H
#define ZYLQX_TRANSFORM_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"
#include "transform/any_length.h"

namespace zylqx {

constexpr int LINES = 16;

// n raised to the next multiple of LINES.
constexpr std::int64_t raised(std::int64_t n) {
    return (n + LINES - 1) / LINES * LINES;
}

// Row by row, the samples of one channel of a rectangle.
struct Samples {
    unsigned char *data;   // first sample
    std::ptrdiff_t step;   // samples from one column to the next
    std::ptrdiff_t stride; // bytes from one row to the next
    int depth;             // as depthIndex()
};

// Bytes from one column to the next.
constexpr std::ptrdiff_t columnBytes(const Samples &samples) {
    constexpr int BYTES[] = {0, 1, 1, 2, 2, 4};
    return samples.step * BYTES[samples.depth];
}

// Cosine and sine of an angle; in Q14 when T is an integer.
template <class T>
struct Root {
    T c, s;
};

// What the transforms of one length need. S is float, or int32_t for fixed point.
template <class S>
struct FftTables;

template <>
struct FftTables<float> {
    std::ptrdiff_t length = 0;
    const Root<float> *roots = nullptr;   // of 2 pi k / length; null: direct summation
    const Root<float> *split = nullptr;   // 0.5 cos, 0.5 (1 - sin) of 2 pi (j + 1) / length
    const Root<double> *direct = nullptr; // of 2 pi k / length, when it is no power of two
    // For lengths that are neither powers of two nor short: of the length, and of
    // half of it when it is even.
    const AnyLength *complexAny = nullptr;
    const AnyLength *realAny = nullptr;
    const std::int32_t *order = nullptr; // row of a complex term; null: as they come
};

template <>
struct FftTables<std::int32_t> {
    std::ptrdiff_t length = 0;
    const Root<std::int32_t> *roots = nullptr;
    const Root<std::int32_t> *direct = nullptr;
    const std::int32_t *order = nullptr;
};

// Rows of a complex panel after a transform.
constexpr std::ptrdiff_t termRow(const std::int32_t *order, std::ptrdiff_t k) {
    return order != nullptr ? order[k] : k;
}

// Rows of a real panel that came out of a packed one: bit reversal of the pairs.
constexpr std::ptrdiff_t sampleRow(const std::int32_t *order, std::ptrdiff_t k) {
    return order != nullptr ? order[k / 2] + k % 2 : k;
}

// How values become samples.
struct FftFinish {
    float scale = 1; // 1 for none
    int shift = 0;   // fixed point: right, toward zero for what comes out as 0
};

// The complex columns of a spectrum, LINES to a panel. Panels have the rows of
// the region, raised to a multiple of LINES.
template <class S>
struct SpectrumBlock {
    S *data;
    std::ptrdiff_t columns;
    std::ptrdiff_t panelRows;

    S *panel(std::ptrdiff_t p) const { return data + p * panelRows * 2 * LINES; }
    std::ptrdiff_t panels() const { return (columns + LINES - 1) / LINES; }
};

// One-dimensional transforms along the lines of a panel. `sign` is that of the
// exponent.
template <class S>
struct LineKernels {
    void (*complexLines)(S *panel, const FftTables<S> &tables, int sign, void *work);
    void (*realLines)(S *panel, S *packed, const FftTables<S> &tables, int sign, void *work);
    void (*packedLines)(const S *packed, S *panel, const FftTables<S> &tables, int sign,
                        void *work);
};

// The lines that AnyLength transforms at once. `work` has room for two blocks of
// rows of their real and imaginary parts, as many as the radices' length.
constexpr int ANY_LENGTH_GROUP = 4;
constexpr std::ptrdiff_t ANY_LENGTH_WORK = 2 * 2 * ANY_LENGTH_GROUP * sizeof(double);

struct AnyLengthKernels {
    LineKernels<float> lines;
    // Makes AnyLength::filter, of as many terms as the radices' length.
    void (*chirpSpectrum)(const AnyLength &any, Root<double> *filter, void *work);
};

template <class S>
struct FftKernels {
    // Powers of two, and direct summation where the tables have no roots: `work`
    // has DIRECT_WORK bytes for each sample of a line then.
    LineKernels<S> lines;

    // Rows of an image as the lines of a real panel, and back. Missing rows are
    // read as 0. `order` is that of the panel's samples.
    void (*loadRows)(const Samples &from, std::ptrdiff_t rows, std::ptrdiff_t columns, S *panel);
    void (*storeRows)(const S *panel, const std::int32_t *order, std::ptrdiff_t rows,
                      std::ptrdiff_t columns, const FftFinish &finish, const Samples &to);

    // Pairs of columns as the lines of a complex panel, and back.
    void (*loadPairs)(const Samples &from, std::ptrdiff_t rows, std::ptrdiff_t pairs, S *panel);
    void (*storePairs)(const S *panel, const std::int32_t *order, std::ptrdiff_t rows,
                       std::ptrdiff_t pairs, const FftFinish &finish, const Samples &to);

    // One column as one line of a real panel, and back; `lane` points to its
    // first value.
    void (*loadColumn)(const Samples &from, std::ptrdiff_t rows, S *lane);
    void (*storeColumn)(const S *lane, std::ptrdiff_t rows, const FftFinish &finish,
                        const Samples &to);

    // Lines that are LINES rows from row y on, packed, against lines that are
    // columns. `edges` is a real panel whose lines 0 and 1 are the columns of the
    // terms 0 and length / 2.
    void (*rowsToColumns)(const S *packed, std::ptrdiff_t length, std::ptrdiff_t y,
                          const SpectrumBlock<S> &block, S *edges);
    void (*columnsToRows)(const SpectrumBlock<S> &block, const S *edges, const std::int32_t *order,
                          std::ptrdiff_t y, std::ptrdiff_t rows, S *packed, std::ptrdiff_t length);
};

// The transforms of a block with equal sides, whole.
struct BlockKernels {
    struct Side {
        void (*realToPacked)(const Samples &from, const FftFinish &finish, int sign,
                             const Samples &to);
        void (*packedToReal)(const Samples &from, const FftFinish &finish, int sign,
                             const Samples &to);
    };
    Side side8, side16;
};

// Bytes of work for direct summation, per sample of a line: sums and differences
// of two real parts, in double precision.
constexpr std::ptrdiff_t DIRECT_WORK = 2 * LINES * sizeof(double);

// Rows that a packed panel needs beyond its length.
constexpr std::ptrdiff_t PACKED_SLACK = 2 * LINES;

// What the cosine transforms of one length need.
struct DctTables {
    std::ptrdiff_t length = 0;
    const float *secants = nullptr;  // of half-length h from entry h - 8 on; powers of two
    const double *cosines = nullptr; // of pi k / (2 length), 4 length entries; other lengths
};

// Factors of the values of a panel: those of its row 0, and those of the others.
struct DctScale {
    float first[LINES];
    float others[LINES];
};

struct DctKernels {
    // Plain sums along the lines of a real panel of floats. `work` is as for the
    // Fourier transform.
    void (*forwardLines)(float *panel, const DctTables &tables, void *work);
    void (*inverseLines)(float *panel, const DctTables &tables, void *work);

    void (*loadRows)(const Samples &from, std::ptrdiff_t rows, std::ptrdiff_t columns,
                     float *panel);
    void (*scale)(float *panel, std::ptrdiff_t rows, const DctScale &factors);

    // Lines that are LINES rows from row y on into panels of LINES columns, each
    // with `panelRows` rows.
    void (*rowsToColumns)(const float *panel, std::ptrdiff_t columns, std::ptrdiff_t y,
                          float *block, std::ptrdiff_t panelRows);

    // The lines of a real panel as columns of an image.
    void (*storeColumns)(const float *panel, std::ptrdiff_t rows, std::ptrdiff_t columns,
                         const Samples &to);

    // An 8 x 8 block at once.
    void (*forward8x8)(const Samples &from, const Samples &to);
    void (*inverse8x8)(const Samples &from, const Samples &to);
};

ZYLQX_DECLARE_KERNELS(FftKernels<float>, floatFftKernels)
ZYLQX_DECLARE_KERNELS(FftKernels<std::int32_t>, fixedFftKernels)
ZYLQX_DECLARE_KERNELS(AnyLengthKernels, anyLengthKernels)
ZYLQX_DECLARE_KERNELS(BlockKernels, floatBlockKernels)
ZYLQX_DECLARE_KERNELS(BlockKernels, fixedBlockKernels)
ZYLQX_DECLARE_KERNELS(DctKernels, dctKernels)

} // namespace zylqx

#endif
