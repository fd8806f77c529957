// Medians of small squares of pixels.
#ifndef ZYLQX_FILTER_SORTED_MEDIAN_KERNELS_H
#define ZYLQX_FILTER_SORTED_MEDIAN_KERNELS_H

#include <cstddef>

#include "core/levels.h"
#include "filter/samples.h"

namespace zylqx {

// Squares of 5, 7 and 9 pixels a side are sorted so many rows of them at a time.
constexpr int SQUARE_KINDS = 3;
constexpr int SQUARE_ROWS = 4;
// Rows of their lists: of 1, 2, 4 ... columns of the rows that all four squares above
// each other hold, of two rows for each half of them and of a row for each one.
constexpr int squareListRows(int side) {
    return (side - SQUARE_ROWS + 1 + 2 * 2 + 4 * 1) * (side < 8 ? 7 : 15);
}
// Bytes of squares that are done side by side.
constexpr std::ptrdiff_t SQUARE_BLOCK = 128;
// Bytes from one row of a list to the next.
constexpr std::ptrdiff_t squareStride(int side, std::ptrdiff_t pixelBytes) {
    return (SQUARE_BLOCK + (side - 1) * pixelBytes + 127) / 64 * 64;
}
// Lists, and copies of rows that are shorter than a vector.
constexpr std::ptrdiff_t squareWorkBytes(int side, std::ptrdiff_t pixelBytes) {
    return (squareListRows(side) + side + 2 * SQUARE_ROWS) * squareStride(side, pixelBytes);
}

struct SortedMedianKernels {
    // SQUARE_ROWS rows of n medians, of 5 x 5, 7 x 7 and 9 x 9 pixels that are `step`
    // samples apart. `rows` are those of all squares; `work` has squareWorkBytes(), all
    // of them 0 at first, and is aligned to 64.
    using Median = void (*)(const void *const *rows, std::ptrdiff_t step, void *const *d,
                            void *work, std::ptrdiff_t stride, std::ptrdiff_t n);
    Median ofSquares[SQUARE_KINDS][SAMPLE_COUNT];
};

ZYLQX_DECLARE_KERNELS(SortedMedianKernels, sortedMedianKernels)

} // namespace zylqx

#endif
