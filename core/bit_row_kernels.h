// Rows of 1-bit samples as words of 64, the leftmost at the top.
#ifndef ZYLQX_CORE_BIT_ROW_KERNELS_H
#define ZYLQX_CORE_BIT_ROW_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

// Loops over whole words; `shift` is 0 to 7.
struct BitRowKernels {
    // words = the bits of a row from bit `shift` on. A byte behind the last word is read.
    void (*load)(const unsigned char *row, int shift, std::uint64_t *words, std::ptrdiff_t count);
    // A row from its first bit on = words from bit `shift` on. A word behind is read.
    void (*store)(const std::uint64_t *words, int shift, unsigned char *row, std::ptrdiff_t count);
};

ZYLQX_DECLARE_KERNELS(BitRowKernels, bitRowKernels)

} // namespace zylqx

#endif
