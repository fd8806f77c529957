// What the kernels of this folder share: vectors over the lines of a panel, and
// transposition.
#ifndef ZYLQX_TRANSFORM_LANES_H
#define ZYLQX_TRANSFORM_LANES_H

#include "core/vectors.h"
#include "transform/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using namespace wide_vectors;

// Row i of the result is at to + i * stride: entry i of each of N rows, which have
// N values of four bytes.
template <class T, int N>
inline void transpose(const T *const (&rows)[N], T *to, std::ptrdiff_t stride) {
    using Quad = typename VectorOf<u32, 16>::Type;
    for (int i = 0; i < N; i += 4) {
        for (int j = 0; j < N; j += 4) {
            const Quad a = load<Quad>(rows[i] + j);
            const Quad b = load<Quad>(rows[i + 1] + j);
            const Quad c = load<Quad>(rows[i + 2] + j);
            const Quad d = load<Quad>(rows[i + 3] + j);
            const Quad ab = __builtin_shufflevector(a, b, 0, 4, 1, 5);
            const Quad cd = __builtin_shufflevector(c, d, 0, 4, 1, 5);
            const Quad abHigh = __builtin_shufflevector(a, b, 2, 6, 3, 7);
            const Quad cdHigh = __builtin_shufflevector(c, d, 2, 6, 3, 7);
            T *out = to + j * stride + i;
            store(out, __builtin_shufflevector(ab, cd, 0, 1, 4, 5));
            store(out + stride, __builtin_shufflevector(ab, cd, 2, 3, 6, 7));
            store(out + 2 * stride, __builtin_shufflevector(abHigh, cdHigh, 0, 1, 4, 5));
            store(out + 3 * stride, __builtin_shufflevector(abHigh, cdHigh, 2, 3, 6, 7));
        }
    }
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
