// Packing flags to bits. Included by kernels only, in their level's namespace.
#ifndef ZYLQX_CONVERT_PACK_H
#define ZYLQX_CONVERT_PACK_H

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Pixels that a kernel takes in one go when it works through local arrays.
constexpr std::ptrdiff_t CHUNK = 512;

inline std::ptrdiff_t chunkFrom(std::ptrdiff_t i, std::ptrdiff_t n) {
    return n - i < CHUNK ? n - i : CHUNK;
}

// Eight flags of 0 or 1, the first into the top bit. The product puts flag i at
// bit 63 - i, and no two of its terms meet.
inline std::uint8_t packByte(const std::uint8_t *flags) {
    std::uint64_t word = 0;
    for (int i = 0; i < 8; ++i) word |= std::uint64_t{flags[i]} << (8 * i);
    return static_cast<std::uint8_t>((word * 0x8040201008040201u) >> 56);
}

// Flags of 0 or 1 into bits from the first of a byte on. Bits of the last byte
// past the flags keep their values.
inline void packBits(const std::uint8_t *flags, std::uint8_t *bits, std::ptrdiff_t n) {
    const std::ptrdiff_t bytes = n / 8;
    for (std::ptrdiff_t i = 0; i < bytes; ++i) bits[i] = packByte(flags + 8 * i);
    for (std::ptrdiff_t i = 8 * bytes; i < n; ++i) {
        const unsigned bit = 0x80u >> (i % 8);
        bits[bytes] =
            static_cast<std::uint8_t>(flags[i] != 0 ? bits[bytes] | bit : bits[bytes] & ~bit);
    }
}

// Bit i of a row, 0 or 1.
inline unsigned bitAt(const std::uint8_t *bits, std::ptrdiff_t i) {
    return (unsigned{bits[i >> 3]} >> (7 - (i & 7))) & 1u;
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
