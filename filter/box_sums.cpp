#include "filter/box_sums.h"

#include <algorithm>
#include <cstring>

#include "core/image.h"

namespace zylqx {

bool sumsFit(std::uint32_t depth, const Box &box) {
    const int bits = std::max(depthBits(depth), 1);
    if (bits > 16) return false;
    const std::int64_t most = ((std::int64_t{1} << 31) - 1) >> bits;
    return box.rows <= most && box.columns <= most && box.rows * box.columns <= most;
}

BoxSums::BoxSums(PieceRows &rows, const NeighbourPiece &piece, const Box &box, const Passes &passes,
                 std::uint32_t depth, bool wide)
    : rows_(rows), boxY_(piece.boxY), box_(box), step_(passes.step()), sample_(depthIndex(depth)),
      wide_(wide), count_(rows.samples + (box.columns - 1) * passes.step()) {
    // Narrow sums are half as long.
    const std::int64_t share = wide ? 1 : 2;
    columns_ = Scratch<std::int64_t>(static_cast<std::uint64_t>((count_ + share - 1) / share));
    boxes_ = Scratch<std::int64_t>(static_cast<std::uint64_t>((rows.samples + share - 1) / share));
}

const void *BoxSums::row(std::int64_t y) {
    const BoxKernels &kernels = ZYLQX_KERNELS(boxKernels);
    SourceRows &source = rows_.source;
    const std::int64_t top = boxY_ + y;
    if (y == 0) {
        std::memset(columns_.data(), 0, static_cast<std::size_t>(count_ * (wide_ ? 8 : 4)));
        const auto add = wide_ ? kernels.addRowWide[sample_] : kernels.addRow[sample_];
        for (std::int64_t r = 0; r < box_.rows; ++r) {
            add(source.row(top + r), columns_.data(), count_);
        }
    } else {
        const auto slide = wide_ ? kernels.slideRowWide[sample_] : kernels.slideRow[sample_];
        slide(source.row(top + box_.rows - 1), source.row(top - 1), columns_.data(), count_);
    }
    if (wide_) {
        kernels.boxSumsWide(columns_.data(), sample_ == depthIndex(ZYL_DEPTH_32S), step_,
                            box_.columns, boxes_.data(), rows_.samples);
    } else {
        kernels.boxSums(reinterpret_cast<const std::uint32_t *>(columns_.data()), step_,
                        box_.columns, reinterpret_cast<std::uint32_t *>(boxes_.data()),
                        rows_.samples);
    }
    return boxes_.data();
}

} // namespace zylqx
