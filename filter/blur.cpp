// The mean of a box.

#include <algorithm>
#include <cstring>

#include "core/image.h"
#include "core/joined_rows.h"
#include "core/memory.h"
#include "core/walk_neighbourhoods.h"
#include "filter/box_sums.h"
#include "filter/kernels.h"

using namespace zylqx;

namespace {

constexpr Call CALL("zylBlur", "zylblur");

bool badArguments(const ZylImage *srcImage, const ZylImage *dstImage, std::int32_t nRows,
                  std::int32_t nCols, std::int32_t anchorX, std::int32_t anchorY) {
    return CALL.badHeader(srcImage) || CALL.badHeader(dstImage) ||
           CALL.fails(srcImage->depth != dstImage->depth, "(srcImage->depth!=dstImage->depth)") ||
           CALL.fails(srcImage->depth == ZYL_DEPTH_1U, "(srcImage->depth==1)") ||
           CALL.fails(nRows < 0 || nCols < 0, "(nRows<0||nCols<0)") ||
           CALL.fails(anchorX < 0 || anchorY < 0, "(anchorX<0||anchorY<0)") ||
           CALL.fails(nRows == 0 || nCols == 0, "(nRows==0||nCols==0)");
}

// The channels that both images process, each into the channel of its number.
ChannelRange commonChannels(const ZylImage &a, const ZylImage &b) {
    const auto first = [](const ZylImage &image) { return std::max(channelOfInterest(image), 1); };
    const auto last = [](const ZylImage &image) {
        const int coi = channelOfInterest(image);
        return coi != 0 ? coi : image.nChannels;
    };
    const int from = std::max(first(a), first(b));
    return {from, from, std::min(last(a), last(b)) - from + 1};
}

bool copyPiece(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    PieceRows rows(piece, box, passes, 1, 1);
    if (!rows) return false;
    const std::int64_t bytes = rows.samples * rowSampleBytes(piece.destination.depth);
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            std::memcpy(rows.destination.row(piece.dstY + y), rows.source.row(piece.boxY + y),
                        static_cast<std::size_t>(bytes));
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

float factorOf(const Box &box) {
    return static_cast<float>(1.0 /
                              (static_cast<double>(box.rows) * static_cast<double>(box.columns)));
}

// Whether columns of the box fit in 15 bits and single precision gives the same
// means. The factor of a box of A samples is a little above or below 1 / A, so
// a mean is floor(sum / A) or floor((sum - 1) / A), as long as sum < 2^24. That is
// floor((sum - l + 1/2) / A) with l = 0 or 1, a number that is 1 / 2A away from an
// integer, or further. Single precision errs by less than 256 * 2^-22.
bool isNarrow(std::uint32_t depth, const Box &box, const Passes &passes) {
    return depth == ZYL_DEPTH_8U && passes.step() == 1 && box.rows <= 128 &&
           box.columns <= 8192 / box.rows;
}

bool blurNarrow(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    constexpr std::int64_t PAD = 64; // samples before and behind the columns
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    const std::int64_t count = rows.samples + box.columns - 1;
    const Scratch<std::uint16_t> scratch(static_cast<std::uint64_t>(count + 2 * PAD));
    if (!rows || !scratch) return false;
    std::uint16_t *columns = scratch.data() + PAD;
    const BoxKernels &kernels = ZYLQX_KERNELS(boxKernels);
    const float factor = factorOf(box);
    const double area = static_cast<double>(box.rows * box.columns);
    const std::uint32_t less = area * factor < 1 ? 1 : 0;
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        std::fill_n(scratch.data(), count + 2 * PAD, std::uint16_t{0});
        for (std::int64_t r = 0; r < box.rows - 1; ++r) {
            kernels.addRowNarrow(rows.source.row(piece.boxY + r), columns, count);
        }
        for (std::int64_t y = 0; y < piece.height; ++y) {
            const void *entering = rows.source.row(piece.boxY + y + box.rows - 1);
            if (y == 0) {
                kernels.addRowNarrow(entering, columns, count);
            } else {
                kernels.slideRowNarrow(entering, rows.source.row(piece.boxY + y - 1), columns,
                                       count);
            }
            kernels.meanNarrow(columns, box.columns, factor, less,
                               static_cast<std::uint8_t *>(rows.destination.row(piece.dstY + y)),
                               rows.samples);
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

bool blurPiece(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::uint32_t depth = piece.destination.depth;
    if (isNarrow(depth, box, passes)) return blurNarrow(piece, box, passes);
    const bool wide = !sumsFit(depth, box);
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    BoxSums sums(rows, piece, box, passes, depth, wide);
    if (!rows || !sums) return false;
    const BoxKernels &kernels = ZYLQX_KERNELS(boxKernels);
    const auto mean = (wide ? kernels.meanWide : kernels.mean)[checkedDepthIndex(depth)];
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            mean(sums.row(y), factorOf(box), rows.destination.row(piece.dstY + y), rows.samples);
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

} // namespace

void zylBlur(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
             std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    if (badArguments(srcImage, dstImage, nRows, nCols, anchorX, anchorY)) return;
    const ChannelRange channels = commonChannels(*srcImage, *dstImage);
    if (channels.count <= 0) return;
    const Passes passes(channels, *srcImage, *dstImage);
    const Box box = {nCols, nRows, anchorX, anchorY};
    auto blur = [&](const NeighbourPiece &piece) { return blurPiece(piece, box, passes); };
    auto visit = [&](const NeighbourPiece &piece) {
        return nRows == 1 && nCols == 1 ? copyPiece(piece, box, passes)
                                        : joinNarrowRows(piece, box, passes, blur);
    };
    reportTiles(CALL, walkNeighbourhoods(*srcImage, *dstImage, clippedPair(*srcImage, *dstImage),
                                         box, mapping, visit));
}
