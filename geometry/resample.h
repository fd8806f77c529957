// Separable resampling: what zoom and decimation share. They differ in where
// their positions lie and in their arithmetic, which comes as an axis for each
// direction (positions.h) and as kernels (kernels.h).
#ifndef ZYLQX_GEOMETRY_RESAMPLE_H
#define ZYLQX_GEOMETRY_RESAMPLE_H

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/memory.h"
#include "core/walk_destination.h"
#include "geometry/kernels.h"
#include "geometry/positions.h"
#include "geometry/rows.h"

namespace zylqx {

// Bytes of intermediate values that are kept at a time, as many as stay in near caches;
// but with many channels not those of fewer pixels than LEAST_STRIP.
constexpr std::ptrdiff_t STRIP_BYTES = 32768;
constexpr std::int32_t LEAST_STRIP = 16;

// The coordinates of a source that `count` results from `first` on are made from. They
// never decrease, but that a result which is a sample unchanged does without its
// neighbours: the outermost ones belong to one of the last or first few results.
template <class TapsOf>
void neededFrom(std::int32_t first, std::int32_t count, int taps, TapsOf tapsOf,
                std::int32_t &begin, std::int32_t &length) {
    constexpr std::int32_t FEW = 4;
    std::int32_t least = INT32_MAX, most = INT32_MIN;
    for (std::int32_t i = 0; i < count; ++i) {
        if (i == FEW && count > 2 * FEW) i = count - FEW;
        const auto at = tapsOf(first + i);
        least = std::min(least, at.index[0]);
        most = std::max(most, at.index[taps - 1]);
    }
    begin = least;
    length = most - least + 1;
}

// The rectangle of the source that a part of the block is made from.
template <class ColumnTaps, class RowTaps>
Area neededBetween(const PartOfBlock &part, int taps, ColumnTaps columnTaps, RowTaps rowTaps) {
    Area area = {};
    neededFrom(part.dx, part.width, taps, columnTaps, area.x, area.width);
    neededFrom(part.dy, part.height, taps, rowTaps, area.y, area.height);
    return area;
}
template <class ColumnOf, class RowOf>
Area neededNearest(const PartOfBlock &part, ColumnOf columnOf, RowOf rowOf) {
    struct Single {
        std::int32_t index[1];
    };
    return neededBetween(
        part, 1, [&](std::int32_t i) { return Single{{columnOf(i)}}; },
        [&](std::int32_t j) { return Single{{rowOf(j)}}; });
}

// One piece by nearest neighbour. columnOf and rowOf give the column and row of
// the image for a column and row of the block. False when memory is exhausted.
template <class ColumnOf, class RowOf>
bool resampleNearest(const SourceRect &source, const DstPiece &piece, const ChannelPairs &pairs,
                     ColumnOf columnOf, RowOf rowOf) {
    const MoveKernels &kernels = ZYLQX_KERNELS(moveKernels);
    const std::ptrdiff_t bytes = sampleBytes(piece.image.depth);
    const bool bits = bytes == 0;
    const std::int32_t width = piece.area.width;
    GatherTable columns(width * pairs.count);
    RowOutput output(piece, pairs);
    if (!columns || !output) return false;
    for (std::int32_t i = 0; i < width; ++i) {
        columns.put(i, columnOf(piece.dx + i) - source.left(), pairs);
    }
    for (int plane = 0; plane < pairs.planes; ++plane) {
        std::int32_t held = -1; // the row that the output's last row was made from
        output.startPlane(plane);
        if (!bits) columns.finish(bytes, source.rowBytes(pairs.srcFirst + plane));
        for (std::int32_t j = 0; j < piece.area.height; ++j) {
            const std::int32_t y = rowOf(piece.dy + j);
            if (y == held) {
                output.repeatRow(j);
                continue;
            }
            const unsigned char *row = source.row(y, pairs.srcFirst + plane);
            void *out = output.row(j);
            if (bits) {
                kernels.gatherBits(row, columns.index(), static_cast<std::uint8_t *>(out), width);
            } else {
                columns.run(row, out);
            }
            output.finishRow(j);
            held = y;
        }
    }
    return true;
}

// One piece by interpolation. columnTaps and rowTaps give the samples and weights
// for a column and a row of the block. Rows of intermediate values are kept: the
// taps of a row are at most as many neighbours as there are places.
template <class ColumnTaps, class RowTaps>
bool resampleBetween(const SourceRect &source, const DstPiece &piece, const ChannelPairs &pairs,
                     const Combination &kernels, ColumnTaps columnTaps, RowTaps rowTaps) {
    using Weight = std::remove_extent_t<decltype(columnTaps(0).weight)>;
    const std::int32_t width = piece.area.width;
    const std::int64_t n = std::int64_t{width} * pairs.count;
    const std::int64_t bytes = sampleBytes(piece.image.depth);
    const int taps = kernels.taps;

    GatherTable columns[4];
    // Rows of intermediate values, the weights, rows of gathered samples: what comes
    // first has the larger elements.
    const std::int64_t valueStride = n * kernels.valueBytes, sampleStride = n * bytes;
    const std::int64_t weightBytes = n * kernels.weights * std::int64_t{sizeof(Weight)};
    Scratch<unsigned char> rows(
        static_cast<std::uint64_t>((valueStride + sampleStride) * taps + weightBytes));
    RowOutput output(piece, pairs);
    if (!rows || !output) return false;
    for (int t = 0; t < taps; ++t) {
        columns[t] = GatherTable(n);
        if (!columns[t]) return false;
    }
    auto *const weights = reinterpret_cast<Weight *>(&rows[valueStride * taps]);
    unsigned char *const gathered = &rows[valueStride * taps + weightBytes];
    for (std::int32_t i = 0; i < width; ++i) {
        const Taps<Weight> at = columnTaps(piece.dx + i);
        for (int t = 0; t < taps; ++t) columns[t].put(i, at.index[t] - source.left(), pairs);
        for (int w = 0; w < kernels.weights; ++w) {
            Weight *to = &weights[w * n + i * pairs.count];
            *to = at.weight[w];
            for (std::ptrdiff_t c = 1; c < pairs.count; ++c) to[c] = *to;
        }
    }

    const void *samples[4];
    for (int t = 0; t < taps; ++t) samples[t] = gathered + t * sampleStride;
    auto combineColumns = [&](const unsigned char *row, void *value) {
        for (int t = 0; t < taps; ++t) columns[t].run(row, gathered + t * sampleStride);
        kernels.set.columns(samples, weights, value, n);
    };
    for (int plane = 0; plane < pairs.planes; ++plane) {
        const int channel = pairs.srcFirst + plane;
        std::int32_t held[4] = {-1, -1, -1, -1};
        output.startPlane(plane);
        for (int t = 0; t < taps; ++t) columns[t].finish(bytes, source.rowBytes(channel));
        auto valuesOf = [&](std::int32_t y) -> const void * {
            const int place = y & (taps - 1); // y modulo 2 or 4
            unsigned char *values = &rows[place * valueStride];
            if (held[place] != y) combineColumns(source.row(y, channel), values);
            held[place] = y;
            return values;
        };
        for (std::int32_t j = 0; j < piece.area.height; ++j) {
            const Taps<Weight> at = rowTaps(piece.dy + j);
            void *out = output.row(j);
            if (at.alone) {
                kernels.set.alone(valuesOf(at.index[taps / 2 - 1]), out, n);
            } else {
                const void *values[4];
                for (int t = 0; t < taps; ++t) values[t] = valuesOf(at.index[t]);
                kernels.set.rows(values, at.weight, out, n);
            }
            output.finishRow(j);
        }
    }
    return true;
}

// The same in strips of columns.
template <class Process>
bool forEachStrip(const DstPiece &piece, const ChannelPairs &pairs, const Combination &kernels,
                  Process process) {
    const auto pixels =
        static_cast<std::int32_t>(STRIP_BYTES / (kernels.valueBytes * kernels.taps * pairs.count));
    const std::int32_t width = std::max(pixels & ~(LEAST_STRIP - 1), LEAST_STRIP);
    DstPiece strip = piece;
    for (std::int32_t i = 0; i < piece.area.width; i += width) {
        strip.area.x = piece.area.x + i;
        strip.area.width = std::min(width, piece.area.width - i);
        strip.dx = piece.dx + i;
        if (!process(strip)) return false;
    }
    return true;
}

struct Factors {
    std::int32_t xU, xL, yU, yL;
};

// A whole call, once its arguments are known to be good. `Axis`: positions.h.
template <class Axis>
class Resampling {
  public:
    Resampling(const Call &call, ZylImage &src, ZylImage &dst, const Factors &factors,
               const ZylTileMapping *mapping)
        : Resampling(call, src, dst, clippedArea(src), factors, mapping) {}

