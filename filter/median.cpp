// The middle sample of a box, in order of size.

#include <algorithm>

#include "core/image.h"
#include "core/joined_rows.h"
#include "core/memory.h"
#include "filter/bit_median.h"
#include "filter/large_median.h"
#include "filter/median_kernels.h"
#include "filter/rank_filter.h"
#include "filter/sorted_median_kernels.h"

using namespace zylqx;

namespace {

// Up to this many samples are compared with each other, many boxes at once.
constexpr std::int64_t COMPARED = 49;

// Points to the samples of the box at every pixel of row y.
void placeBox(const void **samples, SourceRows &rows, std::int64_t y, const Box &box,
              std::ptrdiff_t pixel) {
    for (std::int64_t r = 0; r < box.rows; ++r) {
        const auto *row = static_cast<const unsigned char *>(rows.row(y + r));
        for (std::int64_t c = 0; c < box.columns; ++c) *samples++ = row + c * pixel;
    }
}

bool medianByComparing(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::uint32_t depth = piece.destination.depth;
    const auto median = ZYLQX_KERNELS(medianKernels).ofSamples[checkedDepthIndex(depth)];
    const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(box.rows * box.columns);
    PieceRows rows(piece, box, passes, box.rows, 1);
    const Scratch<const void *> samples(static_cast<std::uint64_t>(count));
    const Scratch<unsigned char> work(static_cast<std::uint64_t>(medianWorkBytes(count)));
    if (!rows || !samples || !work) return false;
    const std::ptrdiff_t pixel = passes.step() * sampleBytes(depth);
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            placeBox(samples.data(), rows.source, piece.boxY + y, box, pixel);
            median(samples.data(), count, rows.destination.row(piece.dstY + y), work.data(),
                   rows.samples);
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

// A few rows of squares at a time.
bool medianBySorting(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::uint32_t depth = piece.destination.depth;
    const int side = static_cast<int>(box.rows);
    const int sources = side + SQUARE_ROWS - 1;
    const auto step = static_cast<std::ptrdiff_t>(passes.step());
    const std::ptrdiff_t pixel = step * sampleBytes(depth);
    const auto median =
        ZYLQX_KERNELS(sortedMedianKernels).ofSquares[(side - 5) / 2][checkedDepthIndex(depth)];
    PieceRows rows(piece, box, passes, sources, SQUARE_ROWS);
    // For rows behind the last one.
    const std::int64_t bytes = rows.samples * sampleBytes(depth);
    const Scratch<unsigned char> spare(static_cast<std::uint64_t>(bytes));
    const Scratch<unsigned char> work(static_cast<std::uint64_t>(squareWorkBytes(side, pixel)));
    if (!rows || !spare || !work) return false;
    std::fill_n(work.data(), squareWorkBytes(side, pixel), static_cast<unsigned char>(0));
    const void *source[9 + SQUARE_ROWS - 1];
    void *destination[SQUARE_ROWS];
    const std::int64_t last = piece.height + side - 2;
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; y += SQUARE_ROWS) {
            const std::int64_t outputs = std::min<std::int64_t>(SQUARE_ROWS, piece.height - y);
            for (int r = 0; r < sources; ++r) {
                source[r] = rows.source.row(piece.boxY + std::min(y + r, last));
            }
            for (int r = 0; r < SQUARE_ROWS; ++r) {
                destination[r] =
                    r < outputs ? rows.destination.row(piece.dstY + y + r) : spare.data();
            }
            median(source, step, destination, work.data(), squareStride(side, pixel), rows.samples);
            for (std::int64_t r = 0; r < outputs; ++r) rows.destination.finish(piece.dstY + y + r);
        }
    }
    return true;
}

bool isSquare(const Box &box) {
    return box.rows == box.columns && (box.rows == 5 || box.rows == 7 || box.rows == 9);
}

// Computes a piece; false when there is no memory. Of an even number of samples
// the larger middle one; of bits, 1 when at least half of them are.
bool medianPiece(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const bool bits = piece.destination.depth == ZYL_DEPTH_1U;
    const bool square = isSquare(box);
    if (!bits && !square && !atMost(box, COMPARED)) return medianOfLargeBoxes(piece, box, passes);
    auto visit = [&](const NeighbourPiece &part) {
        return bits     ? medianOfBits(part, box, passes)
               : square ? medianBySorting(part, box, passes)
                        : medianByComparing(part, box, passes);
    };
    return joinNarrowRows(piece, box, passes, visit);
}

} // namespace

void zylMedianFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                     std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    rankFilter(Call("zylMedianFilter", "zylnlf"),
               {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping}, medianPiece);
}
