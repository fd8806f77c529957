// Bits of rows to words and back, loops that the compiler makes vectors of.
#include "core/bit_row_kernels.h"

#include "core/kernel.h"
#include "core/words.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Two overlapping words hold all bits, of which some are in both.
void loadRow(const u8 *row, int shift, u64 *words, std::ptrdiff_t count) {
    const int rest = 8 - shift;
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const u8 *from = row + i * 8;
        words[i] = loadHighestFirst(from) << shift | loadHighestFirst(from + 1) >> rest;
    }
}

void storeRow(const u64 *words, int shift, u8 *row, std::ptrdiff_t count) {
    const int rest = 63 - shift; // by one more in two steps, as no shift is by 64
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        storeHighestFirst(row + i * 8, words[i] << shift | words[i + 1] >> 1 >> rest);
    }
}

} // namespace

const BitRowKernels bitRowKernels = {.load = loadRow, .store = storeRow};

} // namespace zylqx::ZYLQX_LEVEL
