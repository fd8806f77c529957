// Samples at any coordinate of an image, inside or outside, in memory or in
// tiles.
//
// Outside, the side's border mode decides; above and below the image, corners
// included, that is the top or the bottom side, beside it the left or the right
// one. A mode that is none of ZYL_BORDER_... counts as ZYL_BORDER_CONSTANT.
// Coordinates lie anywhere: the border is periodic, and no work depends on how
// far away a sample is.
#ifndef ZYLQX_CORE_BORDERS_H
#define ZYLQX_CORE_BORDERS_H

#include <cstddef>
#include <cstdint>

#include "zylqx.h"

namespace zylqx {

// In place of a channel: all channels of every pixel, interleaved as they are.
// Pixel order only.
constexpr int ALL_CHANNELS = 0;

// Where the samples of consecutive coordinates of one axis come from.
struct BorderRun {
    bool constant; // from no coordinate: each is `value`
    std::int32_t value;
    std::int64_t position; // the first coordinate within the image
    std::int64_t count;
    int step; // 1, -1, or 0 for the same coordinate again and again
};

// The first run of the coordinates from `coordinate` on, at most `count` of them,
// on an axis of `size` samples. Outside, `mode` and `value` apply.
BorderRun borderRun(std::int32_t mode, std::int32_t value, std::int32_t size,
                    std::int64_t coordinate, std::int64_t count);

// The first run of rows from y on, and the first run of columns from x on in rows
// outside or inside the image; `y` is any row of such rows.
BorderRun borderRows(const ZylImage &image, std::int64_t y, std::int64_t count);
BorderRun borderColumns(const ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t count);

// Rows of samples to write to, each plane behind the one before. 1-bit samples
// start at bit 0.
struct SampleRows {
    unsigned char *data;
    std::ptrdiff_t stride;    // bytes
    std::ptrdiff_t planeStep; // bytes; for all channels of an image in plane order
};

// Writes a rectangle of pixels, border included, without gaps between the
// samples of a row. `channel` counts from 1; ALL_CHANNELS is every channel, in
// the image's data order. False when a tile was not delivered: what is written
// then is unspecified, and no tile is held.
bool readBorderedRect(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t width,
                      std::int64_t height, int channel, const SampleRows &rows);

} // namespace zylqx

#endif
