// Packing flags to bits. Included by kernels only, in their level's namespace.
#ifndef ZYLQX_CORE_PACK_H
#define ZYLQX_CORE_PACK_H

#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Pixels that a kernel takes in one go when it works through local arrays.
constexpr std::ptrdiff_t CHUNK = 512;

inline std::ptrdiff_t chunkFrom(std::ptrdiff_t i, std::ptrdiff_t n) {
    return n - i < CHUNK ? n - i : CHUNK;
}

// Eight bytes in one word, the first one lowest.
inline u64 loadBytes(const u8 *bytes) {
    u64 word;
    __builtin_memcpy(&word, bytes, sizeof word);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    return word;
}

inline void storeBytes(u8 *bytes, u64 word) {
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    __builtin_memcpy(bytes, &word, sizeof word);
}

// Eight flags of 0 or 1, the first into the top bit. The product puts flag i at
// bit 63 - i, and no two of its terms meet.
inline u8 packByte(const u8 *flags) {
    return static_cast<u8>((loadBytes(flags) * 0x8040201008040201u) >> 56);
}

#if defined(__AVX2__)
using Flags = Vector<char, 32>;
using FlagWords = Vector<u32, 32>;

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
    return Flags(Vector<u64, 32>(copies) & 0x0102040810204080u);
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
    for (; i + 8 <= n; i += 8) bits[i / 8] = packByte(flags + i);
    for (; i < n; ++i) {
        const unsigned bit = 0x80u >> (i % 8);
        const unsigned byte = bits[i / 8];
        bits[i / 8] = static_cast<u8>(flags[i] != 0 ? byte | bit : byte & ~bit);
    }
}

// Bits from the first of a byte on into flags, which are 0 or not. All bits of
// the last byte get one.
inline void unpackBits(const u8 *bits, u8 *flags, std::ptrdiff_t n) {
    std::ptrdiff_t i = 0;
#if defined(__AVX2__)
    for (; i + 32 <= n; i += 32) store(flags + i, unpacked(bits + i / 8));
#endif
    for (; i < n; i += 8) {
        const u64 copies = bits[i / 8] * 0x0101010101010101u;
        storeBytes(flags + i, copies & 0x0102040810204080u);
    }
}

// Bit i of a row, 0 or 1.
inline unsigned bitAt(const u8 *bits, std::ptrdiff_t i) {
    return (unsigned{bits[i >> 3]} >> (7 - (i & 7))) & 1u;
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
