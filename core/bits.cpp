#include "core/bits.h"

#include <algorithm>
#include <cstring>

namespace zylqx {

namespace {

// The bits of a byte from `first` on, `count` of them.
constexpr unsigned byteMask(int first, int count) {
    return (0xFFu >> first) & (0xFF00u >> (first + count));
}

void mergeByte(unsigned char &byte, unsigned bits, unsigned mask) {
    byte = static_cast<unsigned char>((byte & ~mask) | (bits & mask));
}

// `count` bits (1 to 8) from a bit on, at the left of the result.
unsigned loadBits(const unsigned char *src, std::int64_t bit, int count) {
    const unsigned char *byte = src + bit / 8;
    const int offset = static_cast<int>(bit % 8);
    unsigned bits = unsigned{byte[0]} << offset;
    if (offset + count > 8) bits |= unsigned{byte[1]} >> (8 - offset);
    return bits & 0xFFu;
}

// Sixty-four bits from the first one of a byte on, that one at the top.
std::uint64_t loadBits64(const unsigned char *src) {
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8 | src[i];
    return bits;
}
void storeBits64(unsigned char *dst, std::uint64_t bits) {
    for (int i = 0; i < 8; ++i) dst[i] = static_cast<unsigned char>(bits >> (56 - 8 * i));
}

} // namespace

void copyBits(const unsigned char *src, std::int64_t srcBit, unsigned char *dst,
              std::int64_t dstBit, std::int64_t count) {
    if (count <= 0) return;
    dst += dstBit / 8;
    const int first = static_cast<int>(dstBit % 8);
    if (first != 0) {
        const int head = static_cast<int>(std::min<std::int64_t>(count, 8 - first));
        mergeByte(*dst++, loadBits(src, srcBit, head) >> first, byteMask(first, head));
        srcBit += head;
        count -= head;
    }
    const std::int64_t bytes = count / 8;
    const int shift = static_cast<int>(srcBit % 8);
    const unsigned char *from = src + srcBit / 8;
    if (shift == 0) {
        std::memcpy(dst, from, static_cast<std::size_t>(bytes));
    } else {
        std::int64_t i = 0;
        for (; i + 8 <= bytes; i += 8) {
            storeBits64(dst + i, loadBits64(from + i) << shift | from[i + 8] >> (8 - shift));
        }
        for (; i < bytes; ++i) {
            dst[i] = static_cast<unsigned char>(from[i] << shift | from[i + 1] >> (8 - shift));
        }
    }
    const int tail = static_cast<int>(count % 8);
    if (tail != 0) mergeByte(dst[bytes], loadBits(from + bytes, shift, tail), byteMask(0, tail));
}

void fillBits(unsigned char *dst, std::int64_t dstBit, std::int64_t count, bool value) {
    if (count <= 0) return;
    const unsigned bits = value ? 0xFFu : 0u;
    dst += dstBit / 8;
    const int first = static_cast<int>(dstBit % 8);
    if (first != 0) {
        const int head = static_cast<int>(std::min<std::int64_t>(count, 8 - first));
        mergeByte(*dst++, bits, byteMask(first, head));
        count -= head;
    }
    std::memset(dst, static_cast<int>(bits), static_cast<std::size_t>(count / 8));
    const int tail = static_cast<int>(count % 8);
    if (tail != 0) mergeByte(dst[count / 8], bits, byteMask(0, tail));
}

} // namespace zylqx
