// Rows of 1-bit samples at any bit offset: bit 0 of a row is the most significant
// bit of its first byte. For kernels and other files alike, so nothing here is a
// weak symbol.
#ifndef ZYLQX_CORE_BITS_H
#define ZYLQX_CORE_BITS_H

#include <cstddef>
#include <cstdint>

#include "core/words.h"

namespace zylqx {

// Samples from a byte and a bit of it on.
struct ConstBits {
    const std::uint8_t *data;
    int bit;
};
struct Bits {
    std::uint8_t *data;
    int bit;
};

// --- single bits ---

static inline unsigned bitAt(const unsigned char *row, std::int64_t bit) {
    return unsigned{row[bit >> 3]} >> (7 - (bit & 7)) & 1u;
}

static inline void setBit(unsigned char *row, std::int64_t bit, bool value) {
    const unsigned mask = 0x80u >> (bit & 7);
    unsigned char &byte = row[bit >> 3];
    byte = static_cast<unsigned char>(value ? byte | mask : byte & ~mask);
}

// --- bytes and words of bits ---

// `count` bits (1 to 8) from a bit on, at the left of a byte; what is behind them is
// unspecified. Reads no byte that holds none of them.
static inline unsigned loadBits(const unsigned char *row, std::int64_t bit, int count) {
    const unsigned char *byte = row + bit / 8;
    const int offset = static_cast<int>(bit % 8);
    unsigned bits = unsigned{byte[0]} << offset;
    if (offset + count > 8) bits |= unsigned{byte[1]} >> (8 - offset);
    return bits & 0xFFu;
}

// 64 bits from a bit on, the leftmost at the top.
static inline std::uint64_t loadBitWord(const unsigned char *row, std::int64_t bit) {
    const unsigned char *byte = row + bit / 8;
    const int offset = static_cast<int>(bit % 8);
    const std::uint64_t word = loadHighestFirst(byte);
    if (offset == 0) return word;
    return word << offset | std::uint64_t{byte[8]} >> (8 - offset);
}

// --- bits as flags, one to a byte ---

// Eight flags of 0 or 1, loaded lowest first, as a byte with the first at the top.
// The product puts flag i at bit 63 - i, and no two of its terms meet.
static inline std::uint8_t packFlags(std::uint64_t flags) {
    return static_cast<std::uint8_t>((flags * 0x8040201008040201u) >> 56);
}

// Eight bits as bytes, lowest first, that are 0 or not.
static inline std::uint64_t unpackFlags(std::uint8_t bits) {
    return (bits * 0x0101010101010101u) & 0x0102040810204080u;
}

// --- runs of bits ---

// Bits outside the run keep their values, and no byte without a bit of the run
// is touched. The two runs share no byte.
void copyBits(const unsigned char *src, std::int64_t srcBit, unsigned char *dst,
              std::int64_t dstBit, std::int64_t count);
void fillBits(unsigned char *dst, std::int64_t dstBit, std::int64_t count, bool value);

} // namespace zylqx

#endif
