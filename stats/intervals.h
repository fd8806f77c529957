// LUTs as lists of intervals, one for each channel: what histograms and look-up
// tables share.
#ifndef ZYLQX_STATS_INTERVALS_H
#define ZYLQX_STATS_INTERVALS_H

#include <algorithm>

#include "core/image.h"
#include "core/memory.h"
#include "core/walk_tiles.h"

namespace zylqx {

constexpr const char *HISTOGRAM_FILE_NAME = "zylHist";

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
inline std::int32_t histogramSize(std::uint32_t depth) {
    return std::int32_t{1} << depthBits(depth);
}

// Tables of `size` entries for all channels; false when memory is exhausted.
template <class T>
Scratch<T> allocateTables(const TableChannels &channels, std::ptrdiff_t size) {
    return Scratch<T>(static_cast<std::uint64_t>(channels.count) *
                      static_cast<std::uint64_t>(size));
}

// Whether all samples of a row are processed, each by the table of its channel.
inline bool takesPixels(const TilePiece &piece, const TableChannels &channels) {
    return !isPlanar(*piece.image) && channels.count == piece.image->nChannels;
}

// Reports the first fault of the LUTs of all channels; true when there is one.
bool badLuts(const Call &call, ZylLUT *const *lut, const TableChannels &channels,
             std::int32_t histSize);

// Whether every interval of a LUT is one value wide.
inline bool hasSingleValues(const ZylLUT &lut) {
    std::int32_t others = 0;
    for (std::int32_t i = 0; i < lut.num - 1; ++i) others |= lut.key[i + 1] - lut.key[i] - 1;
    return others == 0;
}

// What a LUT receives: the count of each of its intervals, of 32 bits. The counts
// become sums, so that narrow intervals cost no loop of their own. The LUT is a copy, whose
// fields stay in registers.
inline void storeIntervals(std::uint32_t *counts, const ZylLUT lut) {
    const std::int32_t first = lut.key[0];
    const std::int32_t last = lut.key[lut.num - 1];
    if (hasSingleValues(lut)) {
        for (std::int32_t i = 0; i < lut.num - 1; ++i) {
            lut.value[i] = static_cast<std::int32_t>(counts[first + i]);
        }
        return;
    }
    std::uint32_t total = 0;
    for (std::int32_t v = first; v < last; ++v) counts[v] = total += counts[v];
    std::uint32_t before = 0;
    for (std::int32_t i = 0; i < lut.num - 1; ++i) {
        const std::int32_t end = lut.key[i + 1];
        const std::uint32_t sum = end > first ? counts[end - 1] : 0;
        lut.value[i] = static_cast<std::int32_t>(sum - before);
        before = sum;
    }
}

} // namespace zylqx

#endif
