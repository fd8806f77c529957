// Histograms, and the look-up tables that are built from intervals: contrast
// stretching and equalisation.

#include <algorithm>
#include <cstring>

#include "core/memory.h"
#include "core/walk_tiles.h"
#include "stats/kernels.h"

using namespace zylqx;

namespace {

constexpr const char *FILE_NAME = "zylHist";

// The channels that are processed; the same number of entries of `lut`.
struct TableChannels {
    int first; // from 1
    int count;

    explicit TableChannels(const ZylImage &image)
        : first(std::max(channelOfInterest(image), 1)), count(effectiveChannels(image)) {}

    int channel(int i) const { return first + i; }
    int entry(int i) const { return first + i - 1; }
};

// How many values a sample has.
std::int32_t histogramSize(std::uint32_t depth) {
    return std::int32_t{1} << depthBits(depth);
}

// Tables of `size` entries for all channels; false when memory is exhausted.
template <class T>
Scratch<T> allocateTables(const TableChannels &channels, std::ptrdiff_t size) {
    return Scratch<T>(static_cast<std::uint64_t>(channels.count) *
                      static_cast<std::uint64_t>(size));
}

bool badLut(const Call &call, ZylLUT *const *lut, int k, std::int32_t histSize) {
    if (call.fails(lut[k] == nullptr, "lut[k]==0") ||
        call.fails(lut[k]->key == nullptr, "lut[k]->key==0") ||
        call.fails(lut[k]->value == nullptr, "lut[k]->value==0") ||
        call.fails(lut[k]->num < 2, "lut[k]->num < 2") ||
        call.fails(lut[k]->key[0] < 0, "lut[k]->key[0] < 0") ||
        call.fails(lut[k]->key[lut[k]->num - 1] > histSize,
                   "lut[k]->key[lut[k]->num-1] > histSize")) {
        return true;
    }
    for (std::int32_t i = 0; i < lut[k]->num - 1; ++i) {
        if (call.fails(lut[k]->key[i] > lut[k]->key[i + 1], "lut[k]->key[i] > lut[k]->key[i+1]")) {
            return true;
        }
    }
    return false;
}

bool badLuts(const Call &call, ZylLUT *const *lut, const TableChannels &channels,
             std::int32_t histSize) {
    for (int i = 0; i < channels.count; ++i) {
        if (badLut(call, lut, channels.entry(i), histSize)) return true;
    }
    return false;
}

// What a LUT receives: the count of each of its intervals, of 32 bits. The counts
// become sums, so that narrow intervals cost no loop of their own.
template <class Count>
void storeIntervals(Count *counts, const ZylLUT &lut) {
    const std::int32_t first = lut.key[0];
    const std::int32_t last = lut.key[lut.num - 1];
    Count total = 0;
    for (std::int32_t v = first; v < last; ++v) counts[v] = total += counts[v];
    std::uint32_t before = 0;
    for (std::int32_t i = 0; i < lut.num - 1; ++i) {
        const std::int32_t end = lut.key[i + 1];
        const std::uint32_t sum = end > first ? static_cast<std::uint32_t>(counts[end - 1]) : 0;
        lut.value[i] = static_cast<std::int32_t>(sum - before);
        before = sum;
    }
}

// --- counting ---

std::ptrdiff_t tablesPerChannel(std::uint32_t depth) {
    return depth == ZYL_DEPTH_8U ? TABLES_8 : 1;
}

void countBits(const TilePiece &piece, std::uint32_t *counts) {
    const Area &area = piece.area;
    for (std::int32_t y = 0; y < area.height; ++y) {
        const ConstBits row = {sampleAt(*piece.image, area.x, area.y + y, 1), area.x % 8};
        const auto set =
            static_cast<std::uint32_t>(currentStatsKernels().countBits(row, {}, area.width));
        counts[1] += set;
        counts[0] += static_cast<std::uint32_t>(area.width) - set;
    }
}

// Whether all samples of a row are processed, each by the table of its channel.
bool takesPixels(const TilePiece &piece, const TableChannels &channels) {
    return !isPlanar(*piece.image) && channels.count == piece.image->nChannels;
}

void count8(const TilePiece &piece, const TableChannels &channels, std::uint32_t *counts) {
    const StatsKernels &kernels = currentStatsKernels();
    // How many channels a row has side by side.
    const int together = takesPixels(piece, channels) ? channels.count : 1;
    for (int i = 0; i < channels.count; i += together) {
        const View<std::uint8_t> samples = channelView<std::uint8_t>(piece, channels.channel(i));
        std::uint32_t *own = counts + std::ptrdiff_t{i} * TABLES_8 * 256;
        for (std::ptrdiff_t y = 0; y < samples.rows; ++y) {
            if (samples.step == together) {
                kernels.countPixels8(samples.row(y), together, samples.columns, own);
            } else {
                kernels.count8(samples.row(y), samples.step, samples.columns, own);
            }
        }
    }
}

void count16(const TilePiece &piece, const TableChannels &channels, std::uint32_t *counts) {
    for (int i = 0; i < channels.count; ++i) {
        const View<std::uint16_t> samples = channelView<std::uint16_t>(piece, channels.channel(i));
        for (std::ptrdiff_t y = 0; y < samples.rows; ++y) {
            currentStatsKernels().count16(samples.row(y), samples.step, samples.columns,
                                          counts + std::ptrdiff_t{i} * 65536);
        }
    }
}

void addTables(std::uint32_t *counts, std::ptrdiff_t tables, std::int32_t histSize) {
    for (std::ptrdiff_t table = 1; table < tables; ++table) {
        for (std::int32_t v = 0; v < histSize; ++v) counts[v] += counts[table * histSize + v];
    }
}

// --- mapping ---

template <class T>
void lookUp(const T *s, std::ptrdiff_t sStep, T *d, std::ptrdiff_t dStep, std::ptrdiff_t n,
            const T *table) {
    if constexpr (sizeof(T) == 1) {
        currentStatsKernels().lookUp8(s, sStep, d, dStep, n, table);
    } else {
        currentStatsKernels().lookUp16(s, sStep, d, dStep, n, table);
    }
}

template <class T>
void mapPiece(const TilePiece &src, const TableChannels &srcChannels, const TilePiece &dst,
              const TableChannels &dstChannels, const T *tables, std::int32_t histSize) {
    // 16-bit tables take no turns: they would throw each other out of the cache.
    const bool pixels =
        sizeof(T) == 1 && takesPixels(src, srcChannels) && takesPixels(dst, dstChannels);
    for (int i = 0; i < (pixels ? 1 : srcChannels.count); ++i) {
        const View<T> in = channelView<T>(src, srcChannels.channel(i));
        const View<T> out = channelView<T>(dst, dstChannels.channel(i));
        for (std::ptrdiff_t y = 0; y < in.rows; ++y) {
            if constexpr (sizeof(T) == 1) {
                if (pixels) {
                    currentStatsKernels().lookUpPixels8(in.row(y), out.row(y), srcChannels.count,
                                                        in.columns, tables);
                    continue;
                }
            }
            lookUp(in.row(y), in.step, out.row(y), out.step, in.columns,
                   tables + std::ptrdiff_t{i} * histSize);
        }
    }
}

// Maps the source's region into the destination's, one table for each channel.
// The walk is that of the destination, unless only the source is tiled.
template <class T>
bool mapImage(ZylImage &src, ZylImage &dst, const T *tables, const std::int32_t *tile) {
    const Call call("zylMap", FILE_NAME);
    WalkedImage from = {&src, clippedArea(src), ZYL_GET_TILE_TO_READ};
    WalkedImage to = {&dst, clippedArea(dst), ZYL_GET_TILE_TO_WRITE};
    cutToCommonSize(from.area, to.area);
    const TableChannels srcChannels(src);
    const TableChannels dstChannels(dst);
    const std::int32_t histSize = histogramSize(src.depth);
    const auto map = [&](TilePiece srcPiece, TilePiece dstPiece) {
        joinRows(srcPiece, dstPiece);
        mapPiece(srcPiece, srcChannels, dstPiece, dstChannels, tables, histSize);
        return true;
    };
    if (isTiled(src) && !isTiled(dst)) return walkTilePairs(call, from, to, tile, map);
    return walkTilePairs(call, to, from, tile,
                         [&](const TilePiece &dstPiece, const TilePiece &srcPiece) {
                             return map(srcPiece, dstPiece);
                         });
}

// What the two mapping operations ask of their arguments before anything else.
bool badMapping(const Call &call, const ZylImage *srcImage, const ZylImage *dstImage,
                ZylLUT *const *lut) {
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return true;
    bool bad = call.fails(srcImage->depth != dstImage->depth, "srcImage->depth != dstImage->depth");
    bad |= call.fails(srcImage->dataOrder != dstImage->dataOrder,
                      "srcImage->dataOrder != dstImage->dataOrder");
    bad |= call.fails(srcImage->origin != dstImage->origin, "srcImage->origin != dstImage->origin");
    bad |= call.fails(srcImage->depth != ZYL_DEPTH_8U && srcImage->depth != ZYL_DEPTH_16U,
                      "srcImage->depth != ZYL_DEPTH_8U && srcImage->depth != ZYL_DEPTH_16U");
    bad |= call.fails(lut == nullptr, "lut==0");
    return bad || zylGetErrStatus() < 0;
}

// --- contrast stretching ---

// A table of all samples from the intervals of a LUT. A sample moves on by one
// interval at most, so after a repeated key the interval before it goes on. The
// LUT is a copy, which storing bytes cannot change: its fields stay in registers.
template <class T>
void fillStretchTable(const ZylLUT lut, std::int32_t histSize, T *table) {
    for (std::int32_t v = 0; v < lut.key[0]; ++v) table[v] = static_cast<T>(v);
    std::int32_t next = 0;
    std::uint32_t value = 0;
    std::uint32_t slope = 0;
    for (std::int32_t v = lut.key[0]; v < histSize; ++v) {
        if (next < lut.num && v == lut.key[next]) {
            value = static_cast<std::uint32_t>(lut.value[next]);
            if (lut.interpolate != 0) slope = static_cast<std::uint32_t>(lut.factor[next]);
            ++next;
        }
        table[v] = static_cast<T>(value);
        value += slope;
    }
}

template <class T>
void stretch(const Call &call, ZylImage &src, ZylImage &dst, ZylLUT *const *lut,
             const std::int32_t *tile) {
    const TableChannels channels(src);
    const std::int32_t histSize = histogramSize(src.depth);
    const auto tables = allocateTables<T>(channels, histSize);
    if (!tables) return call.report(ZYL_StsNoMem, "");
    for (int i = 0; i < channels.count; ++i) {
        fillStretchTable(*lut[channels.entry(i)], histSize,
                         tables.data() + std::ptrdiff_t{i} * histSize);
    }
    if (!mapImage(src, dst, tables.data(), tile) || zylGetErrStatus() < 0) {
        call.report(ZYL_StsBackTrace, "");
    }
}

// --- equalisation ---

// A histogram rebuilt from the counts of intervals. Every interval is spread
// evenly, but its last bin gets the remainder alone.
void rebuildHistogram(const ZylLUT &lut, std::int32_t histSize, std::int64_t *histogram) {
    std::fill(histogram, histogram + histSize, 0);
    std::int32_t cursor = lut.key[0];
    for (std::int32_t i = 1; i < lut.num; ++i) {
        const std::int32_t width = lut.key[i] - lut.key[i - 1];
        const std::int32_t count = lut.value[i - 1];
        if (width <= 1) {
            // Repeated keys may move the cursor past the last bin.
            if (cursor < histSize) histogram[cursor] = count;
            ++cursor;
            continue;
        }
        for (; cursor < lut.key[i] - 1; ++cursor) histogram[cursor] = count / width;
        histogram[lut.key[i] - 1] = count % width;
        cursor = lut.key[i];
    }
    for (; cursor < histSize; ++cursor) histogram[cursor] = 0;
}

template <class T>
struct Equalisation {
    std::int64_t *histogram;
    std::int64_t *output;
    T *table;
};

// The equalising table and the histogram that it leads to; false when there is
// nothing to equalise.
template <class T>
bool equalise(const Equalisation<T> &e, std::int32_t histSize) {
    std::int64_t total = 0;
    for (std::int32_t v = 0; v < histSize; ++v) total += e.histogram[v];
    if (total == 0) return false;
    std::fill(e.output, e.output + histSize, 0);
    std::int64_t sum = 0;
    for (std::int32_t v = 0; v < histSize; ++v) {
        sum += e.histogram[v];
        // At most 2^16 counts of 31 bits times 2^16 - 1: fits.
        e.table[v] = static_cast<T>(sum * (histSize - 1) / total);
        e.output[e.table[v]] += e.histogram[v];
    }
    return true;
}

template <class T>
void equaliseImage(const Call &call, ZylImage &src, ZylImage &dst, ZylLUT *const *lut,
                   const std::int32_t *tile) {
    const TableChannels channels(src);
    const std::int32_t histSize = histogramSize(src.depth);
    const auto histograms = allocateTables<std::int64_t>(channels, histSize);
    const auto outputs = allocateTables<std::int64_t>(channels, histSize);
    const auto tables = allocateTables<T>(channels, histSize);
    if (!histograms || !outputs || !tables) return call.report(ZYL_StsNoMem, "");

    for (int i = 0; i < channels.count; ++i) {
        const std::ptrdiff_t at = std::ptrdiff_t{i} * histSize;
        const Equalisation<T> e = {histograms.data() + at, outputs.data() + at, tables.data() + at};
        rebuildHistogram(*lut[channels.entry(i)], histSize, e.histogram);
        if (!equalise(e, histSize)) {
            return call.report(ZYL_StsInternal, "All values in histogram are zeroes");
        }
    }
    if (!mapImage(src, dst, tables.data(), tile) || zylGetErrStatus() < 0) {
        return call.report(ZYL_StsBackTrace, "");
    }
    const TableChannels dstChannels(dst);
    for (int i = 0; i < dstChannels.count; ++i) {
        storeIntervals(outputs.data() + std::ptrdiff_t{i} * histSize, *lut[dstChannels.entry(i)]);
    }
}

} // namespace

