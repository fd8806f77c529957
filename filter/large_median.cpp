#include "filter/large_median.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/image.h"
#include "core/memory.h"
#include "filter/median_kernels.h"

namespace zylqx {

namespace {

// Columns that have their histograms in the second-level cache.
constexpr std::int64_t STRIP_COLUMNS = 256;
// What is put in order together.
constexpr std::int64_t BLOCK_COLUMNS = 64;
constexpr std::int64_t BLOCK_ROWS = 64;
constexpr std::int64_t BUCKETS = 256;

template <class Counters>
const BoxHistogramKernels<Counters> &boxHistogramKernels() {
    const HistogramMedianKernels &kernels = ZYLQX_KERNELS(histogramMedianKernels);
    if constexpr (std::is_same_v<Counters, NarrowCounters>) {
        return kernels.narrow;
    } else {
        return kernels.wide;
    }
}

// Histograms of the columns that the boxes of a row of 8-bit values are made of.
template <class Counters>
class ColumnHistograms {
  public:
    using Column = typename Counters::Column;
    using Rank = typename Counters::Box;

    // For at most n values side by side.
    ColumnHistograms(const Box &box, const Passes &passes, std::int64_t n, std::uint8_t flip)
        : kernels_(boxHistogramKernels<Counters>()), step_(passes.step()), count_(box.columns),
          rank_(static_cast<Rank>(box.rows * box.columns / 2)), flip_(flip),
          most_(n + (box.columns - 1) * step_), bins_(size(most_, HISTOGRAM)),
          sums_(size(most_ + step_, HISTOGRAM_BLOCK * HISTOGRAM_BLOCK)) {}

    explicit operator bool() const { return bins_ && sums_; }

    void clear() { std::fill_n(bins_.data(), most_ * HISTOGRAM, Column{0}); }
    // Columns of n boxes.
    void count(const void *row, std::int64_t n, bool entering) {
        const auto change = entering ? kernels_.enter : kernels_.leave;
        change(bins_.data(), static_cast<const std::uint8_t *>(row), n + (count_ - 1) * step_,
               flip_);
    }
    void medians(std::uint8_t *d, Rank *ranks, std::int64_t n) {
        kernels_.medians(bins_.data(), step_, count_, rank_, flip_, sums_.data(), d, ranks, n);
    }

  private:
    static std::uint64_t size(std::int64_t columns, std::int64_t each) {
        constexpr std::int64_t MOST = INT64_MAX;
        return static_cast<std::uint64_t>(columns > MOST / each ? MOST : columns * each);
    }

    const BoxHistogramKernels<Counters> &kernels_;
    const std::ptrdiff_t step_, count_;
    const Rank rank_;
    const std::uint8_t flip_;
    const std::int64_t most_;
    Scratch<Column> bins_;
    Scratch<Rank> sums_;
};

template <class Counters>
bool medianStrip(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    PieceRows rows(piece, box, passes, box.rows + 1, 1);
    ColumnHistograms<Counters> histograms(box, passes, rows.samples,
                                          piece.destination.depth == ZYL_DEPTH_8S ? 0x80 : 0);
    const Scratch<typename Counters::Box> ranks(static_cast<std::uint64_t>(rows.samples));
    if (!rows || !histograms || !ranks) return false;
    const auto count = [&](std::int64_t r, bool entering) {
        histograms.count(rows.source.row(piece.boxY + r), rows.samples, entering);
    };
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        histograms.clear();
        for (std::int64_t r = 0; r < box.rows - 1; ++r) count(r, true);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            count(y + box.rows - 1, true);
            histograms.medians(static_cast<std::uint8_t *>(rows.destination.row(piece.dstY + y)),
                               ranks.data(), rows.samples);
            rows.destination.finish(piece.dstY + y);
            count(y, false);
        }
    }
    return true;
}

template <class Counters>
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
        if (!medianStrip<Counters>(strip, box, passes)) return false;
    }
    return true;
}

