// Vectors of a level's natural width, for kernels that the compiler cannot
// vectorise by itself. Included by kernels only; a room that gains nothing from
// vectors of more than 32 bytes defines ZYLQX_NARROW_VECTORS before.
#ifndef ZYLQX_CORE_VECTORS_H
#define ZYLQX_CORE_VECTORS_H

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

#if defined(__AVX512BW__) && !defined(ZYLQX_NARROW_VECTORS)
constexpr int VECTOR_BYTES = 64;
#elif defined(__AVX2__)
constexpr int VECTOR_BYTES = 32;
#else
constexpr int VECTOR_BYTES = 16;
#endif

template <class T, int BYTES = VECTOR_BYTES>
struct VectorOf {
    typedef T Type __attribute__((vector_size(BYTES)));
};
template <class T, int BYTES = VECTOR_BYTES>
using Vector = typename VectorOf<T, BYTES>::Type;
template <class T>
constexpr std::ptrdiff_t LANES = VECTOR_BYTES / static_cast<std::ptrdiff_t>(sizeof(T));

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

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