void ZYL_CALL zylComputeHisto(ZylImage *srcImage, ZylLUT *const *lut, const std::int32_t *tile) {
    const Call call("zylComputeHisto", FILE_NAME);
    if (call.badHeader(srcImage)) return;
    bool bad = call.fails(lut == nullptr, "lut==0");
    bad |= call.fails((srcImage->depth & ZYL_DEPTH_SIGN) != 0, "srcImage->depth & ZYL_DEPTH_SIGN");
    if (bad || zylGetErrStatus() < 0) return;
    const TableChannels channels(*srcImage);
    const std::uint32_t depth = srcImage->depth;
    const std::int32_t histSize = histogramSize(depth);
    if (badLuts(call, lut, channels, histSize)) return;

    const std::ptrdiff_t tables = tablesPerChannel(depth);
    const std::ptrdiff_t perChannel = tables * histSize;
    const auto counts = allocateTables<std::uint32_t>(channels, perChannel);
    if (!counts) return call.report(ZYL_StsNoMem, "");
    std::fill_n(counts.data(), channels.count * perChannel, 0u);

    const auto count = [&](TilePiece piece) {
        joinRows(piece);
        if (depth == ZYL_DEPTH_1U) {
            countBits(piece, counts.data());
        } else if (depth == ZYL_DEPTH_8U) {
            count8(piece, channels, counts.data());
        } else {
            count16(piece, channels, counts.data());
        }
        return true;
    };
    if (!walkTiles(call, *srcImage, clippedArea(*srcImage), ZYL_GET_TILE_TO_READ, tile, count) ||
        zylGetErrStatus() < 0) {
        return call.report(ZYL_StsBackTrace, "");
    }
    for (int i = 0; i < channels.count; ++i) {
        std::uint32_t *channelCounts = counts.data() + i * perChannel;
        addTables(channelCounts, tables, histSize);
        ZylLUT &channelLut = *lut[channels.entry(i)];
        storeIntervals(channelCounts, channelLut);
        channelLut.interpolate = 0;
    }
}

