#include "filter/bit_median.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "core/memory.h"
#include "filter/bit_median_kernels.h"

namespace zylqx {

namespace {

std::ptrdiff_t planesFor(std::int64_t most) {
    return static_cast<std::ptrdiff_t>(std::bit_width(static_cast<std::uint64_t>(most)));
}

// How many ones there are in runs of as many pixels as a box has columns. Runs of 1, 2,
// 4 ... pixels are made from each other; those that the number of columns is the sum of
// are added, from the right to the left.
class RunCounts {
  public:
    RunCounts(std::int64_t columns, std::int64_t bits)
        : columns_(columns), sourceWords_((bits + 63) / 64), words_((sourceWords_ + 7) / 8 * 8),
          stride_(static_cast<std::ptrdiff_t>(words_ + columns / 64 + 8)),
          // Each run has a plane more than the one before, and so has each sum.
          work_(size(planesFor(columns) * (planesFor(columns) + 2))) {
        if (work_) clear(work_, planesFor(columns) * (planesFor(columns) + 2));
    }

    explicit operator bool() const { return static_cast<bool>(work_); }

    std::ptrdiff_t planes() const { return planesFor(columns_); }
    std::ptrdiff_t stride() const { return stride_; }
    std::ptrdiff_t words() const { return static_cast<std::ptrdiff_t>(words_); }
    // Words of so many planes, and of planes of zeros.
    std::uint64_t size(std::int64_t planes) const {
        return static_cast<std::uint64_t>(planes * stride_);
    }
    void clear(const Scratch<std::uint64_t> &words, std::int64_t planes) const {
        std::fill_n(words.data(), size(planes), std::uint64_t{0});
    }

    void count(const void *row, std::uint64_t *out) {
        std::memcpy(work_.data(), row, static_cast<std::size_t>(sourceWords_ * 8));
        std::uint64_t *next = work_.data() + stride_;
        BitPlanes run = {work_.data(), 1};
        BitPlanes sum = {nullptr, 0};
        std::int64_t summed = 0;
        const auto add = [&](const BitPlanes &a, const BitPlanes &b, std::int64_t bits,
                             std::int64_t total) {
            const std::ptrdiff_t planes = planesFor(total);
            std::uint64_t *to = total == columns_ ? out : next;
            ZYLQX_KERNELS(bitMedianKernels)
                .add(a, b, static_cast<std::ptrdiff_t>(bits), to, planes, stride_, words());
            if (to == next) next += planes * stride_;
            return BitPlanes{to, planes};
        };
        for (std::int64_t length = 1;; length *= 2) {
            if ((columns_ & length) != 0) {
                sum = summed == 0 ? run : add(run, sum, length, summed + length);
                summed += length;
            }
            if (2 * length > columns_) break;
            run = add(run, run, length, 2 * length);
        }
        if (columns_ == 1) std::memcpy(out, row, static_cast<std::size_t>(sourceWords_ * 8));
    }

  private:
    const std::int64_t columns_, sourceWords_, words_;
    const std::ptrdiff_t stride_;
    Scratch<std::uint64_t> work_;
};

} // namespace

bool medianOfBits(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    PieceRows rows(piece, box, passes, 1, 1, BitRows::Words);
    RunCounts counts(box.columns, piece.width + box.columns - 1);
    const std::ptrdiff_t planes = planesFor(box.rows * box.columns);
    // The rows of a box, and one more.
    const std::int64_t slots = box.rows + 1;
    const Scratch<std::uint64_t> ring(counts.size(slots * counts.planes()));
    const Scratch<std::uint64_t> totals(counts.size(planes + 1));
    if (!rows || !counts || !ring || !totals) return false;
    counts.clear(ring, slots * counts.planes());
    counts.clear(totals, planes);
    std::uint64_t *unused = totals.data() + planes * counts.stride();
    const auto slot = [&](std::int64_t r) {
        return ring.data() + r % slots * counts.planes() * counts.stride();
    };
    const auto least = static_cast<std::uint64_t>((box.rows * box.columns + 1) / 2);
    const auto slide = ZYLQX_KERNELS(bitMedianKernels).slide;
    const std::ptrdiff_t outWords = static_cast<std::ptrdiff_t>((piece.width + 63) / 64);
    for (std::int64_t r = 0; r < piece.height + box.rows - 1; ++r) {
        counts.count(rows.source.row(piece.boxY + r), slot(r));
        const std::int64_t y = r - (box.rows - 1);
        std::uint64_t *d =
            y < 0 ? unused : static_cast<std::uint64_t *>(rows.destination.row(piece.dstY + y));
        // The row that left the box before is in the slot that is filled next.
        slide(totals.data(), planes, {slot(r), counts.planes()}, {slot(r + 1), counts.planes()},
              least, d, counts.stride(), outWords);
        if (y >= 0) rows.destination.finish(piece.dstY + y);
    }
    return true;
}

} // namespace zylqx
