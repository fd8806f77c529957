// Runs of 1-bit samples at any bit offset: bit 0 of a row is the most
// significant bit of its first byte.
#ifndef ZYLQX_CORE_BITS_H
#define ZYLQX_CORE_BITS_H

#include <cstdint>

namespace zylqx {

inline bool bitAt(const unsigned char *row, std::int64_t bit) {
    return (row[bit / 8] >> (7 - bit % 8) & 1) != 0;
}

inline void setBit(unsigned char *row, std::int64_t bit, bool value) {
    const unsigned mask = 0x80u >> (bit % 8);
    unsigned char &byte = row[bit / 8];
    byte = static_cast<unsigned char>(value ? byte | mask : byte & ~mask);
}

// Bits outside the run keep their values, and no byte without a bit of the run
// is touched. The two runs share no byte.
void copyBits(const unsigned char *src, std::int64_t srcBit, unsigned char *dst,
              std::int64_t dstBit, std::int64_t count);
void fillBits(unsigned char *dst, std::int64_t dstBit, std::int64_t count, bool value);

} // namespace zylqx

#endif
