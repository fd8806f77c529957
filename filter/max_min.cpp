// The largest or smallest sample of a box.
#include "filter/max_min.h"

#include <algorithm>
#include <utility>

#include "core/image.h"
#include "core/joined_rows.h"
#include "core/memory.h"
#include "filter/kernels.h"
#include "filter/rank_filter.h"

namespace zylqx {

namespace {

// Rows are first reduced along themselves, then the reduced rows to each other.
// Rows of bits are handled in words of 64.
class ExtremeRows {
  public:
    ExtremeRows(const NeighbourPiece &piece, const Box &box, const Passes &passes, Extreme extreme)
        : bits_(piece.source.depth == ZYL_DEPTH_1U), box_(box), step_(passes.step()),
          rows_(piece, box, passes, 1, 1, BitRows::Words),
          count_(bits_ ? (rows_.samples + 63) / 64 : rows_.samples),
          bytes_(bits_ ? 8 : sampleBytes(piece.source.depth)),
          smallest_(extreme == Extreme::Smallest), stride_((count_ * bytes_ + 63) / 64 * 64),
          two_(ZYLQX_KERNELS(maxMinKernels)
                   .extreme2[smallest_][checkedDepthIndex(piece.source.depth)]),
          three_(ZYLQX_KERNELS(maxMinKernels)
                     .extreme3[smallest_][checkedDepthIndex(piece.source.depth)]),
          slide_(
              ZYLQX_KERNELS(maxMinKernels).slide[smallest_][checkedDepthIndex(piece.source.depth)]),
          memory_(reducedSize() + static_cast<std::uint64_t>(2 * workSize())) {}

    explicit operator bool() const { return rows_ && memory_; }
    void run(const NeighbourPiece &piece, const Passes &passes);

  private:
    // A widened row; bits in whole words and one behind them.
    std::int64_t workSize() const {
        const std::int64_t samples = rows_.samples + (box_.columns - 1) * step_;
        return bits_ ? (samples + 63) / 64 * 8 + 8 : samples * bytes_;
    }
    std::uint64_t reducedSize() const {
        const std::int64_t rows = box_.rows <= 3 ? box_.rows : 2 * box_.rows + 1;
        // The stride is known. NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
        return static_cast<std::uint64_t>(rows > INT64_MAX / stride_ ? INT64_MAX : rows * stride_);
    }

    unsigned char *reduced(std::int64_t i) const { return memory_.data() + i * stride_; }
    unsigned char *work() const { return memory_.data() + reducedSize(); }
    void reduce(std::int64_t y, void *d);
    void reduceBits(const void *s, void *d);
    void shallow(const NeighbourPiece &piece);
    void deep(const NeighbourPiece &piece);

