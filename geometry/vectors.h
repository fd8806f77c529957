// Vectors, for kernels that the compiler cannot vectorise by itself.
#ifndef ZYLQX_GEOMETRY_VECTORS_H
#define ZYLQX_GEOMETRY_VECTORS_H

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Instructions that move bytes across more than 32 gain nothing.
#if defined(__AVX2__)
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
constexpr int LANES = VECTOR_BYTES / sizeof(T);

template <class V>
inline V load(const void *from) {
    V v;
    __builtin_memcpy(&v, from, sizeof v);
    return v;
}
template <class V>
inline void store(void *to, V v) {
    __builtin_memcpy(to, &v, sizeof v);
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