    // The part of the destination that is written; may be empty.
    const Area &block() const { return block_; }

    // With ZYL_INTER_...
    void run(std::int32_t interpolation) const {
        if (interpolation == ZYL_INTER_NN) return nearest();
        const std::ptrdiff_t bytes = sampleBytes(src_.depth);
        if (interpolation == ZYL_INTER_LINEAR) {
            return between(Axis::combination(LINEAR, bytes),
                           [](const Axis &axis, std::int32_t i) { return axis.linear(i); });
        }
        between(Axis::combination(CUBIC, bytes),
                [](const Axis &axis, std::int32_t i) { return axis.cubic(i); });
    }

    // tapsOf(axis, i) gives the samples and weights for column or row i of the block.
    template <class TapsOf>
    void between(const Combination &kernels, TapsOf tapsOf) const;

  private:
    Resampling(const Call &call, ZylImage &src, ZylImage &dst, const Area &from,
               const Factors &factors, const ZylTileMapping *mapping)
        : call_(call), src_(src), dst_(dst), block_(clippedArea(dst)), tile_(dst, mapping),
          columns_({from.x, from.width, src.width}, factors.xU, factors.xL),
          rows_({from.y, from.height, src.height}, factors.yU, factors.yL) {
        if (block_.empty()) return;
        block_.width = from.empty() ? 0 : columns_.count(block_.width);
        block_.height = from.empty() ? 0 : rows_.count(block_.height);
    }

