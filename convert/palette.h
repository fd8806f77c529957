// Colour tables of bitmaps: the fixed ones, and the nearest entry of any.
//
// A table is a sequence of entries of four bytes: blue, green, red, reserved.
#ifndef ZYLQX_CONVERT_PALETTE_H
#define ZYLQX_CONVERT_PALETTE_H

#include <cstddef>
#include <cstdint>

#include "core/memory.h"

namespace zylqx {

constexpr std::size_t ENTRY_BYTES = 4;

inline void setEntry(std::uint8_t *table, std::size_t i, unsigned red, unsigned green,
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

// Finds the entry nearest to a colour: the first of those with the smallest sum
// of squared differences.
//
// Colour space is cut into cells of 4 x 4 x 4 colours. For each cell, as soon as
// a colour of it is asked for, the entries are listed that can be nearest to any
// of its colours: those whose least distance from the cell is not above the
// smallest of all largest distances. A few remain, and the result is that of a
// search through all. That search also stands in when there is no memory for the
// lists.
class NearestColour {
  public:
    // The table has at least one entry and outlives the object.
    NearestColour(const std::uint8_t *table, std::uint64_t entries);

    // `pixel` holds blue in its lowest byte, then green and red.
    std::uint32_t operator()(std::uint32_t pixel) {
        if (!lists_) return searchAll(pixel);
        std::uint32_t &list = lists_[cellOf(pixel)];
        if (list == UNKNOWN) list = listFor(pixel);
        if (list == TOO_MANY) return searchAll(pixel);
        return searchList(candidates_.data() + (list >> COUNT_BITS), list & COUNT_MASK, pixel);
    }

  private:
    static constexpr int AXIS_CELLS = 64;
    static constexpr std::size_t CELLS = std::size_t{AXIS_CELLS} * AXIS_CELLS * AXIS_CELLS;
    static constexpr std::size_t MAX_CANDIDATES = std::size_t{1} << 20;
    static constexpr std::size_t MAX_ENTRIES = 256;
    // A list: where its candidates start, and how many there are.
    static constexpr int COUNT_BITS = 9;
    static constexpr std::uint32_t COUNT_MASK = (1u << COUNT_BITS) - 1;
    static constexpr std::uint32_t UNKNOWN = 0;
    static constexpr std::uint32_t TOO_MANY = ~std::uint32_t{0};

    static std::size_t cellOf(std::uint32_t pixel) {
        return (pixel >> 2 & 0x3Fu) | (pixel >> 4 & 0xFC0u) | (pixel >> 6 & 0x3F000u);
    }
    static std::int32_t distance(const std::uint8_t *entry, std::uint32_t pixel) {
        const auto blue = static_cast<std::int32_t>(pixel & 255u) - entry[0];
        const auto green = static_cast<std::int32_t>(pixel >> 8 & 255u) - entry[1];
        const auto red = static_cast<std::int32_t>(pixel >> 16 & 255u) - entry[2];
        return blue * blue + green * green + red * red;
    }

    std::uint32_t searchAll(std::uint32_t pixel) const;
    std::uint32_t searchList(const std::uint8_t *list, std::uint32_t count,
                             std::uint32_t pixel) const {
        std::uint32_t best = list[0];
        if (count == 1) return best;
        std::int32_t least = distance(table_ + ENTRY_BYTES * best, pixel);
        for (std::uint32_t i = 1; i < count; ++i) {
            const std::int32_t d = distance(table_ + ENTRY_BYTES * list[i], pixel);
            best = d < least ? list[i] : best;
            least = d < least ? d : least;
        }
        return best;
    }
    std::uint32_t listFor(std::uint32_t pixel);

    const std::uint8_t *table_;
    std::uint64_t entries_;
    std::int32_t channels_[3][MAX_ENTRIES]; // of the entries, for making lists
    Scratch<std::uint32_t> lists_;
    Scratch<std::uint8_t> candidates_;
    std::size_t used_ = 0;
};

} // namespace zylqx

#endif
