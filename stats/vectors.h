// Vectors of a level's natural width, for kernels that the compiler cannot
// vectorise by itself.
#ifndef ZYLQX_STATS_VECTORS_H
#define ZYLQX_STATS_VECTORS_H

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Wider vectors than these gain nothing: memory is the limit.
#if defined(__AVX2__)
constexpr std::ptrdiff_t VECTOR_BYTES = 32;
#else
constexpr std::ptrdiff_t VECTOR_BYTES = 16;
#endif

using Bytes = std::uint8_t __attribute__((vector_size(VECTOR_BYTES)));
using Words = std::uint16_t __attribute__((vector_size(VECTOR_BYTES)));
using Doubles = std::uint32_t __attribute__((vector_size(VECTOR_BYTES)));
using Chars = char __attribute__((vector_size(VECTOR_BYTES)));
using SignedBytes = std::int8_t __attribute__((vector_size(VECTOR_BYTES)));
using SignedWords = std::int16_t __attribute__((vector_size(VECTOR_BYTES)));
using SignedDoubles = std::int32_t __attribute__((vector_size(VECTOR_BYTES)));
using Quads = std::uint64_t __attribute__((vector_size(VECTOR_BYTES)));

template <class V>
inline V load(const void *p) {
    V v;
    __builtin_memcpy(&v, p, sizeof v);
    return v;
}
template <class V>
inline void store(void *p, V v) {
    __builtin_memcpy(p, &v, sizeof v);
}

// The first `bytes` bytes, zeros behind them.
template <class V>
inline V loadPart(const void *p, std::ptrdiff_t bytes) {
    V v = {};
    __builtin_memcpy(&v, p, static_cast<std::size_t>(bytes));
    return v;
}
template <class V>
inline void storePart(void *p, V v, std::ptrdiff_t bytes) {
    __builtin_memcpy(p, &v, static_cast<std::size_t>(bytes));
}

// Not all levels have a vector minimum and maximum of every type; the compiler
// finds those that there are.
template <class V>
inline V smaller(V a, V b) {
    return a < b ? a : b;
}
template <class V>
inline V larger(V a, V b) {
    return a > b ? a : b;
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
