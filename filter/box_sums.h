// Sums of boxes of samples, row by row: each row costs the same whatever the
// size of the box.
#ifndef ZYLQX_FILTER_BOX_SUMS_H
#define ZYLQX_FILTER_BOX_SUMS_H

#include <cstddef>
#include <cstdint>

#include "core/memory.h"
#include "core/walk_neighbourhoods.h"
#include "filter/kernels.h"

namespace zylqx {

// Whether all sums of a box fit in 31 bits; wide sums have 63.
bool sumsFit(std::uint32_t depth, const Box &box);

class BoxSums {
  public:
    // For the rows of a piece. Rows of 32-bit samples: the sum of a column of the
    // box is rounded to single precision.
    BoxSums(PieceRows &rows, const NeighbourPiece &piece, const Box &box, const Passes &passes,
            std::uint32_t depth, bool wide);

    explicit operator bool() const { return columns_ && boxes_; }

    // The sums for row y of the piece, asked for from row 0 on, one after another:
    // 32 bits each, 64 when wide.
    const void *row(std::int64_t y);

  private:
    PieceRows &rows_;
    const std::int64_t boxY_;
    const Box box_;
    const std::int64_t step_;
    const int sample_;
    const bool wide_;
    const std::int64_t count_; // of column sums
    Scratch<std::int64_t> columns_;
    Scratch<std::int64_t> boxes_;
};

} // namespace zylqx

#endif
