// Direct summation, several terms at a time.
#ifndef ZYLQX_TRANSFORM_COSINE_SUMS_H
#define ZYLQX_TRANSFORM_COSINE_SUMS_H

#include "transform/lanes.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

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
