// Colour tables of bitmaps: the fixed ones, and the nearest entry of any.
//
// A table is a sequence of entries of four bytes: blue, green, red, reserved.
#ifndef ZYLQX_CONVERT_PALETTE_H
#define ZYLQX_CONVERT_PALETTE_H

#include <cstddef>
#include <cstdint>

#include "convert/kernels.h"
#include "core/memory.h"

namespace zylqx {

constexpr std::size_t ENTRY_BYTES = 4;

constexpr void setEntry(std::uint8_t *table, std::size_t i, unsigned red, unsigned green,
                        unsigned blue) {
    std::uint8_t *entry = table + ENTRY_BYTES * i;
    entry[0] = static_cast<std::uint8_t>(blue);
    entry[1] = static_cast<std::uint8_t>(green);
    entry[2] = static_cast<std::uint8_t>(red);
    entry[3] = 0;
}

// Whether every entry i is the gray i * 255 / (entries - 1). A table with fewer
// than two entries is none.
bool isGrayRamp(const std::uint8_t *table, std::uint64_t entries);

// Fills a table of 2, 16 or 256 entries: black and white; a gray ramp, or the 16
// standard colours; a gray ramp, or 8 levels of red and green and 4 of blue. Any
// other table stays as it is: false.
bool fillFixedTable(std::uint8_t *table, std::uint64_t entries, bool gray);

// Finds the entries nearest to colours: the first of those with the smallest sum of
// squared differences.
//
// For the fixed table of 256 colours that of each channel is looked up. In others, for
// many pixels, those of a whole cube of colours are found as soon as one of them is
// asked for, and looked up from then on. Without memory for this, and for few pixels,
// every colour is held against all entries.
class NearestColour {
  public:
    // The table has at least one entry and outlives the object. Bitmaps of one bit tell
    // the first entry from the others.
    NearestColour(const std::uint8_t *table, std::uint64_t entries, bool oneBit,
                  std::int64_t pixels);

    // At most RUN pixels, which hold blue in their lowest byte, then green and red.
    void find(const std::uint32_t *pixels, std::uint8_t *indices, std::ptrdiff_t n);

    static constexpr std::ptrdiff_t RUN = 512;

  private:
    // From here on the look-up pays.
    static constexpr std::int64_t MANY_PIXELS = 4096;

    std::uint8_t searchAll(std::uint32_t pixel) const;
    void lookUp(const std::uint32_t *pixels, std::uint8_t *indices, std::ptrdiff_t n);

    const std::uint8_t *table_;
    std::uint64_t entries_;
    bool oneBit_;
    bool fixed256_; // the table is the fixed one of 256 colours
    TableColours colours_;
    // For every cube the number of its part of `nearest_`, from 1; 0 before it is made.
    Scratch<std::uint16_t> parts_;
    Scratch<std::uint8_t> nearest_;
    std::uint16_t made_ = 0;
};

} // namespace zylqx

#endif