void ZYL_CALL zylContrastStretch(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                                 const std::int32_t *dstTile) {
    const Call call("zylContrastStretch", FILE_NAME);
    if (badMapping(call, srcImage, dstImage, lut)) return;
    if (effectiveChannels(*srcImage) != effectiveChannels(*dstImage)) return;
    const TableChannels channels(*srcImage);
    if (badLuts(call, lut, channels, histogramSize(srcImage->depth))) return;
    for (int k = channels.entry(0); k < channels.entry(channels.count); ++k) {
        if (call.fails(lut[k]->interpolate != 0 && lut[k]->factor == nullptr,
                       "lut[k]->factor==0")) {
            return;
        }
    }
    if (srcImage->depth == ZYL_DEPTH_8U) {
        stretch<std::uint8_t>(call, *srcImage, *dstImage, lut, dstTile);
    } else {
        stretch<std::uint16_t>(call, *srcImage, *dstImage, lut, dstTile);
    }
}

void ZYL_CALL zylHistoEqualize(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                               const std::int32_t *dstTile) {
    const Call call("zylHistoEqualize", FILE_NAME);
    if (badMapping(call, srcImage, dstImage, lut)) return;
    if (effectiveChannels(*srcImage) != effectiveChannels(*dstImage)) return;
    const std::int32_t histSize = histogramSize(srcImage->depth);
    const TableChannels srcChannels(*srcImage);
    const TableChannels dstChannels(*dstImage);
    if (badLuts(call, lut, srcChannels, histSize)) return;
    // The entries that are rewritten may be others than those that are read.
    if (dstChannels.first != srcChannels.first && badLuts(call, lut, dstChannels, histSize)) return;
    if (srcImage->depth == ZYL_DEPTH_8U) {
        equaliseImage<std::uint8_t>(call, *srcImage, *dstImage, lut, dstTile);
    } else {
        equaliseImage<std::uint16_t>(call, *srcImage, *dstImage, lut, dstTile);
    }
}