    const bool bits_;
    const Box box_;
    const std::int64_t step_;
    PieceRows rows_;
    const std::ptrdiff_t count_; // samples of a row, or words of bits
    const std::ptrdiff_t bytes_;
    const bool smallest_;
    const std::int64_t stride_;
    const MaxMinKernels::Extreme2 two_;
    const MaxMinKernels::Extreme3 three_;
    const MaxMinKernels::Slide slide_;
    Scratch<unsigned char> memory_; // reduced rows, then two to work on
};

// The extremes of as many samples as the box has columns. Runs of 3, 9, 27 ... samples
// are made from each other, and two or three overlapping runs make the box.
void ExtremeRows::reduce(std::int64_t y, void *d) {
    const auto *s = static_cast<const unsigned char *>(rows_.source.row(y));
    if (bits_) {
        reduceBits(s, d);
        return;
    }
    const std::ptrdiff_t pixel = step_ * bytes_;
    std::int64_t run = 1;
    unsigned char *work = this->work();
    for (; run < box_.columns - 2 * run; run *= 3) {
        three_(s, s + run * pixel, s + 2 * run * pixel, work,
               count_ + (box_.columns - 3 * run) * step_);
        s = work;
        work = this->work() + (work == this->work() ? workSize() : 0);
    }
    const unsigned char *last = s + (box_.columns - run) * pixel;
    if (box_.columns <= 2 * run) {
        two_(s, last, d, count_);
    } else {
        three_(s, s + run * pixel, last, d, count_);
    }
}

// Runs of bits are doubled, and the last one is what remains: two steps at a time, as
// long as they stay in two words.
void ExtremeRows::reduceBits(const void *s, void *d) {
    const MaxMinKernels &kernels = ZYLQX_KERNELS(maxMinKernels);
    const auto *from = static_cast<const std::uint64_t *>(s);
    auto *work = reinterpret_cast<std::uint64_t *>(this->work());
    std::int64_t run = 1;
    do {
        const std::int64_t first = std::min(run, box_.columns - run);
        const std::int64_t second = std::min(run + first, box_.columns - run - first);
        const bool both = first + second < 64;
        run += both ? first + second : first;
        const bool last = run == box_.columns;
        auto *to = last ? static_cast<std::uint64_t *>(d) : work;
        const std::int64_t bits = rows_.samples + box_.columns - run;
        const auto words = last ? count_ : static_cast<std::ptrdiff_t>((bits + 63) / 64);
        if (both) {
            kernels.extremeBits4[smallest_](from, static_cast<int>(first), static_cast<int>(second),
                                            to, words);
        } else {
            kernels.extremeBits2[smallest_](from, static_cast<std::ptrdiff_t>(first), to, words);
        }
        from = work;
    } while (run < box_.columns);
}

void ExtremeRows::shallow(const NeighbourPiece &piece) {
    const std::int64_t rows = box_.rows;
    for (std::int64_t r = 0; r < rows - 1; ++r) reduce(piece.boxY + r, reduced(r));
    for (std::int64_t y = 0; y < piece.height; ++y) {
        void *d = rows_.destination.row(piece.dstY + y);
        const std::int64_t last = y + rows - 1;
        if (rows == 1) {
            reduce(piece.boxY + y, d);
        } else {
            reduce(piece.boxY + last, reduced(last % rows));
            if (rows == 2) {
                two_(reduced(0), reduced(1), d, count_);
            } else {
                three_(reduced(0), reduced(1), reduced(2), d, count_);
            }
        }
        rows_.destination.finish(piece.dstY + y);
    }
}

// Rows in groups as high as the box: a box is the lower end of one group and the
// upper end of the next, whose extremes grow row by row.
void ExtremeRows::deep(const NeighbourPiece &piece) {
    const std::int64_t rows = box_.rows;
    std::int64_t group = 0;
    std::int64_t next = rows;
    unsigned char *upper = reduced(2 * rows);
    for (std::int64_t r = 0; r < rows; ++r) reduce(piece.boxY + r, reduced(r));
    for (std::int64_t y = 0; y < piece.height; ++y) {
        void *d = rows_.destination.row(piece.dstY + y);
        const std::int64_t i = y % rows;
        if (i == 0) {
            if (y > 0) {
                reduce(piece.boxY + y + rows - 1, reduced(next + rows - 1));
                std::swap(group, next);
            }
            for (std::int64_t r = rows - 2; r >= 0; --r) {
                two_(reduced(group + r), reduced(group + r + 1), reduced(group + r), count_);
            }
            two_(reduced(group), reduced(group), d, count_);
        } else {
            unsigned char *row = reduced(next + i - 1);
            reduce(piece.boxY + y + rows - 1, row);
            slide_(row, i == 1 ? row : upper, upper, reduced(group + i), d, count_);
        }
        rows_.destination.finish(piece.dstY + y);
    }
}

void ExtremeRows::run(const NeighbourPiece &piece, const Passes &passes) {
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows_.select(passes, pass);
        box_.rows <= 3 ? shallow(piece) : deep(piece);
    }
}

} // namespace

bool extremePiece(const NeighbourPiece &piece, const Box &box, const Passes &passes,
                  Extreme extreme) {
    auto visit = [&](const NeighbourPiece &part) {
        ExtremeRows rows(part, box, passes, extreme);
        if (rows) rows.run(part, passes);
        return static_cast<bool>(rows);
    };
    return joinNarrowRows(piece, box, passes, visit);
}

} // namespace zylqx

using namespace zylqx;

void zylMaxFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                  std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    rankFilter(Call("zylMaxFilter", "zylnlf"),
               {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping},
               [](const NeighbourPiece &piece, const Box &box, const Passes &passes) {
                   return extremePiece(piece, box, passes, Extreme::Largest);
               });
}

void zylMinFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                  std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    rankFilter(Call("zylMinFilter", "zylnlf"),
               {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping},
               [](const NeighbourPiece &piece, const Box &box, const Passes &passes) {
                   return extremePiece(piece, box, passes, Extreme::Smallest);
               });
}
