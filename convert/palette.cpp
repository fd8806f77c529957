#include "convert/palette.h"

#include <algorithm>
#include <array>
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

constexpr std::uint8_t EIGHT[] = {0, 32, 64, 96, 128, 160, 192, 255};
constexpr std::uint8_t FOUR[] = {0, 64, 128, 255};

using Table256 = std::array<std::uint8_t, 256 * ENTRY_BYTES>;
constexpr Table256 FIXED_256 = [] {
    Table256 table = {};
    for (std::size_t i = 0; i < 256; ++i) {
        setEntry(table.data(), i, EIGHT[i >> 5], EIGHT[i >> 2 & 7], FOUR[i & 3]);
    }
    return table;
}();

// Which of so many levels is the nearest to each value: the lower one of two.
template <std::size_t N>
constexpr std::array<std::uint8_t, 256> nearestLevels(const std::uint8_t (&levels)[N], int shift) {
    std::array<std::uint8_t, 256> nearest = {};
    for (int v = 0; v < 256; ++v) {
        std::size_t k = 0;
        while (k + 1 < N && 2 * v > levels[k] + levels[k + 1]) ++k;
        nearest[static_cast<std::size_t>(v)] = static_cast<std::uint8_t>(k << shift);
    }
    return nearest;
}

bool isFixed256(const std::uint8_t *table, std::uint64_t entries) {
    return entries == 256 && std::memcmp(table, FIXED_256.data(), FIXED_256.size()) == 0;
}

// The fixed table has all combinations of the channels' levels, so that the nearest entry
// is that of the nearest levels.
void nearestFixed256(const std::uint32_t *pixels, std::uint8_t *indices, std::ptrdiff_t n) {
    static constexpr std::array<std::uint8_t, 256> RED = nearestLevels(EIGHT, 5);
    static constexpr std::array<std::uint8_t, 256> GREEN = nearestLevels(EIGHT, 2);
    static constexpr std::array<std::uint8_t, 256> BLUE = nearestLevels(FOUR, 0);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const std::uint32_t p = pixels[i];
        indices[i] =
            static_cast<std::uint8_t>(RED[p >> 16 & 255u] | GREEN[p >> 8 & 255u] | BLUE[p & 255u]);
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
        std::memcpy(table, FIXED_256.data(), FIXED_256.size());
    }
    return true;
}

NearestColour::NearestColour(const std::uint8_t *table, std::uint64_t entries, bool oneBit,
                             std::int64_t pixels)
    : table_(table), entries_(entries), oneBit_(oneBit), fixed256_(isFixed256(table, entries)) {
    if (fixed256_ || entries > MAX_NEAR_ENTRIES) return;
    colours_.count = static_cast<int>(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            colours_.channel[axis][i] = table[ENTRY_BYTES * i + axis];
        }
    }
    if (pixels < MANY_PIXELS) return;
    nearest_ = Scratch<std::uint8_t>(std::uint64_t{NEAR_CUBES} * NEAR_COLOURS);
    if (!nearest_) return;
    parts_ = Scratch<std::uint16_t>(NEAR_CUBES);
    if (parts_) std::fill_n(parts_.data(), NEAR_CUBES, std::uint16_t{0});
}

void NearestColour::find(const std::uint32_t *pixels, std::uint8_t *indices, std::ptrdiff_t n) {
    if (fixed256_) {
        nearestFixed256(pixels, indices, n);
    } else if (entries_ > MAX_NEAR_ENTRIES) {
        for (std::ptrdiff_t i = 0; i < n; ++i) indices[i] = searchAll(pixels[i]);
    } else if (!parts_) {
        ZYLQX_KERNELS(paletteKernels).nearestEntries(colours_, pixels, indices, n);
    } else {
        lookUp(pixels, indices, n);
    }
}

void NearestColour::lookUp(const std::uint32_t *pixels, std::uint8_t *indices, std::ptrdiff_t n) {
    const PaletteKernels &kernels = ZYLQX_KERNELS(paletteKernels);
    std::uint16_t cubes[RUN], colours[RUN];
    kernels.cubesOf(pixels, cubes, colours, n);
    std::uint16_t *const parts = parts_.data(); // storing bytes cannot change local pointers
    std::uint8_t *const nearest = nearest_.data();
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        std::uint16_t &part = parts[cubes[i]];
        if (part == 0) {
            const std::uint32_t first = pixels[i] & (0x010101u * (256 - NEAR_SIDE));
            kernels.nearestInCube(colours_, first, nearest + std::ptrdiff_t{made_} * NEAR_COLOURS);
            part = ++made_;
        }
        indices[i] = nearest[std::ptrdiff_t{part - 1} * NEAR_COLOURS + colours[i]];
    }
}

// The number of an entry may have more bits than an index.
std::uint8_t NearestColour::searchAll(std::uint32_t pixel) const {
    const auto distance = [pixel](const std::uint8_t *entry) {
        std::int32_t sum = 0;
        for (int axis = 0; axis < 3; ++axis) {
            const std::int32_t d =
                static_cast<std::int32_t>(pixel >> (8 * axis) & 255u) - entry[axis];
            sum += d * d;
        }
        return sum;
    };
    std::uint64_t best = 0;
    std::int32_t least = distance(table_);
    for (std::uint64_t i = 1; i < entries_; ++i) {
        const std::int32_t d = distance(table_ + ENTRY_BYTES * i);
        if (d >= least) continue;
        best = i;
        least = d;
    }
    return static_cast<std::uint8_t>(oneBit_ ? best > 0 : best);
}

} // namespace zylqx
