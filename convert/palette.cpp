#include "convert/palette.h"

#include <algorithm>
#include <cstring>

namespace zylqx {

bool isGrayRamp(const std::uint8_t *table, std::uint64_t entries) {
    if (entries < 2) return false;
    for (std::uint64_t i = 0; i < entries; ++i) {
        const std::uint8_t *entry = table + ENTRY_BYTES * i;
        const std::uint64_t gray = i * 255 / (entries - 1);
        if (entry[0] != gray || entry[1] != gray || entry[2] != gray) return false;
    }
    return true;
}

namespace {

void fillRamp(std::uint8_t *table, unsigned entries) {
    for (unsigned i = 0; i < entries; ++i) {
        const unsigned gray = i * 255 / (entries - 1);
        setEntry(table, i, gray, gray, gray);
    }
}

// Each colour at half and at full strength, black and dark gray, light gray and
// white in between.
void fill16(std::uint8_t *table) {
    static constexpr std::uint8_t COLOURS[16][3] = {
        {0, 0, 0},       {128, 0, 0},   {0, 128, 0},   {128, 128, 0},
        {0, 0, 128},     {128, 0, 128}, {0, 128, 128}, {128, 128, 128},
        {192, 192, 192}, {255, 0, 0},   {0, 255, 0},   {255, 255, 0},
        {0, 0, 255},     {255, 0, 255}, {0, 255, 255}, {255, 255, 255},
    };
    for (std::size_t i = 0; i < 16; ++i) {
        setEntry(table, i, COLOURS[i][0], COLOURS[i][1], COLOURS[i][2]);
    }
}

void fill256(std::uint8_t *table) {
    static constexpr std::uint8_t EIGHT[] = {0, 32, 64, 96, 128, 160, 192, 255};
    static constexpr std::uint8_t FOUR[] = {0, 64, 128, 255};
    for (std::size_t i = 0; i < 256; ++i) {
        setEntry(table, i, EIGHT[i >> 5], EIGHT[i >> 2 & 7], FOUR[i & 3]);
    }
}

} // namespace

bool fillFixedTable(std::uint8_t *table, std::uint64_t entries, bool gray) {
    if (entries != 2 && entries != 16 && entries != 256) return false;
    if (gray || entries == 2) {
        fillRamp(table, static_cast<unsigned>(entries));
    } else if (entries == 16) {
        fill16(table);
    } else {
        fill256(table);
    }
    return true;
}

NearestColour::NearestColour(const std::uint8_t *table, std::uint64_t entries)
    : table_(table), entries_(entries) {
    if (entries > MAX_ENTRIES) return;
    for (std::size_t i = 0; i < entries; ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            channels_[axis][i] = table[ENTRY_BYTES * i + axis];
        }
    }
    candidates_ = Scratch<std::uint8_t>(MAX_CANDIDATES);
    if (!candidates_) return;
    lists_ = Scratch<std::uint32_t>(CELLS);
    if (lists_) std::fill_n(lists_.data(), CELLS, UNKNOWN);
}

std::uint32_t NearestColour::searchAll(std::uint32_t pixel) const {
    std::uint64_t best = 0;
    std::int32_t least = distance(table_, pixel);
    for (std::uint64_t i = 1; i < entries_; ++i) {
        const std::int32_t d = distance(table_ + ENTRY_BYTES * i, pixel);
        if (d >= least) continue;
        best = i;
        least = d;
    }
    return static_cast<std::uint32_t>(best);
}

std::uint32_t NearestColour::listFor(std::uint32_t pixel) {
    if (MAX_CANDIDATES - used_ <= entries_) return TOO_MANY;
    // The least and the largest distance of every entry from the cell.
    const auto count = static_cast<std::size_t>(entries_);
    std::int32_t least[MAX_ENTRIES] = {};
    std::int32_t largest[MAX_ENTRIES] = {};
    for (int axis = 0; axis < 3; ++axis) {
        const auto low = static_cast<std::int32_t>(pixel >> (8 * axis) & 0xFCu);
        for (std::size_t i = 0; i < count; ++i) {
            const std::int32_t below = low - channels_[axis][i];
            const std::int32_t above = -below - 3;
            const std::int32_t outside = std::max(std::max(below, above), 0);
            const std::int32_t reach = std::max(below, above) + 3;
            least[i] += outside * outside;
            largest[i] += reach * reach;
        }
    }
    const std::int32_t bound = *std::min_element(largest, largest + count);
    std::uint8_t *list = candidates_.data() + used_;
    std::uint32_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
        list[found] = static_cast<std::uint8_t>(i);
        found += least[i] <= bound;
    }
    const auto start = static_cast<std::uint32_t>(used_);
    used_ += found;
    return start << COUNT_BITS | found;
}

} // namespace zylqx