    void nearest() const;

    const Call &call_;
    ZylImage &src_, &dst_;
    Area block_;
    const MappedTile tile_;
    const Axis columns_, rows_;
};

template <class Axis>
void Resampling<Axis>::nearest() const {
    const ChannelPairs pairs = pairChannels(src_, dst_);
    // Tiles that are made from one copy of the source each start at their exact
    // position, and none goes on further than the exact positions do.
    const bool exact = isTiled(dst_) && sharePixels(src_, dst_);
    auto needed = [&](const PartOfBlock &part) {
        return neededNearest(
            part, [&](std::int32_t i) { return columns_.nearest(exact ? i : part.dx, i); },
            [&](std::int32_t j) { return rows_.nearest(exact ? j : part.dy, j); });
    };
    auto process = [&](const SourceRect &source, const DstPiece &piece) {
        return resampleNearest(
            source, piece, pairs, [&](std::int32_t i) { return columns_.nearest(piece.dx, i); },
            [&](std::int32_t j) { return rows_.nearest(piece.dy, j); });
    };
    walkDestination(call_, TRANSFER_REPORT, src_, dst_, block_, tile_.index(), needed, process);
}

template <class Axis>
template <class TapsOf>
void Resampling<Axis>::between(const Combination &kernels, TapsOf tapsOf) const {
    const ChannelPairs pairs = pairChannels(src_, dst_);
    auto column = [&](std::int32_t i) { return tapsOf(columns_, i); };
    auto row = [&](std::int32_t j) { return tapsOf(rows_, j); };
    auto needed = [&](const PartOfBlock &part) {
        return neededBetween(part, kernels.taps, column, row);
    };
    auto process = [&](const SourceRect &source, const DstPiece &piece) {
        return forEachStrip(piece, pairs, kernels, [&](const DstPiece &strip) {
            return resampleBetween(source, strip, pairs, kernels, column, row);
        });
    };
    walkDestination(call_, TRANSFER_REPORT, src_, dst_, block_, tile_.index(), needed, process);
}

} // namespace zylqx

#endif
