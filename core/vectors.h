// Vectors, for kernels that the compiler cannot vectorise by itself. Included by
// kernels only, each of which says which width it takes:
//
//     using namespace wide_vectors;    // the level's natural width
//     using namespace narrow_vectors;  // at most 32 bytes, where more gain nothing
#ifndef ZYLQX_CORE_VECTORS_H
#define ZYLQX_CORE_VECTORS_H

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T, int BYTES>
struct VectorOf {
    typedef T Type __attribute__((vector_size(BYTES)));
};
template <class T, int BYTES>
using SizedVector = typename VectorOf<T, BYTES>::Type;

namespace narrow_vectors {

#if defined(__AVX2__)
constexpr int VECTOR_BYTES = 32;
#else
constexpr int VECTOR_BYTES = 16;
#endif
template <class T>
using Vector = SizedVector<T, VECTOR_BYTES>;
template <class T>
constexpr std::ptrdiff_t LANES = VECTOR_BYTES / static_cast<std::ptrdiff_t>(sizeof(T));

// The high halves of products.
inline Vector<u16> highProducts(Vector<u16> x, Vector<u16> y) {
#if defined(__AVX2__)
    return reinterpret_cast<Vector<u16>>(__builtin_ia32_pmulhuw256(
        reinterpret_cast<Vector<s16>>(x), reinterpret_cast<Vector<s16>>(y)));
#elif defined(__SSE2__)
    return reinterpret_cast<Vector<u16>>(__builtin_ia32_pmulhuw128(
        reinterpret_cast<Vector<s16>>(x), reinterpret_cast<Vector<s16>>(y)));
#else
    const Vector<u32> a = reinterpret_cast<Vector<u32>>(x);
    const Vector<u32> b = reinterpret_cast<Vector<u32>>(y);
    const Vector<u32> even = ((a & 0xFFFFu) * (b & 0xFFFFu)) >> 16;
    const Vector<u32> odd = (a >> 16) * (b >> 16) & 0xFFFF0000u;
    return reinterpret_cast<Vector<u16>>(even | odd);
#endif
}

} // namespace narrow_vectors

namespace wide_vectors {

#if defined(__AVX512BW__)
constexpr int VECTOR_BYTES = 64;
#else
constexpr int VECTOR_BYTES = narrow_vectors::VECTOR_BYTES;
#endif
template <class T>
using Vector = SizedVector<T, VECTOR_BYTES>;
template <class T>
constexpr std::ptrdiff_t LANES = VECTOR_BYTES / static_cast<std::ptrdiff_t>(sizeof(T));

} // namespace wide_vectors

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
