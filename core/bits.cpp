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
            storeHighestFirst(dst + i, loadBitWord(from + i, shift));
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
