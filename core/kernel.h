// What every file of kernels starts from. These files are compiled once per
// instruction level and emit no weak symbols: templates and helpers live in an
// unnamed namespace, and nothing but <cstddef> and <cstdint> is included.
#ifndef ZYLQX_CORE_KERNEL_H
#define ZYLQX_CORE_KERNEL_H

#include <cstddef>
#include <cstdint>

// Before a loop whose iterations do not depend on each other even when source
// and destination are the same memory, so that it is vectorised without checks.
#if defined(__clang__)
#define ZYLQX_VECTOR_LOOP _Pragma("clang loop vectorize(assume_safety)")
#else
#define ZYLQX_VECTOR_LOOP _Pragma("GCC ivdep")
#endif

namespace zylqx::ZYLQX_LEVEL {

namespace {

using s8 = std::int8_t;
using u8 = std::uint8_t;
using s16 = std::int16_t;
using u16 = std::uint16_t;
using s32 = std::int32_t;
using u32 = std::uint32_t;
using s64 = std::int64_t;
using u64 = std::uint64_t;

template <class T>
constexpr bool SIGNED = T(-1) < T(0);
template <class T>
constexpr int BITS = static_cast<int>(sizeof(T) * 8);

// Of numbers or of vectors, lane by lane. Not all levels have a vector minimum and
// maximum of every type; the compiler finds those that there are.
template <class T>
constexpr T smaller(T a, T b) {
    return a < b ? a : b;
}
template <class T>
constexpr T larger(T a, T b) {
    return a > b ? a : b;
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
