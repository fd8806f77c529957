// The entry of a colour table that is nearest to a colour: the first of those with the
// smallest sum of squared differences.
//
// A sum is at most 3 * 255^2, so that with the entry's number below it a key has 26 bits,
// and the least key is that of the first nearest entry. Colours are taken by cubes of
// NEAR_SIDE colours on each axis. An entry can be nearest to one of them only if its least
// distance from the cube is not above the smallest of all largest distances; few are.
#include "convert/kernels.h"
#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

constexpr int NUMBER_BITS = 8;

inline s32 channelOf(u32 pixel, int axis) {
    return s32(pixel >> (8 * axis) & 255u);
}

void nearestEntries(const TableColours &table, const u32 *pixels, u8 *indices, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const s32 c[] = {channelOf(pixels[i], 0), channelOf(pixels[i], 1), channelOf(pixels[i], 2)};
        u32 best = ~0u;
        for (int k = 0; k < table.count; ++k) {
            const s32 x = table.channel[0][k] - c[0];
            const s32 y = table.channel[1][k] - c[1];
            const s32 z = table.channel[2][k] - c[2];
            best = smaller(best, u32(x * x + y * y + z * z) << NUMBER_BITS | u32(k));
        }
        indices[i] = u8(best);
    }
}

// Entries that can be nearest to a colour of the cube from `first` on; gives how many.
int entriesNear(const TableColours &table, u32 first, u8 *list) {
    s32 least[MAX_NEAR_ENTRIES] = {}, largest[MAX_NEAR_ENTRIES] = {};
    const int count = table.count;
    for (int axis = 0; axis < 3; ++axis) {
        const s32 low = channelOf(first, axis);
        for (int i = 0; i < count; ++i) {
            const s32 below = low - table.channel[axis][i];
            const s32 above = -below - (NEAR_SIDE - 1);
            const s32 outside = larger(larger(below, above), 0);
            const s32 reach = larger(below, above) + (NEAR_SIDE - 1);
            least[i] += outside * outside;
            largest[i] += reach * reach;
        }
    }
    s32 bound = largest[0];
    for (int i = 1; i < count; ++i) bound = smaller(bound, largest[i]);
    int found = 0;
    for (int i = 0; i < count; ++i) {
        list[found] = u8(i);
        found += least[i] <= bound;
    }
    return found;
}

void nearestInCube(const TableColours &table, u32 first, u8 *nearest) {
    u8 list[MAX_NEAR_ENTRIES + 1];
    const int found = entriesNear(table, first, list);
    u32 keys[NEAR_COLOURS];
    for (u32 &key : keys) key = ~0u;
    for (int k = 0; k < found; ++k) {
        u32 squares[3][NEAR_SIDE];
        for (int axis = 0; axis < 3; ++axis) {
            for (int i = 0; i < NEAR_SIDE; ++i) {
                const s32 d = channelOf(first, axis) + i - table.channel[axis][list[k]];
                squares[axis][i] = u32(d * d) << NUMBER_BITS;
            }
        }
        for (int row = 0; row < NEAR_SIDE * NEAR_SIDE; ++row) {
            const u32 key = squares[2][row / NEAR_SIDE] + squares[1][row % NEAR_SIDE] + list[k];
            u32 *own = keys + row * NEAR_SIDE;
            for (int i = 0; i < NEAR_SIDE; ++i) own[i] = smaller(own[i], key + squares[0][i]);
        }
    }
    for (int i = 0; i < NEAR_COLOURS; ++i) nearest[i] = u8(keys[i]);
}

// The cube's number for every pixel, and which of its colours it is.
void cubesOf(const u32 *pixels, u16 *cubes, u16 *colours, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 p = pixels[i];
        cubes[i] = u16((p >> 3 & 0x1Fu) | (p >> 6 & 0x3E0u) | (p >> 9 & 0x7C00u));
        colours[i] = u16((p & 7u) | (p >> 5 & 0x38u) | (p >> 10 & 0x1C0u));
    }
}

} // namespace

const PaletteKernels paletteKernels = {nearestEntries, nearestInCube, cubesOf};

} // namespace zylqx::ZYLQX_LEVEL
