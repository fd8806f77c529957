// What colour operations share: where red, green and blue are, and rows of them.
#ifndef ZYLQX_CONVERT_COLOUR_H
#define ZYLQX_CONVERT_COLOUR_H

#include <cstddef>

#include "convert/kernels.h"
#include "core/image.h"

namespace zylqx {

// The file that colour kernels report as theirs.
constexpr const char *KERNEL_FILE = "owncolor";

// Channels, counted from 1.
struct ColourChannels {
    int of[3];
};

constexpr ColourChannels FIRST_CHANNELS{{1, 2, 3}};

// Where the three channels of a model ("RGB", "HSV", "HLS") are, in the order of
// its letters. Plane order: each where its letter stands in channelSeq; the first
// three unless all letters are there. Pixel order: the first three, but from blue
// to red when the model is RGB and channelSeq does not begin with 'R'. The image
// has at least three channels.
ColourChannels colourChannels(const ZylImage &image, const char *model);

// The row from column x on.
inline ColourSource sourceRow(const ZylImage &image, const ColourChannels &channels,
                              std::ptrdiff_t x, std::ptrdiff_t y) {
    ColourSource row{{}, pixelStep(image)};
    for (int k = 0; k < 3; ++k) row.channel[k] = sampleAt(image, x, y, channels.of[k]);
    return row;
}

inline ColourRow colourRow(const ZylImage &image, const ColourChannels &channels, std::ptrdiff_t x,
                           std::ptrdiff_t y) {
    ColourRow row{{}, pixelStep(image)};
    for (int k = 0; k < 3; ++k) row.channel[k] = sampleAt(image, x, y, channels.of[k]);
    return row;
}

// Calls row(y, columns) for rows of so many columns, or for all at once where they follow
// each other without gaps in both images.
template <class F>
void forEachRow(const ZylImage &a, const ZylImage &b, std::ptrdiff_t columns, std::ptrdiff_t rows,
                F row) {
    const auto dense = [columns](const ZylImage &image) {
        return image.widthStep == columns * pixelStep(image) * sampleBytes(image.depth);
    };
    if (dense(a) && dense(b)) return row(std::ptrdiff_t{0}, columns * rows);
    for (std::ptrdiff_t y = 0; y < rows; ++y) row(y, columns);
}

// Of the depths that colour operations take: 0 for 8U, 1 for 16U, 2 for 32S; -1
// for any other.
constexpr int colourDepthIndex(std::uint32_t depth) {
    switch (depth) {
    case ZYL_DEPTH_8U:
        return 0;
    case ZYL_DEPTH_16U:
        return 1;
    case ZYL_DEPTH_32S:
        return 2;
    default:
        return -1;
    }
}

} // namespace zylqx

#endif
