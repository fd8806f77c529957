// Words as they lie in memory: the one place that asks for the processor's byte
// order. For kernels and other files alike, so nothing here is a weak symbol.
#ifndef ZYLQX_CORE_WORDS_H
#define ZYLQX_CORE_WORDS_H

#include <cstdint>

namespace zylqx {

// Whether the first byte of a number is its lowest: then the first of the samples
// that a number holds is in its low bits, else in its high ones.
constexpr bool LOWEST_FIRST = __BYTE_ORDER__ != __ORDER_BIG_ENDIAN__;

// A word as it lies in memory with its lowest byte first, or with its highest.
static inline std::uint64_t lowestFirst(std::uint64_t word) {
    return LOWEST_FIRST ? word : __builtin_bswap64(word);
}
static inline std::uint64_t highestFirst(std::uint64_t word) {
    return __builtin_bswap64(lowestFirst(word));
}

// Eight bytes as a word, the first one lowest.
static inline std::uint64_t loadLowestFirst(const unsigned char *bytes) {
    std::uint64_t word;
    __builtin_memcpy(&word, bytes, sizeof word);
    return lowestFirst(word);
}
static inline void storeLowestFirst(unsigned char *bytes, std::uint64_t word) {
    word = lowestFirst(word);
    __builtin_memcpy(bytes, &word, sizeof word);
}

// The same with the first byte highest: 64 bits of a row, the leftmost at the top.
static inline std::uint64_t loadHighestFirst(const unsigned char *bytes) {
    std::uint64_t word;
    __builtin_memcpy(&word, bytes, sizeof word);
    return highestFirst(word);
}
static inline void storeHighestFirst(unsigned char *bytes, std::uint64_t word) {
    word = highestFirst(word);
    __builtin_memcpy(bytes, &word, sizeof word);
}

} // namespace zylqx

#endif