// A block of the piece at a time: the samples that its boxes are made of are put in
// order, in buckets of consecutive places.
template <class Counters>
class OrderedBlock {
  public:
    // For at most so many pixels.
    OrderedBlock(const Box &box, const Passes &passes, std::uint32_t depth, std::int64_t columns,
                 std::int64_t rows)
        : box_(box), step_(passes.step()), bytes_(sampleBytes(depth)), size_(bytes_ / 4),
          flip_((depth & ZYL_DEPTH_SIGN) == 0 ? 0 : 1u << (depthBits(depth) - 1)),
          histograms_(box, passes, columns * step_, 0) {
        const std::int64_t width = (columns + box.columns - 1) * step_;
        const std::int64_t height = rows + box.rows - 1;
        constexpr std::int64_t MOST = INT32_MAX;
        if (height > MOST / 16 / width) return;
        const std::int64_t n = width * height;
        words_ = static_cast<std::ptrdiff_t>((n + 64 * BUCKETS - 1) / (64 * BUCKETS));
        columnSize_ = columns * step_ * words_;
        rowSize_ = rows * words_;
        const auto scratch = [](auto &to, std::int64_t count) {
            to = std::remove_reference_t<decltype(to)>(static_cast<std::uint64_t>(count));
        };
        scratch(samples_, n * bytes_);
        scratch(order_, n);
        scratch(work_, n);
        scratch(bucketOf_, n);
        scratch(buckets_, columns * step_ * rows);
        scratch(ranks_, columns * step_ * rows);
        scratch(columnSets_, BUCKETS * columnSize_);
        scratch(rowSets_, BUCKETS * rowSize_);
        scratch(sets_, (std::max(width, height) + step_) * words_);
        ready_ = histograms_ && samples_ && order_ && work_ && bucketOf_ && buckets_ && ranks_ &&
                 columnSets_ && rowSets_ && sets_;
    }

    explicit operator bool() const { return ready_; }

    // Takes samples [x, x + columns) of source rows [y, y + rows), and what is around
    // them, and writes their medians.
    void run(PieceRows &rows, std::int64_t x, std::int64_t columns, std::int64_t y,
             std::int64_t count, std::int64_t dstY) {
        width_ = columns + (box_.columns - 1) * step_;
        height_ = count + box_.rows - 1;
        for (std::int64_t r = 0; r < height_; ++r) {
            const auto *row = static_cast<const unsigned char *>(rows.source.row(y + r));
            std::memcpy(samples_.data() + r * width_ * bytes_, row + x * bytes_,
                        static_cast<std::size_t>(width_ * bytes_));
        }
        const OrderedMedianKernels &kernels = ZYLQX_KERNELS(orderedMedianKernels);
        const std::int64_t n = width_ * height_;
        kernels.order[size_](samples_.data(), n, flip_, order_.data(), work_.data());
        for (std::int64_t i = 0; i < n; ++i)
            bucketOf_[order_[i]] = static_cast<std::uint8_t>(i / (64 * words_));
        findBuckets(columns, count);
        makeSets(columns, count);
        const OrderedBuckets ordered = {samples_.data(), order_.data(), words_,  columnSets_.data(),
                                        rowSets_.data(), columnSize_,   rowSize_};
        constexpr bool NARROW = std::is_same_v<Counters, NarrowCounters>;
        const auto pick = (NARROW ? kernels.pickNarrow : kernels.pickWide)[size_];
        for (std::int64_t r = 0; r < count; ++r) {
            auto *d = static_cast<unsigned char *>(rows.destination.row(dstY + r));
            pick(ordered, buckets_.data() + r * columns, ranks_.data() + r * columns, r,
                 d + x * bytes_, columns);
        }
    }

  private:
    // The bucket of every median, and its rank in there.
    void findBuckets(std::int64_t columns, std::int64_t rows) {
        const auto add = [&](std::int64_t r, bool entering) {
            histograms_.count(bucketOf_.data() + r * width_, columns, entering);
        };
        histograms_.clear();
        for (std::int64_t r = 0; r < box_.rows - 1; ++r) add(r, true);
        for (std::int64_t y = 0; y < rows; ++y) {
            add(y + box_.rows - 1, true);
            histograms_.medians(buckets_.data() + y * columns, ranks_.data() + y * columns,
                                columns);
            add(y, false);
        }
    }

