// A device-independent bitmap in memory: header, colour table or masks, pixels.
#ifndef ZYLQX_CONVERT_BITMAP_H
#define ZYLQX_CONVERT_BITMAP_H

#include <cstddef>
#include <cstdint>

#include "convert/kernels.h"
#include "zylqx.h"

namespace zylqx {

// Compressions that are taken.
constexpr std::uint32_t BITMAP_PLAIN = 0;
constexpr std::uint32_t BITMAP_FIELDS = 3;

struct Bitmap {
    // Reads the header; the block need not be aligned. Of a header with another
    // biSize, only as much as every header has, up to biHeight.
    explicit Bitmap(const void *block);

    bool knownBitCount() const;
    // Whether a mask of a bitmap with bit fields is 0, so that it has no place
    // for a colour.
    bool emptyMask() const;
    // Writes biClrUsed; the pixels follow the table of that length.
    void setEntriesUsed(std::uint32_t used);

    // The row of the picture, counted from its top.
    std::uint8_t *row(std::ptrdiff_t y) const {
        return pixels + (header.biHeight > 0 ? rows - 1 - y : y) * stride;
    }

    ZylBitmapInfoHeader header{};
    std::uint8_t *table; // the colour table; the masks of bit fields
    std::uint64_t entries;
    std::uint8_t *pixels;
    std::ptrdiff_t stride;
    std::int64_t rows;  // |biHeight|
    BitField fields[4]; // blue, green, red and alpha of 16- and 32-bit pixels

  private:
    void setEntries(std::uint64_t count);
    void readFields();

    std::uint8_t *block_;
};

} // namespace zylqx

#endif
