// What the kernels of this folder share: vectors over the lines of a panel,
// transposition and sums of cosines.
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

// An angle that runs through a table: entry (start + j * step) modulo the
// table's entries, for the j-th row of a sum.
struct Angle {
    std::ptrdiff_t start, step;
};

// How many sums of a direct summation run at the same time.
constexpr int SUMS = 4;

// out[s * width + lane] = the sum over `count` rows of row[lane] * table[angles[s]].
// A row has `width` values, a multiple of LINES; an entry of the table is `spread`
// doubles, of which the first counts.
void cosineSums(const double *rows, std::ptrdiff_t count, int width, const double *table,
                int spread, std::ptrdiff_t period, const Angle (&angles)[SUMS], double *out) {
    using V = Vector<double>;
    for (int lane = 0; lane < width; lane += 2 * LANES<double>) {
        V low[SUMS] = {};
        V high[SUMS] = {};
        std::ptrdiff_t at[SUMS];
        for (int s = 0; s < SUMS; ++s) at[s] = angles[s].start;
        for (std::ptrdiff_t j = 0; j < count; ++j) {
            const double *row = rows + j * width + lane;
            const V a = load<V>(row);
            const V b = load<V>(row + LANES<double>);
            for (int s = 0; s < SUMS; ++s) {
                const double factor = table[at[s] * spread];
                low[s] += a * factor;
                high[s] += b * factor;
                at[s] += angles[s].step;
                at[s] -= at[s] >= period ? period : 0;
            }
        }
        for (int s = 0; s < SUMS; ++s) {
            store(out + s * width + lane, low[s]);
            store(out + s * width + lane + LANES<double>, high[s]);
        }
    }
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
