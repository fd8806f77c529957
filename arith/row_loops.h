// Loops over whole rows that the kernels of this folder share, and the ranges of
// samples. Included by kernels only.
#ifndef ZYLQX_ARITH_ROW_LOOPS_H
#define ZYLQX_ARITH_ROW_LOOPS_H

#include "arith/kernels.h"
#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T>
constexpr T LOWEST = SIGNED<T> ? T(T(1) << (BITS<T> - 1)) : T(0);
template <class T>
constexpr T HIGHEST = T(~LOWEST<T>);

template <class T, class Operation>
void binaryRow(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Operation::of(first[i], second[i]);
}

// Runs `operation` over a row; it takes a sample and gives a sample.
template <class T, class F>
void map(const void *s, void *d, std::ptrdiff_t n, F operation) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = operation(in[i]);
}

template <class T, class Operation>
void constantRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const T value = T(c.value);
    map<T>(s, d, n, [value](T x) { return Operation::of(x, value); });
}

} // namespace

// A row of a table by depth: 1U, 8U, 8S, 16U, 16S, 32S. By size, where the sign
// makes no difference.
#define BY_DEPTH(row, Operation)                                                                   \
    {                                                                                              \
        nullptr, row<u8, Operation>, row<s8, Operation>, row<u16, Operation>, row<s16, Operation>, \
            row<s32, Operation>                                                                    \
    }
#define BY_SIZE(row, Operation)                                                                    \
    {                                                                                              \
        nullptr, row<u8, Operation>, row<u8, Operation>, row<u16, Operation>, row<u16, Operation>, \
            row<u32, Operation>                                                                    \
    }

} // namespace zylqx::ZYLQX_LEVEL

#endif
