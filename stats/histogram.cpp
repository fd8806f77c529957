// Histograms: counts of the samples in intervals.

#include "stats/intervals.h"
#include "stats/kernels.h"

using namespace zylqx;

namespace {

std::ptrdiff_t tablesPerChannel(std::uint32_t depth) {
    return depth == ZYL_DEPTH_8U ? TABLES_8 : 1;
}

void countBits(const TilePiece &piece, std::uint32_t *counts) {
    const Area &area = piece.area;
    for (std::int32_t y = 0; y < area.height; ++y) {
        const ConstBits row = {sampleAt(*piece.image, area.x, area.y + y, 1), area.x % 8};
        const auto set =
            static_cast<std::uint32_t>(ZYLQX_KERNELS(normKernels).countBits(row, {}, area.width));
        counts[1] += set;
        counts[0] += static_cast<std::uint32_t>(area.width) - set;
    }
}

void count8(const TilePiece &piece, const TableChannels &channels, std::uint32_t *counts) {
    const HistogramKernels &kernels = ZYLQX_KERNELS(histogramKernels);
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
            ZYLQX_KERNELS(histogramKernels)
                .count16(samples.row(y), samples.step, samples.columns,
                         counts + std::ptrdiff_t{i} * 65536);
        }
    }
}

void addTables(std::uint32_t *counts, std::ptrdiff_t tables, std::int32_t histSize) {
    for (std::ptrdiff_t table = 1; table < tables; ++table) {
        for (std::int32_t v = 0; v < histSize; ++v) counts[v] += counts[table * histSize + v];
    }
}

} // namespace

void zylComputeHisto(ZylImage *srcImage, ZylLUT *const *lut, const std::int32_t *tile) {
    const Call call("zylComputeHisto", HISTOGRAM_FILE_NAME);
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
