#include "filter/median.h"

#include <algorithm>
#include <cstring>

#include "core/image.h"
#include "core/memory.h"
#include "filter/box_sums.h"
#include "filter/kernels.h"

namespace zylqx {

namespace {

// Up to this many samples are compared with each other, many boxes at once.
// More 8-bit samples are counted in histograms instead.
constexpr std::int64_t COMPARED_BYTES = 49;
constexpr std::int64_t COMPARED = 289;
// A bin of a histogram counts no further.
constexpr std::int64_t COUNTED = 65535;
// Columns that have their histograms in the second-level cache.
constexpr std::int64_t HISTOGRAMS = 256;

// As few bits as half of the box, rounded up.
bool medianOfBits(const Piece &piece, const Box &box, const Passes &passes) {
    if (!sumsFit(ZYL_DEPTH_1U, box)) return false;
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    BoxSums sums(rows, piece, box, passes, ZYL_DEPTH_1U, false);
    if (!rows || !sums) return false;
    const auto least = static_cast<std::uint32_t>((box.rows * box.columns + 1) / 2);
    const BoxKernels &kernels = currentBoxKernels();
    for (std::int64_t y = 0; y < piece.height; ++y) {
        kernels.atLeast(static_cast<const std::uint32_t *>(sums.row(y)), least,
                        static_cast<std::uint8_t *>(rows.destination.row(piece.dstY + y)),
                        rows.samples);
        rows.destination.finish(piece.dstY + y);
    }
    return true;
}

// Points to the samples of the box at every pixel of row y.
void placeBox(const void **samples, SourceRows &rows, std::int64_t y, const Box &box,
              std::ptrdiff_t pixel) {
    for (std::int64_t r = 0; r < box.rows; ++r) {
        const auto *row = static_cast<const unsigned char *>(rows.row(y + r));
        for (std::int64_t c = 0; c < box.columns; ++c) *samples++ = row + c * pixel;
    }
}

bool medianByComparing(const Piece &piece, const Box &box, const Passes &passes) {
    const std::uint32_t depth = piece.destination.depth;
    const auto median = currentRankKernels().median[checkedDepthIndex(depth)];
    const std::ptrdiff_t count = static_cast<std::ptrdiff_t>(box.rows * box.columns);
    PieceRows rows(piece, box, passes, box.rows, 1);
    const Scratch<const void *> samples(static_cast<std::size_t>(count));
    const Scratch<unsigned char> work(static_cast<std::size_t>(medianWorkBytes(count)));
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

// Histograms of the columns of a strip, as high as the box.
void count(std::uint16_t *histograms, const void *row, std::int64_t columns, std::uint8_t flip,
           std::uint16_t change) {
    const auto *s = static_cast<const std::uint8_t *>(row);
    for (std::int64_t i = 0; i < columns; ++i) {
        std::uint16_t &bin = histograms[i * HISTOGRAM_BINS + (s[i] ^ flip)];
        bin = static_cast<std::uint16_t>(bin + change);
    }
}

bool medianStrip(const Piece &piece, const Box &box, const Passes &passes) {
    const auto median = currentRankKernels().medianHistogram;
    const std::uint8_t flip = piece.destination.depth == ZYL_DEPTH_8S ? 0x80 : 0;
    const auto values = static_cast<std::uint32_t>(box.rows * box.columns);
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    const std::int64_t columns = rows.samples + (box.columns - 1) * passes.step();
    const Scratch<std::uint16_t> histograms(static_cast<std::size_t>(columns * HISTOGRAM_BINS));
    if (!rows || !histograms) return false;
    const auto add = [&](std::int64_t r, std::uint16_t change) {
        count(histograms.data(), rows.source.row(piece.boxY + r), columns, flip, change);
    };
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        std::fill_n(histograms.data(), columns * HISTOGRAM_BINS, std::uint16_t{0});
        for (std::int64_t r = 0; r < box.rows; ++r) add(r, 1);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            if (y > 0) {
                add(y + box.rows - 1, 1);
                add(y - 1, 0xFFFF);
            }
            median(histograms.data(), passes.step(), box.columns, values, flip,
                   static_cast<std::uint8_t *>(rows.destination.row(piece.dstY + y)), rows.samples);
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

bool medianByCounting(const Piece &piece, const Box &box, const Passes &passes) {
    const std::int64_t width = std::max<std::int64_t>(HISTOGRAMS / passes.step(), 1);
    for (std::int64_t x = 0; x < piece.width; x += width) {
        const Piece strip = {piece.source,
                             piece.boxX + x,
                             piece.boxY,
                             piece.destination,
                             piece.dstX + x,
                             piece.dstY,
                             std::min(width, piece.width - x),
                             piece.height};
        if (!medianStrip(strip, box, passes)) return false;
    }
    return true;
}

template <class T>
void medianRow(const void *const *samples, std::ptrdiff_t n, void *d, void *work,
               std::ptrdiff_t columns) {
    T *values = static_cast<T *>(work);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t x = 0; x < columns; ++x) {
        for (std::ptrdiff_t i = 0; i < n; ++i) values[i] = static_cast<const T *>(samples[i])[x];
        std::nth_element(values, values + n / 2, values + n);
        out[x] = values[n / 2];
    }
}

// Boxes too large for both.
bool medianBySelection(const Piece &piece, const Box &box, const Passes &passes) {
    using Row = void (*)(const void *const *, std::ptrdiff_t, void *, void *, std::ptrdiff_t);
    constexpr Row ROWS[] = {medianRow<std::uint8_t>, medianRow<std::uint8_t>,
                            medianRow<std::int8_t>,  medianRow<std::uint16_t>,
                            medianRow<std::int16_t>, medianRow<std::int32_t>};
    const std::uint32_t depth = piece.destination.depth;
    const std::ptrdiff_t bytes = sampleBytes(depth);
    const std::int64_t most = PTRDIFF_MAX / 16;
    const std::int64_t n = box.rows > most / box.columns ? most : box.rows * box.columns;
    PieceRows rows(piece, box, passes, box.rows, 1);
    const Scratch<const void *> samples(static_cast<std::size_t>(n));
    const Scratch<std::int32_t> work(static_cast<std::size_t>(n));
    if (!rows || !samples || !work) return false;
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            placeBox(samples.data(), rows.source, piece.boxY + y, box, passes.step() * bytes);
            ROWS[checkedDepthIndex(depth)](samples.data(), static_cast<std::ptrdiff_t>(n),
                                           rows.destination.row(piece.dstY + y), work.data(),
                                           static_cast<std::ptrdiff_t>(rows.samples));
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

bool atMost(const Box &box, std::int64_t samples) {
    return box.rows <= samples && box.columns <= samples && box.rows * box.columns <= samples;
}

} // namespace

bool medianPiece(const Piece &piece, const Box &box, const Passes &passes) {
    const std::uint32_t depth = piece.destination.depth;
    if (depth == ZYL_DEPTH_1U) return medianOfBits(piece, box, passes);
    const bool bytes = depthBits(depth) == 8;
    if (atMost(box, bytes ? COMPARED_BYTES : COMPARED)) {
        return medianByComparing(piece, box, passes);
    }
    if (bytes && atMost(box, COUNTED)) return medianByCounting(piece, box, passes);
    return medianBySelection(piece, box, passes);
}

} // namespace zylqx
