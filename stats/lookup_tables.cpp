// Look-up tables that are built from intervals: contrast stretching and equalisation
// of histograms.

#include "stats/intervals.h"
#include "stats/kernels.h"

using namespace zylqx;

namespace {

// --- mapping ---

template <class T>
void lookUp(const T *s, std::ptrdiff_t sStep, T *d, std::ptrdiff_t dStep, std::ptrdiff_t n,
            const T *table) {
    if constexpr (sizeof(T) == 1) {
        ZYLQX_KERNELS(lookUpKernels).row8(s, sStep, d, dStep, n, table);
    } else {
        ZYLQX_KERNELS(lookUpKernels).row16(s, sStep, d, dStep, n, table);
    }
}

constexpr std::ptrdiff_t COLUMNS_OF_TURN = 4096;

template <class T>
void mapPiece(const TilePiece &src, const TableChannels &srcChannels, const TilePiece &dst,
              const TableChannels &dstChannels, const T *tables, std::int32_t histSize) {
    const bool pixels =
        sizeof(T) == 1 && takesPixels(src, srcChannels) && takesPixels(dst, dstChannels);
    const View<T> extent = channelView<T>(src, srcChannels.channel(0));
    // 16-bit tables throw each other out of the nearest cache, so each has as many
    // samples to look up in its turn as stay in the next one.
    const std::ptrdiff_t columns = sizeof(T) == 1 ? extent.columns : COLUMNS_OF_TURN;
    for (std::ptrdiff_t y = 0; y < extent.rows; ++y) {
        for (std::ptrdiff_t x = 0; x < extent.columns; x += columns) {
            const std::ptrdiff_t n = std::min(columns, extent.columns - x);
            for (int i = 0; i < (pixels ? 1 : srcChannels.count); ++i) {
                const View<T> in = channelView<T>(src, srcChannels.channel(i));
                const View<T> out = channelView<T>(dst, dstChannels.channel(i));
                const T *from = in.row(y) + x * in.step;
                T *to = out.row(y) + x * out.step;
                const T *table = tables + std::ptrdiff_t{i} * histSize;
                if constexpr (sizeof(T) == 1) {
                    if (pixels) {
                        ZYLQX_KERNELS(lookUpKernels).pixels8(from, to, srcChannels.count, n, table);
                        continue;
                    }
                }
                lookUp(from, in.step, to, out.step, n, table);
            }
        }
    }
}

// Maps the source's region into the destination's, one table for each channel.
// The walk is that of the destination, unless only the source is tiled.
template <class T>
bool mapImage(ZylImage &src, ZylImage &dst, const T *tables, const std::int32_t *tile) {
    const Call call("zylMap", HISTOGRAM_FILE_NAME);
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
void rebuildHistogram(const ZylLUT &lut, std::int32_t histSize, std::int32_t *histogram) {
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
    std::int32_t *histogram;
    std::uint32_t *output; // modulo 2^32, as it is stored
    T *table;
};

// The equalising table and the histogram that it leads to; false when there is
// nothing to equalise.
template <class T>
bool equalise(const Equalisation<T> &e, std::int32_t histSize) {
    std::int64_t total = 0;
    for (std::int32_t v = 0; v < histSize; ++v) total += e.histogram[v];
    if (total == 0) return false;
    std::fill(e.output, e.output + histSize, 0u);
    std::int64_t sum = 0;
    T level = 0;
    for (std::int32_t v = 0; v < histSize; ++v) {
        if (e.histogram[v] != 0) {
            sum += e.histogram[v];
            // At most 2^16 counts of 31 bits times 2^16 - 1: fits.
            level = static_cast<T>(sum * (histSize - 1) / total);
            e.output[level] += static_cast<std::uint32_t>(e.histogram[v]);
        }
        e.table[v] = level;
    }
    return true;
}

template <class T>
void equaliseImage(const Call &call, ZylImage &src, ZylImage &dst, ZylLUT *const *lut,
                   const std::int32_t *tile) {
    const TableChannels channels(src);
    const std::int32_t histSize = histogramSize(src.depth);
    const Scratch<std::int32_t> histogram(static_cast<std::uint64_t>(histSize)); // of a channel
    const auto outputs = allocateTables<std::uint32_t>(channels, histSize);
    const auto tables = allocateTables<T>(channels, histSize);
    if (!histogram || !outputs || !tables) return call.report(ZYL_StsNoMem, "");

    for (int i = 0; i < channels.count; ++i) {
        const std::ptrdiff_t at = std::ptrdiff_t{i} * histSize;
        const Equalisation<T> e = {histogram.data(), outputs.data() + at, tables.data() + at};
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

void zylContrastStretch(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                        const std::int32_t *dstTile) {
    const Call call("zylContrastStretch", HISTOGRAM_FILE_NAME);
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

void zylHistoEqualize(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                      const std::int32_t *dstTile) {
    const Call call("zylHistoEqualize", HISTOGRAM_FILE_NAME);
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
