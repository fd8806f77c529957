// The middle sample of a box, in order of size.

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/image.h"
#include "core/memory.h"
#include "filter/box_sums.h"
#include "filter/kernels.h"
#include "filter/rank_filter.h"

using namespace zylqx;

namespace {

// Up to this many samples are compared with each other, many boxes at once.
// More 8-bit samples are counted in histograms instead, others are sorted.
constexpr std::int64_t COMPARED = 49;
// A bin of a histogram counts no further.
constexpr std::int64_t COUNTED = 65535;
// Columns that have their histograms in the second-level cache.
constexpr std::int64_t STRIP_COLUMNS = 256;
// What is put in order together.
constexpr std::int64_t BLOCK_COLUMNS = 64;
constexpr std::int64_t BLOCK_ROWS = 64;

// As few bits as half of the box, rounded up.
bool medianOfBits(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    if (!sumsFit(ZYL_DEPTH_1U, box)) return false;
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    BoxSums sums(rows, piece, box, passes, ZYL_DEPTH_1U, false);
    if (!rows || !sums) return false;
    const auto least = static_cast<std::uint32_t>((box.rows * box.columns + 1) / 2);
    const BoxKernels &kernels = ZYLQX_KERNELS(boxKernels);
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

// Counts a row of a strip in the histograms of its columns, or takes it away.
void count(std::uint16_t *histograms, const void *row, std::int64_t columns, std::uint8_t flip,
           std::uint16_t change) {
    const auto *s = static_cast<const std::uint8_t *>(row);
    for (std::int64_t i = 0; i < columns; ++i, histograms += HISTOGRAM) {
        const int value = s[i] ^ flip;
        std::uint16_t &block = histograms[value / HISTOGRAM_BLOCK];
        std::uint16_t &bin = histograms[HISTOGRAM_BLOCK + value];
        block = static_cast<std::uint16_t>(block + change);
        bin = static_cast<std::uint16_t>(bin + change);
    }
}

bool medianStrip(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const auto median = ZYLQX_KERNELS(medianKernels).ofHistograms;
    const std::uint8_t flip = piece.destination.depth == ZYL_DEPTH_8S ? 0x80 : 0;
    const auto values = static_cast<std::uint32_t>(box.rows * box.columns);
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    const std::int64_t columns = rows.samples + (box.columns - 1) * passes.step();
    const Scratch<std::uint16_t> histograms(static_cast<std::uint64_t>(columns * HISTOGRAM));
    if (!rows || !histograms) return false;
    const auto add = [&](std::int64_t r, std::uint16_t change) {
        count(histograms.data(), rows.source.row(piece.boxY + r), columns, flip, change);
    };
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        std::fill_n(histograms.data(), columns * HISTOGRAM, std::uint16_t{0});
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

bool medianByCounting(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::int64_t width = std::max<std::int64_t>(STRIP_COLUMNS / passes.step(), 1);
    for (std::int64_t x = 0; x < piece.width; x += width) {
        const NeighbourPiece strip = {piece.source,
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

// A block of the piece at a time: the samples that its boxes are made of are put in
// order, and a box is then a set of places in that order.
class OrderedBlock {
  public:
    OrderedBlock(const Box &box, const Passes &passes, std::uint32_t depth, std::int64_t columns,
                 std::int64_t rows)
        : box_(box), step_(passes.step()), height_(rows + box.rows - 1), bytes_(sampleBytes(depth)),
          size_(bytes_ == 4 ? 2 : bytes_ - 1),
          flip_((depth & ZYL_DEPTH_SIGN) == 0 ? 0 : 1u << (depthBits(depth) - 1)) {
        const std::int64_t width = (columns + box.columns - 1) * step_;
        constexpr std::int64_t MOST = INT32_MAX;
        if (height_ > MOST / 16 / width) return;
        const std::int64_t n = width * height_;
        for (Scratch<std::uint32_t> *scratch : {&samples_, &ordered_, &places_, &work_}) {
            *scratch = Scratch<std::uint32_t>(static_cast<std::uint64_t>(n));
        }
        set_ = Scratch<std::uint64_t>(static_cast<std::uint64_t>(setWords(n)));
    }

    explicit operator bool() const { return samples_ && ordered_ && places_ && work_ && set_; }

    // Takes samples [x, x + columns) of source rows [y, y + rows), and what is around
    // them, and writes their medians.
    void run(PieceRows &rows, std::int64_t x, std::int64_t columns, std::int64_t y,
             std::int64_t count, std::int64_t dstY) {
        const MedianKernels &kernels = ZYLQX_KERNELS(medianKernels);
        const std::int64_t width = columns + (box_.columns - 1) * step_;
        const std::int64_t height = count + box_.rows - 1;
        for (std::int64_t r = 0; r < height; ++r) {
            const auto *row = static_cast<const unsigned char *>(rows.source.row(y + r));
            gather(row + x * bytes_, r, width, height);
        }
        const std::int64_t n = width * height;
        kernels.orderSamples[size_](samples_.data(), n, flip_, places_.data(), work_.data(),
                                    ordered_.data());
        for (std::int64_t r = 0; r < count; ++r) {
            auto *d = static_cast<unsigned char *>(rows.destination.row(dstY + r));
            kernels.ofPlaces[size_](places_.data() + r, height, box_.rows, step_, box_.columns,
                                    ordered_.data(), set_.data(), setWords(n), d + x * bytes_,
                                    columns);
        }
    }

  private:
    // One bit for each place.
    static std::int64_t setWords(std::int64_t places) { return (places + 63) / 64; }

    // A row of samples into their columns.
    void gather(const unsigned char *row, std::int64_t r, std::int64_t width, std::int64_t height) {
        const auto scatter = [&](const auto *from) {
            using T = std::remove_cvref_t<decltype(*from)>;
            T *to = reinterpret_cast<T *>(samples_.data()) + r;
            for (std::int64_t i = 0; i < width; ++i) to[i * height] = from[i];
        };
        if (bytes_ == 1) scatter(row);
        if (bytes_ == 2) scatter(reinterpret_cast<const std::uint16_t *>(row));
        if (bytes_ == 4) scatter(reinterpret_cast<const std::uint32_t *>(row));
    }

    const Box box_;
    const std::int64_t step_, height_;
    const std::ptrdiff_t bytes_, size_;
    const std::uint32_t flip_;
    Scratch<std::uint32_t> samples_, ordered_, places_, work_;
    Scratch<std::uint64_t> set_;
};

bool medianByOrder(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::int64_t height = std::min(piece.height, BLOCK_ROWS);
    const std::int64_t width = std::min(piece.width, BLOCK_COLUMNS);
    PieceRows rows(piece, box, passes, box.rows + height - 1, height);
    OrderedBlock block(box, passes, piece.destination.depth, width, height);
    if (!rows || !block) return false;
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; y += height) {
            const std::int64_t count = std::min(height, piece.height - y);
            const std::int64_t dstY = piece.dstY + y;
            for (std::int64_t x = 0; x < rows.samples; x += width * passes.step()) {
                const std::int64_t columns = std::min(width * passes.step(), rows.samples - x);
                block.run(rows, x, columns, piece.boxY + y, count, dstY);
            }
            for (std::int64_t r = 0; r < count; ++r) rows.destination.finish(dstY + r);
        }
    }
    return true;
}

bool atMost(const Box &box, std::int64_t samples) {
    return box.rows <= samples && box.columns <= samples && box.rows * box.columns <= samples;
}

// Computes a piece; false when there is no memory. Of an even number of samples
// the larger middle one; of bits, 1 when at least half of them are.
bool medianPiece(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::uint32_t depth = piece.destination.depth;
    if (depth == ZYL_DEPTH_1U) return medianOfBits(piece, box, passes);
    if (isSquare(box)) return medianBySorting(piece, box, passes);
    if (atMost(box, COMPARED)) return medianByComparing(piece, box, passes);
    if (depthBits(depth) == 8 && atMost(box, COUNTED)) return medianByCounting(piece, box, passes);
    return medianByOrder(piece, box, passes);
}

} // namespace

void zylMedianFilter(ZylImage *srcImage, ZylImage *dstImage, std::int32_t nRows, std::int32_t nCols,
                     std::int32_t anchorX, std::int32_t anchorY, const ZylTileMapping *mapping) {
    rankFilter(Call("zylMedianFilter", "zylnlf"),
               {srcImage, dstImage, nRows, nCols, anchorX, anchorY, mapping}, medianPiece);
}