    // Those of the buckets that have a median.
    void makeSets(std::int64_t columns, std::int64_t rows) {
        bool seen[BUCKETS] = {};
        for (std::int64_t i = 0; i < columns * rows; ++i) seen[buckets_[i]] = true;
        const std::int64_t n = width_ * height_;
        for (std::int64_t b = 0; b < BUCKETS; ++b) {
            if (!seen[b]) continue;
            const std::int64_t first = b * 64 * words_;
            const std::int64_t count = std::min<std::int64_t>(64 * words_, n - first);
            const std::uint32_t *places = order_.data() + first;
            slideSet(
                places, count, [this](std::int64_t i) { return i % width_; }, step_, box_.columns,
                columnSets_.data() + b * columnSize_, columns);
            slideSet(
                places, count, [this](std::int64_t i) { return i / width_; }, 1, box_.rows,
                rowSets_.data() + b * rowSize_, rows);
        }
    }

    // For each of n boxes, the set of those places that stand in `size` columns, `step`
    // columns apart, from the box's own on; likewise in rows.
    template <class F>
    void slideSet(const std::uint32_t *places, std::int64_t count, F columnOf, std::int64_t step,
                  std::int64_t size, std::uint64_t *out, std::int64_t n) {
        std::uint64_t *upTo = sets_.data(); // those of columns before each
        const std::int64_t by = step * words_;
        const std::int64_t all = n * words_ + size * by;
        std::fill_n(upTo, all, std::uint64_t{0});
        for (std::int64_t i = 0; i < count; ++i) {
            upTo[(columnOf(places[i]) + step) * words_ + i / 64] |= std::uint64_t{1} << i % 64;
        }
        for (std::int64_t i = by; i < all; ++i) upTo[i] |= upTo[i - by];
        for (std::int64_t i = 0; i < n * words_; ++i) out[i] = upTo[i + size * by] ^ upTo[i];
    }

    const Box box_;
    const std::int64_t step_;
    const std::ptrdiff_t bytes_, size_;
    const std::uint32_t flip_;
    ColumnHistograms<Counters> histograms_;
    bool ready_ = false;
    std::ptrdiff_t words_ = 0, columnSize_ = 0, rowSize_ = 0;
    std::int64_t width_ = 0, height_ = 0;
    Scratch<unsigned char> samples_;
    Scratch<std::uint32_t> order_, work_;
    Scratch<std::uint8_t> bucketOf_, buckets_;
    Scratch<typename Counters::Box> ranks_;
    Scratch<std::uint64_t> columnSets_, rowSets_, sets_;
};

template <class Counters>
bool medianByOrder(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    const std::int64_t height = std::min(piece.height, BLOCK_ROWS);
    const std::int64_t width = std::min(piece.width, BLOCK_COLUMNS);
    PieceRows rows(piece, box, passes, box.rows + height - 1, height);
    OrderedBlock<Counters> block(box, passes, piece.destination.depth, width, height);
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

} // namespace

bool medianOfLargeBoxes(const NeighbourPiece &piece, const Box &box, const Passes &passes) {
    if (!atMost(box, UINT32_MAX)) return false; // more than the widest counters hold
    using Piece = bool (*)(const NeighbourPiece &, const Box &, const Passes &);
    constexpr Piece COUNTING[] = {medianByCounting<WideCounters>, medianByCounting<NarrowCounters>};
    constexpr Piece ORDERING[] = {medianByOrder<WideCounters>, medianByOrder<NarrowCounters>};
    const bool narrow = box.rows <= UINT8_MAX && atMost(box, UINT16_MAX);
    const bool bytes = depthBits(piece.destination.depth) == 8;
    return (bytes ? COUNTING : ORDERING)[narrow ? 1 : 0](piece, box, passes);
}

} // namespace zylqx
