// Packing flags to bits. Included by kernels only, in their level's namespace.
#ifndef ZYLQX_CORE_PACK_H
#define ZYLQX_CORE_PACK_H

#include "core/bits.h"
#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Pixels that a kernel takes in one go when it works through local arrays.
constexpr std::ptrdiff_t CHUNK = 512;

inline std::ptrdiff_t chunkFrom(std::ptrdiff_t i, std::ptrdiff_t n) {
    return n - i < CHUNK ? n - i : CHUNK;
}

#if defined(__AVX2__)
using Flags = SizedVector<char, 32>;
using FlagWords = SizedVector<u32, 32>;

// The top bits of 32 bytes as bits of a row. They are gathered from the last
// element on: in each group of eight the bytes change places before.
inline void packTops(Flags v, u8 *bits) {
    v = __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 23, 22,
                                21, 20, 19, 18, 17, 16, 31, 30, 29, 28, 27, 26, 25, 24);
    store(bits, __builtin_ia32_pmovmskb256(v));
}

// 32 bits of a row as bytes that are zero or not.
inline Flags unpacked(const u8 *bits) {
    const Flags v = Flags(FlagWords{} + load<u32>(bits));
    const Flags copies =
        __builtin_shufflevector(v, v, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 18, 18, 18,
                                18, 18, 18, 18, 18, 19, 19, 19, 19, 19, 19, 19, 19);
    return Flags(SizedVector<u64, 32>(copies) & 0x0102040810204080u);
}
#endif

// Flags of 0 or 1 into bits from the first of a byte on. Bits of the last byte
// past the flags keep their values.
inline void packBits(const u8 *flags, u8 *bits, std::ptrdiff_t n) {
    std::ptrdiff_t i = 0;
#if defined(__AVX2__)
    for (; i + 32 <= n; i += 32) {
        packTops(Flags(load<FlagWords>(flags + i) << 7), bits + i / 8);
    }
#endif
    for (; i + 8 <= n; i += 8) bits[i / 8] = packFlags(loadLowestFirst(flags + i));
    for (; i < n; ++i) setBit(bits, i, flags[i] != 0);
}

// Bits from the first of a byte on into flags, which are 0 or not. All bits of
// the last byte get one.
inline void unpackBits(const u8 *bits, u8 *flags, std::ptrdiff_t n) {
    std::ptrdiff_t i = 0;
#if defined(__AVX2__)
    for (; i + 32 <= n; i += 32) store(flags + i, unpacked(bits + i / 8));
#endif
    for (; i < n; i += 8) {
        storeLowestFirst(flags + i, unpackFlags(bits[i / 8]));
    }
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
