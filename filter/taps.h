// The coefficients of a convolution kernel, made ready for rows.
#ifndef ZYLQX_FILTER_TAPS_H
#define ZYLQX_FILTER_TAPS_H

#include <cstddef>
#include <cstdint>

#include "core/memory.h"
#include "core/rows.h"
#include "filter/kernels.h"

namespace zylqx {

// Rows are convolved in strips of this many samples, whose sums stay in the
// nearest cache.
constexpr std::ptrdiff_t STRIP = 1024;

// Index into ConvolutionKernels::accumulate.
constexpr int sumWidth(Sum sum) {
    return sum == Sum::S32 ? 1 : 0;
}

// The numbers that a sample or a sum may be.
struct Range {
    std::int64_t low, high;
};
Range rangeOf(std::uint32_t depth);

class TapList {
  public:
    TapList() = default;
    // The cells of a kernel of `columns` columns, whose first one lies over cell
    // (left, top) of the box that rows are read for, and samples of a range, in
    // pixels of so many bytes. Zeros are left out; taps of one coefficient follow
    // each other.
    TapList(const std::int8_t *values, std::int64_t rows, std::int64_t columns, std::int64_t left,
            std::int64_t top, const Range &range, std::ptrdiff_t bytes);

    explicit operator bool() const { return static_cast<bool>(memory_); }
    std::ptrdiff_t count() const { return count_; }

    // What the sums over all taps may be, and the narrowest kind that holds them.
    const Range &range() const { return range_; }
    Sum sum() const;

    const Tap *taps() const { return taps_; }

    // Points the taps to the rows of the box at row y, or to one row alone.
    void placeAt(SourceRows &rows, std::int64_t y) const;
    void placeAt(const void *row) const;

  private:
    struct Cell {
        std::int64_t row;
        std::ptrdiff_t offset; // bytes
    };

    std::int64_t top_ = 0;
    std::int64_t rows_ = 0;
    Scratch<unsigned char> memory_; // of what follows
    Tap *taps_ = nullptr;
    Cell *cells_ = nullptr;
    const unsigned char **rowPointers_ = nullptr;
    std::ptrdiff_t count_ = 0;
    Range range_ = {0, 0};
};

} // namespace zylqx

#endif
